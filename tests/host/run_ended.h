// How a run of the daemon ends in a test: the calls that end the process, or the machine, throw
// this through the code under test to whoever started the run.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace marrow {

// Not a std::exception, so that no handler of those takes it for an error.
struct RunEnded {
  enum class Kind : std::uint8_t {
    exit,      // Process::exit: `status` is the exit status (low eight bits)
    abort,     // Process::failAssertion: `text` is the assertion's
    panic,     // Reboot::rebootWithMessage: `text` is the message
    powerCut,  // Faults::cutPowerAtCall
  };

  Kind kind = Kind::exit;
  int status = 0;
  std::string text;
};

// Runs it to its end, which must come: the test fails when `run` returns instead.
RunEnded endOf(const std::function<void()>& run);

}  // namespace marrow
