#include "sweep/full_volume.h"

#include "rehearsal/descriptor.h"
#include "rehearsal/file_systems.h"
#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/vfs.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

constexpr off_t kBlockOfVolume = 4096;
// Pieces get smaller as the room does.
constexpr off_t kLargestPiece = off_t{1} << 26;

// Documentation/ABI/testing/sysfs-fs-ext4: blocks that no file gets, for what an allocation may
// turn out to need. Each mount begins with its own number again.
void keepNothingBack(const std::filesystem::path& node) {
  writeFile("/sys/fs/ext4/" + node.filename().string() + "/reserved_clusters", "0");
}

// Returns the file's size.
off_t takeAll(int file) {
  off_t size = 0;
  for (off_t piece = kLargestPiece; piece >= kBlockOfVolume;) {
    if (::fallocate(file, 0, size, piece) == 0) {
      size += piece;
    } else if (errno == ENOSPC) {
      piece /= 2;
    } else {
      failWithErrno("fill the volume");
    }
  }
  return size;
}

}  // namespace

void takeRoom(const std::filesystem::path& node, const std::filesystem::path& place,
              const std::filesystem::path& file, Room room, std::size_t blocks) {
  const MountedVolume volume(node, place, MountedVolume::Access::kReadWrite);
  if (room == Room::kAtAll) {
    keepNothingBack(node);
  }
  const Descriptor filler = openFile(volume.path() / file, O_RDWR | O_CREAT | O_TRUNC);
  const off_t left = takeAll(filler.number()) - static_cast<off_t>(blocks) * kBlockOfVolume;
  if (left < 0) {
    throw Problem("The volume " + node.string() + " has not got so many blocks.");
  }
  checked(::ftruncate(filler.number(), left), "leave some room");
  checked(::syncfs(filler.number()), "fill the volume");
}

void giveRoom(const std::filesystem::path& node, const std::filesystem::path& place,
              const std::filesystem::path& file) {
  const MountedVolume volume(node, place, MountedVolume::Access::kReadWrite);
  std::filesystem::remove(volume.path() / file);
}

}  // namespace marrow::sweep
