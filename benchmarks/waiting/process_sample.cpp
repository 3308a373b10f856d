#include "benchmarks/waiting/process_sample.h"

#include <filesystem>
#include <fstream>
#include <sstream>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// The number behind a name and a colon in proc(5)'s "status", 0 where there is none.
std::uint64_t numberIn(const std::string& directory, const std::string& name) {
  std::ifstream file(directory + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with(name + ":")) {
      return std::stoull(line.substr(name.size() + 1));
    }
  }
  return 0;
}

std::string nameOf(const fs::path& task) {
  std::ifstream file(task / "comm");
  std::string name;
  std::getline(file, name);
  return name;
}

std::uint64_t entriesIn(const std::string& directory) {
  std::error_code gone;
  std::uint64_t count = 0;
  for (fs::directory_iterator entry(directory, gone), end; !gone && entry != end;
       entry.increment(gone)) {
    ++count;
  }
  return count;
}

// schedstat's first word; Documentation/scheduler/sched-stats.
std::uint64_t processorTime(const std::string& task) {
  std::ifstream file(task + "/schedstat");
  std::uint64_t time = 0;
  file >> time;
  return time;
}

// Fields 10 and 12 of proc_pid_stat(5). The second one, in parentheses, may hold blanks.
std::uint64_t pageFaults(const std::string& directory) {
  std::ifstream file(directory + "/stat");
  std::string text;
  std::getline(file, text);
  std::istringstream fields(text.substr(text.rfind(')') + 1));
  std::string skipped;
  for (int field = 3; field < 10; ++field) {
    fields >> skipped;
  }
  std::uint64_t minor = 0;
  std::uint64_t major = 0;
  fields >> minor >> skipped >> major;
  return minor + major;
}

}  // namespace

std::optional<ProcessSample> sampleOf(pid_t process, const std::set<std::string>& without) {
  const std::string directory = "/proc/" + std::to_string(process);
  ProcessSample sample;
  std::error_code gone;
  for (fs::directory_iterator task(directory + "/task", gone), end; !gone && task != end;
       task.increment(gone)) {
    ++sample.threads;
    if (!without.contains(nameOf(task->path()))) {
      sample.wakeUps += numberIn(task->path(), "voluntary_ctxt_switches");
      sample.nanoseconds += processorTime(task->path());
    }
  }
  sample.residentKibibytes = numberIn(directory, "VmRSS");
  sample.mostKibibytes = numberIn(directory, "VmHWM");
  sample.pageFaults = pageFaults(directory);
  sample.descriptors = entriesIn(directory + "/fd");
  return sample.residentKibibytes == 0 ? std::nullopt : std::optional(sample);
}

std::optional<pid_t> descendantNamed(pid_t ancestor, const std::string& name) {
  const std::string process = "/proc/" + std::to_string(ancestor);
  std::error_code gone;
  for (fs::directory_iterator task(process + "/task", gone), end; !gone && task != end;
       task.increment(gone)) {
    std::ifstream children(task->path() / "children");
    for (pid_t child = 0; children >> child;) {
      if (nameOf("/proc/" + std::to_string(child)) == name) {
        return child;
      }
      if (const auto found = descendantNamed(child, name)) {
        return found;
      }
    }
  }
  return std::nullopt;
}

}  // namespace marrow
