#include "tests/host/in_memory_reboot.h"

#include <cerrno>
#include <sstream>

namespace marrow {

namespace {

std::string hexadecimal(std::uint64_t flags) {
  std::ostringstream text;
  text << "0x" << std::hex << flags;
  return text.str();
}

}  // namespace

std::int32_t InMemoryReboot::reboot(std::uint64_t flags) {
  if (const auto failure = _calls.made("Reboot.reboot", hexadecimal(flags))) {
    return failure->status();
  }
  if (flags != kRebootFull) {
    return EINVAL;
  }
  _accepted = true;
  return 0;
}

std::int32_t InMemoryReboot::rebootWithMessage(std::uint32_t flags, const std::string& message) {
  const std::string arguments = hexadecimal(flags) + " " + message;
  if (const auto failure = _calls.made("Reboot.rebootWithMessage", arguments)) {
    return failure->status();
  }
  if ((flags & kRebootPanic) == 0) {
    return EINVAL;
  }
  throw RunEnded{RunEnded::Kind::panic, 0, message};
}

}  // namespace marrow
