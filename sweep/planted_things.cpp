#include "sweep/planted_things.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

namespace fs = std::filesystem;

using rehearsal::checked;
using rehearsal::Descriptor;
using rehearsal::openFile;
using rehearsal::writeFile;

constexpr int kLevels = 200;
constexpr std::size_t kLongestName = 255;

// What stands at a place where nothing was: what a name without a dot promises is a folder.
void makeSample(const fs::path& path) {
  if (path.has_extension() || path.filename() == "active") {
    writeFile(path, kForeignText);
  } else {
    writeFile(path / "file", kForeignText);
  }
}

// Takes what is at the place elsewhere, or makes a sample there.
void moveTo(const fs::path& elsewhere, const fs::path& place) {
  fs::create_directories(elsewhere.parent_path());
  if (!fs::exists(place)) {
    makeSample(elsewhere);
    return;
  }
  fs::copy(place, elsewhere, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
  fs::remove_all(place);
}

void makeNode(const fs::path& place, mode_t type, dev_t number) {
  checked(::mknod(place.c_str(), type | 0666, number), "make " + place.string());
}

void makeImmutable(const fs::path& place) {
  const Descriptor file = openFile(place, O_RDONLY);
  int flags = 0;
  checked(::ioctl(file.number(), FS_IOC_GETFLAGS, &flags), "read the flags of " + place.string());
  flags |= FS_IMMUTABLE_FL;
  checked(::ioctl(file.number(), FS_IOC_SETFLAGS, &flags), "make immutable " + place.string());
}

// The path would be too long: it is gone down level by level.
void makeDeepTree(const fs::path& place) {
  fs::create_directory(place);
  Descriptor here = openFile(place, O_RDONLY | O_DIRECTORY);
  const std::string name(kLongestName, 'n');
  for (int level = 0; level < kLevels; ++level) {
    checked(::mkdirat(here.number(), name.c_str(), 0755), "make a deep tree");
    checked(::symlinkat("/srv", here.number(), "link"), "make a link in a deep tree");
    here = Descriptor(
        checked(::openat(here.number(), name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC),
                "go down a deep tree"));
  }
}

dev_t numberOf(const fs::path& node) {
  struct stat status {};
  checked(::stat(node.c_str(), &status), "look at " + node.string());
  return status.st_rdev;
}

// Puts the thing at a place where nothing is.
void make(Thing thing, const fs::path& place, const fs::path& disk) {
  switch (thing) {
    case Thing::kLinkToNothing:
      return fs::create_symlink("/" + std::string(kOutside) + "/new", place);
    case Thing::kPipe:
      return makeNode(place, S_IFIFO, 0);
    case Thing::kSocket:
      return makeNode(place, S_IFSOCK, 0);
    case Thing::kEndlessDevice:
      return makeNode(place, S_IFCHR, makedev(1, 5));
    case Thing::kDisk:
      return makeNode(place, S_IFBLK, numberOf(disk));
    case Thing::kFolder:
      return writeFile(place / "a file", "in a folder\n");
    case Thing::kDeepTree:
      return makeDeepTree(place);
    default:
      return writeFile(place, "a file\n");
  }
}

void plantLink(Thing thing, const fs::path& root, const fs::path& place,
               const fs::path& baseSystem) {
  const bool inside = thing == Thing::kLinkInside;
  const fs::path target = (inside ? root / kElsewhere : baseSystem / kOutside) / place.filename();
  moveTo(target, place);
  fs::create_directories(place.parent_path());
  fs::create_symlink(inside ? target.lexically_relative(place.parent_path())
                            : "/" / target.lexically_relative(baseSystem),
                     place);
}

void plantHardLink(const fs::path& root, const fs::path& place) {
  const fs::path other = root / kElsewhere / place.filename();
  if (fs::is_regular_file(place)) {
    moveTo(other, place);
  } else {
    fs::remove_all(place);
    writeFile(other, kForeignText);
  }
  fs::create_directories(place.parent_path());
  fs::create_hard_link(other, place);
}

}  // namespace

std::string nameOf(Thing thing) {
  constexpr std::array kNames{"link to elsewhere on the volume",
                              "link out of the volume",
                              "link to nothing",
                              "pipe",
                              "socket",
                              "endless device",
                              "disk",
                              "file",
                              "folder",
                              "hard link",
                              "immutable",
                              "deep tree"};
  return kNames.at(static_cast<std::size_t>(thing));
}

void plant(Thing thing, const fs::path& root, const fs::path& path, const fs::path& baseSystem,
           const fs::path& disk) {
  const fs::path place = root / path;
  fs::create_directories(place.parent_path());
  fs::create_directories(baseSystem / kOutside);
  if (thing == Thing::kLinkInside || thing == Thing::kLinkOutside) {
    plantLink(thing, root, place, baseSystem);
  } else if (thing == Thing::kHardLink) {
    plantHardLink(root, place);
  } else if (thing == Thing::kImmutable) {
    if (!fs::exists(place)) {
      makeSample(place);
    }
    makeImmutable(place);
  } else {
    fs::remove_all(place);
    make(thing, place, disk);
  }
}

}  // namespace marrow::sweep
