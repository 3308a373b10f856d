#include "daemon/log_channels.h"
#include "host/paths.h"
#include "operations/loam_migrator_operation.h"
#include "operations/migrator_progress.h"

#include <cerrno>

namespace marrow {

namespace {

constexpr std::uint32_t kFIFOMode = 0600;

// Reads what has come, also when the operation is gone.
void receiveReport(FileHandle& handle,
                   const std::weak_ptr<MWLoamMigratorOperation>& weakOperation) {
  const std::string bytes = handle.availableData();
  if (bytes.empty()) {
    return;
  }
  const auto percentage = reportedPercentage(bytes);
  const auto operation = percentage ? weakOperation.lock() : nullptr;
  const auto progress = operation ? operation->progress() : nullptr;
  if (progress) {
    progress->setCompletedUnitCount(*percentage);
  }
}

}  // namespace

void MWLoamMigratorOperation::_openProgressPipe() {
  const std::string path =
      appendPathComponent(_services.temporaryDirectory.path(), kLoamMigratorProgressName);
  const int descriptor = openFIFO(path);
  if (descriptor < 0) {
    return;
  }
  auto handle = _services.fileHandles.createHandle(descriptor);
  handle->setReadabilityHandler([weakOperation = weak_from_this()](FileHandle& readable) {
    receiveReport(readable, weakOperation);
  });
  setProgressPath(path);
  setProgressHandle(std::move(handle));
}

// Without waiting for the tool to open its end. A file that an earlier run left there makes way.
int MWLoamMigratorOperation::openFIFO(const std::string& path) {
  _services.files.unlink(path);
  if (_services.files.makeFIFO(path, kFIFOMode) != 0) {
    const int errorNumber = errno;
    log(operationsLogChannel(), LogLevel::error, "mkfifo failed: %d (%s)", errorNumber,
        errorNumberText(errorNumber));
    return -1;
  }
  const int descriptor = _services.files.open(path, OpenFlags::readOnly | OpenFlags::nonBlocking);
  if (descriptor < 0) {
    const int errorNumber = errno;
    log(operationsLogChannel(), LogLevel::error, "open() failed for progress pipe: %d (%s)",
        errorNumber, errorNumberText(errorNumber));
    _services.files.unlink(path);
  }
  return descriptor;
}

// The handle is released before the FIFO goes, and outside any lock: its release waits for a
// callback that is running, which reads this operation's fields.
void MWLoamMigratorOperation::_closeProgressPipe() {
  if (const auto handle = _progressHandle.exchange(nullptr)) {
    handle->setReadabilityHandler(nullptr);
  }
  if (const auto path = _progressPath.exchange(std::nullopt)) {
    _services.files.unlink(*path);
  }
}

}  // namespace marrow
