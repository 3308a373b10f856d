#include "benchmarks/scratch_disk.h"

#include "benchmarks/programs.h"

#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
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

}  // namespace

void enterMountNamespace() {
  static const bool entered = ::unshare(CLONE_NEWNS) == 0 &&
                              ::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
  check(entered, "have a mount namespace");
}

ScratchDisk::ScratchDisk(const std::string& fileSystem, unsigned mebibytes)
    : _fileSystem(fileSystem) {
  enterMountNamespace();
  check(::mkdtemp(_folder.data()) != nullptr, "make a folder in /var/tmp");
  const std::string image = _folder + "/image";
  std::filesystem::create_directory(_folder + "/mount");
  runProgram("truncate -s " + std::to_string(mebibytes) + "M " + image);
  runProgram("mkfs." + _fileSystem + " -q " + image);
  mount();
  std::filesystem::remove(image);
}

// With the loop device detached as soon as the mount goes.
void ScratchDisk::mount() {
  const std::string place = _folder + "/mount";
  runProgram("mount -t " + _fileSystem + " -o loop " + _folder + "/image " + place);
  _node = outputOf("findmnt -n -o SOURCE " + place);
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

void ScratchDisk::forget() const {
  flush();
  std::ofstream file("/proc/sys/vm/drop_caches");
  file << "3\n" << std::flush;
  check(file.good(), "have the kernel forget its caches");
}

const ScratchDisk& scratchDisk() {
  static const ScratchDisk disk;
  return disk;
}

}  // namespace marrow
