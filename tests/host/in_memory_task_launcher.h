// Starts programs that a test installs as functions.
#pragma once

#include "host/task_launcher.h"
#include "tests/host/calls.h"

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace marrow {

// What a program leaves when it ends.
struct ProgramResult {
  std::string output;  // standard output and error, as they came
  int status = 0;      // exit status, or the number of the signal that ended it
};

// May do anything that a program can: write files, feed a FIFO (InMemoryFileSystem::write), let
// time pass (InMemoryClock::advance).
using Program = std::function<ProgramResult(const std::vector<std::string>& arguments)>;

class InMemoryTaskLauncher : public TaskLauncher {
 public:
  explicit InMemoryTaskLauncher(Calls& calls) : _calls(calls) {}

  // ENOENT when nothing is installed at the path. The program runs, whole, when its output is first
  // read or its end waited for; never, when neither is done. The journal has the path and each
  // argument after a blank.
  std::unique_ptr<LaunchedTask> launch(const std::string& path,
                                       const std::vector<std::string>& arguments,
                                       ErrorSlot error) override;

  // Takes the place of what was installed at the path.
  void install(const std::string& path, Program program);
  void uninstall(const std::string& path);

  struct Launch {
    std::string path;
    std::vector<std::string> arguments;
  };
  // What was launched, in order.
  const std::vector<Launch>& launches() const { return _launches; }

 private:
  Calls& _calls;
  std::map<std::string, Program> _programs;
  std::vector<Launch> _launches;
};

}  // namespace marrow
