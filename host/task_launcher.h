// Runs a program as a child with its output on a pipe. One thread uses a task.
#pragma once

#include "host/error_record.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

class LaunchedTask {
 public:
  virtual ~LaunchedTask() = default;

  // Blocks until everything that holds the pipe has closed it, and returns what was written, both
  // outputs as they came. Absent with an error record when reading failed.
  virtual std::optional<std::string> readOutputToEnd(ErrorSlot error) = 0;

  // Returns when the program has ended.
  virtual void waitUntilExit() = 0;

  // Its exit status, or the number of the signal that ended it. Only after waitUntilExit.
  virtual int terminationStatus() const = 0;
};

class TaskLauncher {
 public:
  virtual ~TaskLauncher() = default;

  // Starts the program at `path` with these arguments (its own name not among them), standard
  // output and standard error connected to one pipe. Null with an error record when it cannot be
  // started.
  virtual std::unique_ptr<LaunchedTask> launch(const std::string& path,
                                               const std::vector<std::string>& arguments,
                                               ErrorSlot error) = 0;
};

}  // namespace marrow
