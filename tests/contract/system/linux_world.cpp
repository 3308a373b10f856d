#include "host/linux/linux_clock.h"
#include "host/linux/linux_file_handles.h"
#include "host/linux/linux_file_trees.h"
#include "host/linux/linux_files.h"
#include "host/linux/linux_log.h"
#include "host/linux/linux_process.h"
#include "host/linux/linux_property_list_files.h"
#include "host/linux/linux_task_launcher.h"
#include "host/linux/linux_task_queues.h"
#include "host/linux/linux_temporary_directory.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/contract/system/system_world.h"

#include <array>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <sys/stat.h>
#include <sys/wait.h>
#include <sys/xattr.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

// The queues whose main loop a thread of the test program serves for ever.
LinuxTaskQueues& mainLoopQueues() {
  static auto* const queues = [] {
    auto* made = new LinuxTaskQueues();
    made->mainQueue();
    std::thread([made] { made->runMainLoop(); }).detach();
    return made;
  }();
  return *queues;
}

class LinuxWorld final : public SystemWorld {
 public:
  LinuxWorld() {
    std::filesystem::create_directory(_folder.at("files"));
    std::ofstream(_folder.at("kmsg"));
    std::ofstream(_folder.at("oom_score_adj")) << "0\n";
  }

  Clock& clock() override { return _clock; }
  FileHandles& fileHandles() override { return _fileHandles; }
  FileTrees& fileTrees() override { return _fileTrees; }
  Files& files() override { return _files; }
  LogService& log() override { return _log; }
  Process& process() override { return _process; }
  PropertyListFiles& propertyLists() override { return _propertyLists; }
  TaskLauncher& launcher() override { return _launcher; }
  TaskQueues& queues() override { return _queues; }
  TemporaryDirectory& temporaryDirectory() override { return _temporaryDirectory; }

  std::string at(const std::string& name) override { return _folder.at("files/" + name); }

  void makeFolder(const std::string& path) override {
    EXPECT_TRUE(std::filesystem::create_directories(path));
  }
  void makeLink(const std::string& path, const std::string& target) override {
    std::filesystem::create_symlink(target, path);
  }
  void setMode(const std::string& path, unsigned mode) override {
    EXPECT_EQ(::chmod(path.c_str(), mode), 0);
  }
  unsigned mode(const std::string& path) override {
    struct stat status {};
    EXPECT_EQ(::lstat(path.c_str(), &status), 0);
    return status.st_mode & 07777U;
  }
  void setAttribute(const std::string& path, const std::string& name,
                    const std::string& value) override {
    EXPECT_EQ(::setxattr(path.c_str(), name.c_str(), value.data(), value.size(), 0), 0) << path;
  }
  std::optional<std::string> attribute(const std::string& path, const std::string& name) override {
    std::array<char, 256> value{};
    const ssize_t size = ::getxattr(path.c_str(), name.c_str(), value.data(), value.size());
    return size < 0 ? std::nullopt
                    : std::optional(std::string(value.data(), static_cast<std::size_t>(size)));
  }
  std::vector<std::string> names(const std::string& folder) override {
    std::vector<std::string> found;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      found.push_back(entry.path().filename());
    }
    return found;
  }

  void writeToFIFO(const std::string& path, const std::string& bytes) override {
    std::ofstream(path) << bytes;
  }

  std::string installProgram(int status) override {
    const std::string path = _folder.at("program");
    std::ofstream(path) << "#!/bin/sh\nfor a in \"$@\"; do printf '[%s]' \"$a\"; done\nexit "
                        << status << '\n';
    setMode(path, 0755);
    return path;
  }

  std::vector<std::string> loggedTexts() override {
    std::vector<std::string> texts;
    std::ifstream records(_folder.at("kmsg"));
    for (std::string record; std::getline(records, record);) {
      texts.push_back(record.substr(record.find(": ") + 2));
    }
    return texts;
  }

  Ending endOf(const std::function<void()>& run) override {
    const pid_t child = ::fork();
    if (child == 0) {
      run();
      ::_exit(99);
    }
    int status = 0;
    EXPECT_EQ(::waitpid(child, &status, 0), child);
    return {WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT,
            WIFEXITED(status) ? WEXITSTATUS(status) : 0};
  }

  void runOnMainLoop(const Task& task) override { mainLoopQueues().mainQueue().sync(task); }

  bool waitUntil(const std::function<bool()>& condition, double seconds) override {
    const double deadline = _clock.now() + seconds;
    while (!condition()) {
      if (_clock.now() > deadline) {
        return false;
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }

 private:
  const ScratchFolder _folder;
  LinuxLog _log{_folder.at("no-journal"), {_folder.at("kmsg"), _folder.at("no-switch")}};
  const std::unique_ptr<LogHandle> _hostLog = _log.createHandle(kHostSubsystem, "");
  LinuxClock _clock;
  LinuxFileHandles _fileHandles{*_hostLog};
  WaitWatch _waits{*_hostLog};
  LinuxFileTrees _fileTrees{*_hostLog, _waits};
  LinuxFiles _files{_waits};
  LinuxProcess _process{*_hostLog, _folder.at("oom_score_adj")};
  LinuxPropertyListFiles _propertyLists{*_hostLog};
  LinuxTaskLauncher _launcher{_waits};
  LinuxTaskQueues _queues;
  LinuxTemporaryDirectory _temporaryDirectory{*_hostLog, _folder.at("run/tmp")};
};

}  // namespace

std::unique_ptr<SystemWorld> makeLinuxWorld() { return std::make_unique<LinuxWorld>(); }

}  // namespace marrow
