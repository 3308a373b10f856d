// A real plymouthd of a test's own, in a network namespace of the test's, which is what names of
// the abstract namespace belong to, and on a pseudo-terminal in place of the machine's.
#pragma once

#include "tests/linux/firmware/pseudo_terminal.h"
#include "tests/linux/firmware/started_program.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace marrow {

class PlymouthMachine {
 public:
  // The test moves into the namespace for good. Throws without root.
  PlymouthMachine();

  // Returns when the daemon answers.
  void start();
  StartedProgram& daemon() { return *_daemon; }

  // Ends the daemon, which then says what it has been told.
  std::string endAndTakeLog();

 private:
  TemporaryFolder _folder;
  PseudoTerminal _terminal;
  std::unique_ptr<StartedProgram> _daemon;
  std::jthread _reading;  // of the terminal, or who writes to it would wait
};

// The percentages that a daemon with this log has received, in order.
std::vector<int> percentagesIn(const std::string& log);

}  // namespace marrow
