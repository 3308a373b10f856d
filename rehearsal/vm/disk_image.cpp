#include "rehearsal/vm/disk_image.h"

#include "rehearsal/programs.h"

#include <algorithm>
#include <unistd.h>
#include <vector>

namespace marrow::rehearsal {
namespace {

constexpr std::uint64_t kSector = 512;

// mke2fs takes the owners from the folder; fakeroot(1) tells it that they are root. It looks for a
// program in PATH alone, where an ordinary user has not all of them.
std::vector<std::string> asRoot(std::vector<std::string> command) {
  if (::geteuid() != 0) {
    command.front() = findProgram(command.front());
    command.insert(command.begin(), {"fakeroot", "--"});
  }
  return command;
}

// The notation of mtools for a file system inside an image.
std::string insideImage(const std::filesystem::path& image, const Partition& partition) {
  return image.string() + "@@" + std::to_string(partition.start);
}

std::string pathsBelow(const std::filesystem::path& folder) {
  std::vector<std::string> paths;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    // A link is itself, not what it leads to.
    paths.push_back(entry.path().lexically_relative(folder));
  }
  std::ranges::sort(paths);
  std::string text;
  for (const std::string& path : paths) {
    text += path + '\n';
  }
  return text;
}

}  // namespace

void requireImagePrograms() {
  requireProgram("sfdisk", "fdisk");
  requireProgram("mke2fs", "e2fsprogs");
  requireProgram("mformat", "mtools");
  requireProgram("mcopy", "mtools");
  requireProgram("cpio", "cpio");
  if (::geteuid() != 0) {
    requireProgram("fakeroot", "fakeroot");
  }
}

void makeExt4(const std::filesystem::path& image, const Partition& partition,
              const std::filesystem::path& folder) {
  runProgram(asRoot({"mke2fs", "-q", "-t", "ext4", "-F", "-E",
                     "offset=" + std::to_string(partition.start) + ",root_owner=0:0", "-d", folder,
                     image, std::to_string(partition.size / 1024) + 'k'}));
}

void makeFat(const std::filesystem::path& image, const Partition& partition,
             const std::filesystem::path& folder) {
  const std::string place = insideImage(image, partition);
  runProgram({"mformat", "-i", place, "-F", "-T", std::to_string(partition.size / kSector), "::"});
  std::vector<std::string> copy{"mcopy", "-i", place, "-s"};
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    copy.push_back(entry.path());
  }
  copy.emplace_back("::/");
  runProgram(copy);
}

std::string archiveOf(const std::filesystem::path& folder) {
  return runProgram({"cpio", "--quiet", "-o", "-H", "newc", "-R", "+0:+0", "-D", folder},
                    pathsBelow(folder));
}

}  // namespace marrow::rehearsal
