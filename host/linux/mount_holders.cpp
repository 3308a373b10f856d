#include "host/linux/mount_holders.h"

#include "host/linux/process_directories.h"

#include <algorithm>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

bool hasPartOf(const HeldThing& thing, const std::string& directory) {
  const auto paths = pathsIn(directory);
  return std::any_of(paths.begin(), paths.end(),
                     [&thing](const std::string& path) { return isPartOf(thing, path); });
}

bool livesIn(const HeldThing& thing, const std::string& task) {
  struct stat status {};
  return !thing.namespaces.empty() && ::stat((task + "/ns/mnt").c_str(), &status) == 0 &&
         thing.namespaces.contains(status.st_ino);
}

// A thread may have a directory, a root, descriptors and a namespace of its own.
bool taskHolds(const std::string& task, const HeldThing& thing) {
  return isPartOf(thing, task + "/cwd") || isPartOf(thing, task + "/root") ||
         hasPartOf(thing, task + "/fd") || livesIn(thing, task);
}

bool holds(const std::string& process, const HeldThing& thing) {
  const auto tasks = pathsIn(process + "/task");
  return isPartOf(thing, process + "/exe") || hasPartOf(thing, process + "/map_files") ||
         std::any_of(tasks.begin(), tasks.end(),
                     [&thing](const std::string& task) { return taskHolds(task, thing); });
}

}  // namespace

std::vector<HolderProcess> MountHolders::processes(const HeldThing& thing) const {
  std::vector<HolderProcess> holders;
  for (const auto& process : processDirectories(_procfs)) {
    const pid_t number = processNumber(process);
    if (number != ::getpid() && !isKernelThread(process) && holds(process, thing)) {
      holders.push_back({number, commandName(process)});
    }
  }
  std::sort(holders.begin(), holders.end(),
            [](const auto& left, const auto& right) { return left.process < right.process; });
  return holders;
}

std::vector<std::string> MountHolders::names(const HeldThing& thing) const {
  std::vector<std::string> names;
  for (const auto& holder : processes(thing)) {
    names.push_back(holder.name + " (" + std::to_string(holder.process) + ")");
  }
  return names;
}

std::string joinedHolders(const std::vector<std::string>& names) {
  std::string text;
  for (const auto& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text.empty() ? "nobody that can be seen" : text;
}

}  // namespace marrow
