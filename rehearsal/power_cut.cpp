#include "rehearsal/power_cut.h"

#include "rehearsal/descriptor.h"
#include "rehearsal/files.h"

#include <cctype>
#include <csignal>
#include <cstdint>
#include <fcntl.h>
#include <filesystem>
#include <linux/ioctl.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace marrow::rehearsal {
namespace {

// The ioctl of xfs that ext4 took over, and its flag "do not even write the journal"
// (XFS_IOC_GOINGDOWN and XFS_FSOP_GOING_FLAGS_NOLOGFLUSH of xfs_fs.h, ext4's EXT4_IOC_SHUTDOWN).
constexpr unsigned long kShutdown = _IOR('X', 125, std::uint32_t);
constexpr std::uint32_t kWithoutJournal = 2;

std::filesystem::path processFolder(const std::string& process) {
  return std::filesystem::path("/proc") / process;
}

std::string processNamespace(const std::string& process) {
  std::error_code none;
  return std::filesystem::read_symlink(processFolder(process) / "ns/pid", none);
}

// Nothing is stopped when the machine is dead already: its namespace has no name any more.
void stopAll(pid_t firstProcess) {
  const std::string wanted = processNamespace(std::to_string(firstProcess));
  if (wanted.empty() || wanted == processNamespace("self")) {
    return;
  }
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    const std::string name = entry.path().filename();
    if (std::isdigit(static_cast<unsigned char>(name.front())) != 0 &&
        processNamespace(name) == wanted) {
      ::kill(std::stoi(name), SIGSTOP);
    }
  }
}

// The places, seen from outside, where the machine has the disk's partitions mounted: fields five
// and after the dash of proc_pid_mountinfo(5).
std::vector<std::filesystem::path> mountsFrom(pid_t firstProcess, const std::string& diskName) {
  const auto folder = processFolder(std::to_string(firstProcess));
  std::istringstream table(readFile(folder / "mountinfo").value_or(""));
  std::vector<std::filesystem::path> places;
  std::string line;
  while (std::getline(table, line)) {
    std::istringstream fields(line);
    std::string ignored;
    std::string place;
    fields >> ignored >> ignored >> ignored >> ignored >> place;
    if (line.find(" /dev/" + diskName + 'p') != std::string::npos) {
      places.emplace_back((folder / "root").string() + place);
    }
  }
  return places;
}

bool shutDown(const std::filesystem::path& place) {
  const Descriptor folder(::open(place.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  std::uint32_t flags = kWithoutJournal;
  return folder && ::ioctl(folder.number(), kShutdown, &flags) == 0;
}

}  // namespace

bool forgetUnwritten(pid_t firstProcess, const std::string& diskName) {
  stopAll(firstProcess);
  bool all = true;
  for (const auto& place : mountsFrom(firstProcess, diskName)) {
    all = shutDown(place) && all;
  }
  return all;
}

}  // namespace marrow::rehearsal
