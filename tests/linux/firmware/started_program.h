// Programs that a test starts and ends.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

// A program that runs beside the test and is ended with it. The first word is searched for in PATH;
// what it says goes to the test's standard error only where `quiet` is false.
class StartedProgram {
 public:
  explicit StartedProgram(const std::vector<std::string>& words, bool quiet = true);
  StartedProgram(const StartedProgram&) = delete;
  StartedProgram& operator=(const StartedProgram&) = delete;
  ~StartedProgram() { end(); }

  // It no longer runs, or runs again.
  void suspend() const;
  void resume() const;

  // Asks it to end, and waits until it has. True when it went in good order.
  bool terminate();

  // Kills it at once. May be repeated.
  void end();

 private:
  pid_t _process;
};

struct ProgramOutput {
  int status = -1;  // of its exit
  std::string text;
};

// Runs a command of the shell to its end.
ProgramOutput runProgram(const std::string& command);

}  // namespace marrow
