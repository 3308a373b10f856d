#include "benchmarks/scratch_disk.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <sched.h>
#include <stdexcept>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow {

namespace {

void check(bool done, const std::string& task) {
  if (!done) {
    throw std::runtime_error("Cannot " + task + ". The benchmarks need root and a loop device.");
  }
}

void run(const std::string& command) {
  check(std::system((command + " >/dev/null").c_str()) == 0, "run " + command);
}

}  // namespace

ScratchDisk::ScratchDisk() {
  check(::unshare(CLONE_NEWNS) == 0 &&
            ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0,
        "have a mount namespace");
  check(::mkdtemp(_folder.data()) != nullptr, "make a folder in /var/tmp");
  const std::string image = _folder + "/image";
  const std::string mount = _folder + "/mount";
  std::filesystem::create_directory(mount);
  run("truncate -s 768M " + image);
  run("mkfs.ext4 -q " + image);
  run("mount -t ext4 -o loop " + image + ' ' + mount);
  std::filesystem::remove(image);
}

ScratchDisk::~ScratchDisk() {
  ::umount((_folder + "/mount").c_str());
  std::error_code error;
  std::filesystem::remove(_folder + "/mount", error);
  std::filesystem::remove(_folder, error);
}

void ScratchDisk::flush() const {
  const int folder = ::open(at("").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  check(folder >= 0 && ::syncfs(folder) == 0, "flush the disk");
  ::close(folder);
}

const ScratchDisk& scratchDisk() {
  static const ScratchDisk disk;
  return disk;
}

}  // namespace marrow
