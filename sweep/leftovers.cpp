#include "sweep/leftovers.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace marrow::sweep {
namespace {

namespace fs = std::filesystem;

std::string namespaceOf(const std::string& process) {
  std::error_code none;
  return fs::read_symlink("/proc/" + process + "/ns/pid", none);
}

void findProcesses(const std::string& wanted, std::vector<std::string>& found) {
  for (const auto& entry : fs::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (std::isdigit(static_cast<unsigned char>(name.front())) != 0 &&
        namespaceOf(name) == wanted) {
      found.push_back("process " + name + " is left");
    }
  }
}

void findLoopDevices(const std::string& diskName, std::vector<std::string>& found) {
  for (const auto& entry : fs::directory_iterator("/sys/block")) {
    const auto file = readKernelFile(entry.path() / "loop/backing_file");
    if (file && file->find('/' + diskName + 'p') != std::string::npos) {
      found.push_back(entry.path().filename().string() + " is left on " + *file);
    }
  }
}

void findMappings(const std::string& diskName, std::vector<std::string>& found) {
  for (const auto& entry : fs::directory_iterator("/sys/block/" + diskName)) {
    std::error_code none;
    const fs::directory_iterator holders(entry.path() / "holders", none);
    if (!none && holders != fs::directory_iterator()) {
      found.push_back(holders->path().filename().string() + " is left on " +
                      entry.path().filename().string());
    }
  }
}

}  // namespace

std::string processNamespace(pid_t process) { return namespaceOf(std::to_string(process)); }

std::optional<std::string> readKernelFile(const std::filesystem::path& path) {
  try {
    return rehearsal::readFile(path);
  } catch (const rehearsal::Problem&) {
    return std::nullopt;
  }
}

std::vector<std::string> leftovers(const std::string& processNamespace,
                                   const std::string& diskName) {
  std::vector<std::string> found;
  findProcesses(processNamespace, found);
  findLoopDevices(diskName, found);
  findMappings(diskName, found);
  return found;
}

}  // namespace marrow::sweep
