// A child process and the pipe that it writes to.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/wait_watch.h"
#include "host/task_launcher.h"

#include <cstddef>
#include <string>
#include <sys/types.h>

namespace marrow {

class LinuxLaunchedTask final : public LaunchedTask {
 public:
  struct Child {
    pid_t process = 0;
    std::string name;       // of the program
    std::string processes;  // where each process has its folder (proc(5))
  };

  // `output` is the read end of the pipe.
  LinuxLaunchedTask(Child child, Descriptor output, std::size_t outputLimit, WaitWatch& waits);

  // A child that nobody has waited for is not waited for here either.
  ~LinuxLaunchedTask() override;

  std::optional<std::string> readOutputToEnd(ErrorSlot error) override;
  void waitUntilExit() override;
  int terminationStatus() const override { return _status; }

 private:
  std::string awaited() const;

  const Child _child;
  Descriptor _output;
  const std::size_t _outputLimit;
  WaitWatch& _waits;
  bool _ended = false;
  int _status = 0;
};

}  // namespace marrow
