// The end of the machine's session.
#pragma once

#include "host/reboot.h"
#include "tests/host/calls.h"
#include "tests/host/run_ended.h"

#include <cstdint>
#include <string>

namespace marrow {

class InMemoryReboot : public Reboot {
 public:
  explicit InMemoryReboot(Calls& calls) : _calls(calls) {}

  // Returns 0 for the full-reboot flag alone, EINVAL for anything else; the journal has the flags
  // as "0x8000000000000000".
  std::int32_t reboot(std::uint64_t flags) override;
  // Throws RunEnded, unless it is made to fail, or the flags have no kRebootPanic (EINVAL); the
  // journal has "0xc00 MESSAGE".
  std::int32_t rebootWithMessage(std::uint32_t flags, const std::string& message) override;

  bool wasAccepted() const { return _accepted; }
  void forget() { _accepted = false; }

 private:
  Calls& _calls;
  bool _accepted = false;
};

}  // namespace marrow
