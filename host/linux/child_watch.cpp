#include "host/linux/child_watch.h"

#include "host/linux/process_directories.h"
#include "host/linux/small_file.h"

#include <algorithm>
#include <filesystem>
#include <unistd.h>

namespace marrow {

namespace {

// The letter for what the process does, proc_pid_stat(5): it stands behind the name, which may hold
// anything. 'Z' when there is no such process.
char stateOf(const std::string& process) {
  const std::string text = readSmallFile(process + "/stat").value_or(std::string());
  const std::size_t end = text.rfind(") ");
  return end == std::string::npos || end + 2 >= text.size() ? 'Z' : text[end + 2];
}

bool isStopped(char state) { return state == 'T' || state == 't'; }

// By the links' texts (proc(5)): to follow them could itself wait.
bool hasOpen(const std::string& process, const std::string& pipe) {
  const auto paths = pathsIn(process + "/fd");
  return std::any_of(paths.begin(), paths.end(), [&](const std::string& path) {
    std::error_code gone;
    return std::filesystem::read_symlink(path, gone) == pipe;
  });
}

}  // namespace

std::string holdersOfPipe(int pipe, const std::string& processes) {
  std::error_code gone;
  const std::string name =
      std::filesystem::read_symlink(processes + "/self/fd/" + std::to_string(pipe), gone);
  std::string holders;
  for (const std::string& process : processDirectories(processes)) {
    if (processNumber(process) != ::getpid() && !name.empty() && hasOpen(process, name)) {
      holders += (holders.empty() ? "" : ", ") + processDescription(process);
    }
  }
  return holders;
}

std::string awaitedOfChild(pid_t child, const std::string& name, int pipe,
                           const std::string& processes) {
  const char state = stateOf(processes + '/' + std::to_string(child));
  const std::string described = name + " (" + std::to_string(child) + ')';
  if (state != 'Z') {
    return described + (isStopped(state) ? ", which is stopped, to end" : " to end");
  }
  const std::string holders = holdersOfPipe(pipe, processes);
  return holders.empty() ? described + " to be collected"
                         : holders + " to close the output of " + described;
}

}  // namespace marrow
