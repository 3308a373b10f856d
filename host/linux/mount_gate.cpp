#include "host/linux/mount_gate.h"

#include "host/error_record.h"
#include "host/linux/small_file.h"
#include "host/linux/text_pieces.h"

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// include/linux/proc_ns.h, PROC_PID_INIT_INO: the machine's own namespace of processes.
constexpr ino_t kFirstNamespace = 0xEFFFFFFC;

// include/linux/kdev_t.h, MINORBITS.
constexpr unsigned kMinorBits = 20;

// The list has commas between the names (Documentation/admin-guide/LSM/index.rst).
bool hasSecurityModule(const std::string& path, const std::string& wanted) {
  const std::string names = readSmallFile(path).value_or(std::string());
  const auto pieces = piecesOf(names, ",\n");
  return std::ranges::find(pieces, wanted) != pieces.end();
}

int readOwnSettings(const std::string& processNamespace, MountGateSettings& settings) {
  struct stat status {};
  if (::stat(processNamespace.c_str(), &status) != 0) {
    return errno;
  }
  settings.pidNamespaceDevice =
      std::uint64_t{major(status.st_dev)} << kMinorBits | minor(status.st_dev);
  settings.pidNamespaceInode = status.st_ino;
  settings.process = static_cast<std::uint32_t>(::getpid());
  settings.isFirstNamespace = status.st_ino == kFirstNamespace ? 1 : 0;
  return 0;
}

}  // namespace

MountGate::MountGate(const BlockDevices& devices, const std::string& procfs, MountGatePlaces places,
                     LogHandle& log)
    : _places(std::move(places)), _log(log), _attempts(devices, procfs) {}

MountGate::~MountGate() { close(); }

std::optional<std::string> MountGate::open() {
  if (!hasSecurityModule(_places.securityModules, "bpf")) {
    return _places.securityModules + " does not name bpf";
  }
  if (::access(_places.kernelTypes.c_str(), R_OK) != 0) {
    return _places.kernelTypes + ": " + errorNumberText(errno);
  }
  return startProgram();
}

std::optional<std::string> MountGate::startProgram() {
  BpfLibrary library{};
  if (!library.load(_places.library.c_str())) {
    return _places.library + " cannot be loaded";
  }
  MountGateSettings settings{};
  auto program = std::make_unique<MountGateProgram>(library);
  int errorNumber = readOwnSettings(_places.processNamespace, settings);
  if (errorNumber == 0) {
    errorNumber = program->start(settings);
  }
  if (errorNumber != 0) {
    return "the kernel does not take the programs: " + errorNumberText(errorNumber);
  }
  _program = std::move(program);
  _toldLost = 0;
  return std::nullopt;
}

void MountGate::setListener(Listener listener) { _listener = std::move(listener); }

int MountGate::reports() const { return _program ? _program->reports() : -1; }

void MountGate::refuse(const BlockDevice& device) {
  const int errorNumber = _program ? _program->refuse(device.name) : 0;
  if (errorNumber != 0) {
    _log.log(LogLevel::error, "A second mount of " + device.name +
                                  " will not be refused: " + errorNumberText(errorNumber));
  }
}

void MountGate::allow(const std::string& name) {
  const int errorNumber = _program ? _program->allow(name) : 0;
  if (errorNumber != 0) {
    _log.log(LogLevel::error, "A second mount of " + name +
                                  " will still be refused: " + errorNumberText(errorNumber));
  }
}

void MountGate::close() {
  if (!_program) {
    return;
  }
  _program->stop();
  if (_listener) {
    readReports();
  }
  _listener = nullptr;
  _program.reset();
}

void MountGate::readReports() {
  _program->read([this](const MountAttemptRecord& record) {
    if (const auto attempt = _attempts.attemptOf(record)) {
      _listener(*attempt);
    }
  });
  tellOfLost();
}

void MountGate::tellOfLost() {
  const auto lost = _program->lost();
  if (lost != _toldLost) {
    _log.log(LogLevel::error,
             std::to_string(lost - _toldLost) + " mount attempts came too fast to be told of");
    _toldLost = lost;
  }
}

}  // namespace marrow
