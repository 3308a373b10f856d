#include "tests/linux/firmware/mounted_image.h"

#include "tests/wait_until.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <gtest/gtest.h>
#include <memory>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow {

namespace {

// Nothing is mounted unless all that comes before it has succeeded: a test that goes on would mount
// into the machine that it runs on.
void require(bool done, const std::string& task) {
  if (!done) {
    throw std::runtime_error(task + " (a test with mounts needs root): " + std::strerror(errno));
  }
}

std::string makeFolder() {
  std::string name = "/dev/shm/marrow-mount-XXXXXX";
  require(::mkdtemp(name.data()) != nullptr, "mkdtemp");
  return name;
}

// Mounts made from now on are seen by this process alone, and go with it.
void enterPrivateMounts() {
  static const bool entered = [] {
    require(::unshare(CLONE_NEWNS) == 0, "unshare");
    require(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0, "private mounts");
    return true;
  }();
  require(entered, "private mounts");
}

void run(const std::string& command) { require(std::system(command.c_str()) == 0, command); }

std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(::popen(command.c_str(), "r"), ::pclose);
  std::array<char, 256> line{};
  std::string text;
  while (pipe != nullptr && std::fgets(line.data(), line.size(), pipe.get()) != nullptr) {
    text += line.data();
  }
  return text;
}

}  // namespace

MountedImage::MountedImage(const std::string& type)
    : _folder(makeFolder()), _mountPoint(_folder + "/mount") {
  enterPrivateMounts();
  const std::string image = _folder + "/image";
  run("truncate -s 8M " + image + " && mkfs." + type + " -q " + image);
  std::filesystem::create_directory(_mountPoint);
  run("mount -o loop " + image + " " + _mountPoint);
}

MountedImage::~MountedImage() {
  EXPECT_EQ(::umount(_mountPoint.c_str()), 0) << std::strerror(errno);
  // Whoever looks at all devices may keep it open for a moment, and it is there as long.
  EXPECT_TRUE(waitUntil([this] { return outputOf("losetup -j " + _folder + "/image").empty(); }))
      << "the loop device stays";
  std::filesystem::remove_all(_folder);
}

MountedMemory::MountedMemory(const std::string& options) : _mountPoint(makeFolder()) {
  enterPrivateMounts();
  require(::mount("marrow", _mountPoint.c_str(), "tmpfs", 0, options.c_str()) == 0, "mount");
}

MountedMemory::~MountedMemory() {
  EXPECT_EQ(::umount(_mountPoint.c_str()), 0) << std::strerror(errno);
  std::filesystem::remove_all(_mountPoint);
}

void MountedMemory::makeReadOnly() const {
  require(::mount(nullptr, _mountPoint.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) == 0,
          "remount");
}

}  // namespace marrow
