// The services of the system as a contract test sees them, on the real machine or in memory, with
// what a test needs around them.
#pragma once

#include "host/clock.h"
#include "host/file_handles.h"
#include "host/file_trees.h"
#include "host/files.h"
#include "host/log.h"
#include "host/process.h"
#include "host/property_list_files.h"
#include "host/task_launcher.h"
#include "host/task_queues.h"
#include "host/temporary_directory.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

// How a process came to its end.
struct Ending {
  bool aborted = false;
  int status = 0;  // of an exit
  bool operator==(const Ending&) const = default;
};

class SystemWorld {
 public:
  virtual ~SystemWorld() = default;

  virtual Clock& clock() = 0;
  virtual FileHandles& fileHandles() = 0;
  virtual FileTrees& fileTrees() = 0;
  virtual Files& files() = 0;
  virtual LogService& log() = 0;
  virtual Process& process() = 0;
  virtual PropertyListFiles& propertyLists() = 0;
  virtual TaskLauncher& launcher() = 0;
  virtual TaskQueues& queues() = 0;
  virtual TemporaryDirectory& temporaryDirectory() = 0;

  // A path in a folder of the test's own.
  virtual std::string at(const std::string& name) = 0;

  virtual void makeFolder(const std::string& path) = 0;
  virtual void makeLink(const std::string& path, const std::string& target) = 0;
  virtual void setMode(const std::string& path, unsigned mode) = 0;
  virtual unsigned mode(const std::string& path) = 0;
  virtual void setAttribute(const std::string& path, const std::string& name,
                            const std::string& value) = 0;
  virtual std::optional<std::string> attribute(const std::string& path,
                                               const std::string& name) = 0;
  virtual std::vector<std::string> names(const std::string& folder) = 0;

  // A writer opens the FIFO, writes and goes.
  virtual void writeToFIFO(const std::string& path, const std::string& bytes) = 0;

  // Installs a program that prints each of its arguments in brackets and ends with this status.
  virtual std::string installProgram(int status) = 0;

  // The texts that reached the machine's log.
  virtual std::vector<std::string> loggedTexts() = 0;

  // Runs what ends a process, in one of its own where that has to be.
  virtual Ending endOf(const std::function<void()>& run) = 0;

  // Submits the task to the main queue and serves the main loop until it has run.
  virtual void runOnMainLoop(const Task& task) = 0;

  // Lets time pass until the condition holds. False when it does not within `seconds`.
  virtual bool waitUntil(const std::function<bool()>& condition, double seconds = 20.0) = 0;
};

using WorldFactory = std::unique_ptr<SystemWorld> (*)();

std::unique_ptr<SystemWorld> makeLinuxWorld();
std::unique_ptr<SystemWorld> makeInMemoryWorld();

// A suite that runs on both.
class SystemContract : public testing::TestWithParam<WorldFactory> {
 protected:
  // Through the service itself.
  void put(const std::string& path, const std::string& text);
  std::string get(const std::string& path);
  bool exists(const std::string& path) { return world->files().exists(path) == 0; }

  std::unique_ptr<SystemWorld> world = GetParam()();
};

inline std::string nameOfWorld(const testing::TestParamInfo<WorldFactory>& info) {
  return info.index == 0 ? "Linux" : "InMemory";
}

// The two worlds that a suite runs in.
inline auto bothWorlds() { return testing::Values(&makeLinuxWorld, &makeInMemoryWorld); }

}  // namespace marrow
