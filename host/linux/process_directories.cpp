#include "host/linux/process_directories.h"

#include "host/linux/small_file.h"
#include "host/linux/text_pieces.h"

#include <algorithm>
#include <charconv>
#include <filesystem>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// include/linux/sched.h, PF_KTHREAD: in the flags, the seventh word behind the name in "stat".
constexpr unsigned long kKernelThreadFlag = 0x00200000;
constexpr std::size_t kFlagsWord = 7;

}  // namespace

std::vector<std::string> pathsIn(const std::string& directory) {
  std::vector<std::string> paths;
  std::error_code ended;
  for (fs::directory_iterator entry(directory, ended), end; !ended && entry != end;
       entry.increment(ended)) {
    paths.push_back(entry->path().native());
  }
  return paths;
}

std::vector<std::string> processDirectories(const std::string& procfs) {
  auto paths = pathsIn(procfs);
  std::erase_if(paths, [](const std::string& path) { return processNumber(path) <= 0; });
  return paths;
}

pid_t processNumber(const std::string& path) {
  const auto name = fs::path(path).filename().native();
  pid_t number = 0;
  const auto [end, error] = std::from_chars(name.data(), name.data() + name.size(), number);
  return error == std::errc() && end == name.data() + name.size() ? number : 0;
}

std::string commandName(const std::string& process) {
  auto name = readSmallFile(process + "/comm").value_or(std::string());
  return name.substr(0, name.find('\n'));
}

std::string processDescription(const std::string& process) {
  return commandName(process) + " (" + std::to_string(processNumber(process)) + ")";
}

bool isKernelThread(const std::string& process) {
  const auto text = readSmallFile(process + "/stat").value_or(std::string());
  // The name may hold anything, a closing bracket too.
  const auto bracket = text.rfind(')');
  const auto words = piecesOf(std::string_view{text}.substr(bracket + 1), " ");
  unsigned long flags = 0;
  if (words.size() >= kFlagsWord) {
    const std::string_view word = words[kFlagsWord - 1];
    std::from_chars(word.data(), word.data() + word.size(), flags);
  }
  return (flags & kKernelThreadFlag) != 0;
}

}  // namespace marrow
