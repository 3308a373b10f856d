// A child process and the pipe that it writes to.
#pragma once

#include "host/linux/descriptor.h"
#include "host/task_launcher.h"

#include <cstddef>
#include <sys/types.h>

namespace marrow {

class LinuxLaunchedTask final : public LaunchedTask {
 public:
  // `output` is the read end of the pipe.
  LinuxLaunchedTask(pid_t process, Descriptor output, std::size_t outputLimit);

  // A child that nobody has waited for is not waited for here either.
  ~LinuxLaunchedTask() override;

  std::optional<std::string> readOutputToEnd(ErrorSlot error) override;
  void waitUntilExit() override;
  int terminationStatus() const override { return _status; }

 private:
  const pid_t _process;
  Descriptor _output;
  const std::size_t _outputLimit;
  bool _ended = false;
  int _status = 0;
};

}  // namespace marrow
