#include "host/linux/mount_attempts.h"

#include "host/linux/mount_source.h"

#include <algorithm>
#include <cstring>

namespace marrow {

namespace {

// An attempt is denied a moment after its source was read: few others come in between.
constexpr std::size_t kRemembered = 256;

template <std::size_t size>
std::string textIn(const char (&bytes)[size]) {
  return {bytes, ::strnlen(bytes, size)};
}

std::string descriptionOf(const MountAttemptRecord& record) {
  const auto name = textIn(record.command);
  return record.process == 0 ? name : name + " (" + std::to_string(record.process) + ")";
}

// As sysfs writes it.
std::string kernelName(std::string name) {
  std::replace(name.begin(), name.end(), '/', '!');
  return name;
}

}  // namespace

std::optional<MountAttempt> MountAttempts::attemptOf(const MountAttemptRecord& record) {
  if (isTold(record)) {
    return std::nullopt;
  }
  auto device = deviceOf(record);
  if (!device) {
    return std::nullopt;
  }
  remember(record.attempt);
  return MountAttempt{std::move(*device), descriptionOf(record)};
}

std::optional<BlockDevice> MountAttempts::deviceOf(const MountAttemptRecord& record) const {
  const auto text = textIn(record.text);
  if (record.isDenied != 0) {
    return _devices.find(kernelName(text));
  }
  const auto process =
      record.process == 0 ? std::string() : _procfs + "/" + std::to_string(record.process);
  const auto number = blockDeviceNamed(text, process);
  return number ? _devices.findNumber(*number) : std::nullopt;
}

bool MountAttempts::isTold(const MountAttemptRecord& record) const {
  return record.attempt != 0 &&
         std::find(_told.begin(), _told.end(), record.attempt) != _told.end();
}

void MountAttempts::remember(std::uint64_t attempt) {
  _told.push_back(attempt);
  if (_told.size() > kRemembered) {
    _told.pop_front();
  }
}

}  // namespace marrow
