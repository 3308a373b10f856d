#include "tests/linux/firmware/firmware_file_system.h"

#define FUSE_USE_VERSION 35
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fuse.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <stdexcept>
#include <sys/mount.h>
#include <sys/stat.h>

namespace marrow {

// The calls of the kernel, as libfuse hands them on: each is 0 (or a length), or a negative errno.
struct FirmwareFileSystem::Calls {
  static FirmwareFileSystem& store() {
    return *static_cast<FirmwareFileSystem*>(::fuse_get_context()->private_data);
  }
  static std::string nameOf(const char* path) { return path + 1; }

  // Nothing is remembered by the kernel, and what is deleted while it is open is gone.
  static void* begin(fuse_conn_info* /*connection*/, fuse_config* config) {
    config->attr_timeout = config->entry_timeout = config->negative_timeout = 0;
    config->hard_remove = 1;
    return ::fuse_get_context()->private_data;
  }

  static int status(const char* path, struct stat* status, fuse_file_info* /*file*/) {
    const std::lock_guard lock(store()._mutex);
    *status = {};
    status->st_nlink = 1;
    if (nameOf(path).empty()) {
      status->st_mode = S_IFDIR | 0755;
      return 0;
    }
    const auto found = store()._variables.find(nameOf(path));
    status->st_mode = S_IFREG | 0644;
    status->st_size =
        found == store()._variables.end() ? 0 : static_cast<off_t>(found->second.bytes.size());
    return found == store()._variables.end() ? -ENOENT : 0;
  }

  static int create(const char* path, mode_t /*mode*/, fuse_file_info* file) {
    if (const int number = store().enter("open"); number != 0) {
      return -number;
    }
    const std::lock_guard lock(store()._mutex);
    store()._variables[nameOf(path)];
    file->direct_io = 1;
    return 0;
  }

  static int open(const char* path, fuse_file_info* file) {
    if (const int number = store().enter("open"); number != 0) {
      return -number;
    }
    const std::lock_guard lock(store()._mutex);
    file->direct_io = 1;
    const bool writes = (file->flags & O_ACCMODE) != O_RDONLY;
    return writes && store()._variables[nameOf(path)].immutable ? -EPERM : 0;
  }

  static int read(const char* path, char* buffer, size_t size, off_t offset,
                  fuse_file_info* /*file*/) {
    if (const int number = store().enter("read"); number != 0) {
      return -number;
    }
    const std::lock_guard lock(store()._mutex);
    const std::string& bytes = store()._variables[nameOf(path)].bytes;
    const auto start = std::min(bytes.size(), static_cast<std::size_t>(offset));
    return static_cast<int>(bytes.copy(buffer, size, start));
  }

  static int write(const char* path, const char* bytes, size_t size, off_t /*offset*/,
                   fuse_file_info* /*file*/) {
    if (const int number = store().enter("write"); number != 0) {
      return -number;
    }
    return store().write(nameOf(path), {bytes, size});
  }

  // The firmware knows no shorter value without a write.
  static int truncate(const char* /*path*/, off_t /*size*/, fuse_file_info* /*file*/) { return 0; }

  static int unlink(const char* path) {
    if (const int number = store().enter("unlink"); number != 0) {
      return -number;
    }
    const std::lock_guard lock(store()._mutex);
    if (store()._variables[nameOf(path)].immutable) {
      return -EPERM;
    }
    store()._variables.erase(nameOf(path));
    ++store()._changes;
    return 0;
  }

  // The kernel itself asks for these before it changes the flags.
  static int extended(const char* path, void* data) {
    const std::lock_guard lock(store()._mutex);
    fsxattr attributes{};
    attributes.fsx_xflags = store()._variables[nameOf(path)].immutable ? FS_XFLAG_IMMUTABLE : 0;
    std::memcpy(data, &attributes, sizeof(attributes));
    return 0;
  }

  static int control(const char* path, unsigned request, void* /*argument*/,
                     fuse_file_info* /*file*/, unsigned /*flags*/, void* data) {
    if (request == static_cast<unsigned>(FS_IOC_FSGETXATTR)) {
      return extended(path, data);
    }
    const bool asks = request == static_cast<unsigned>(FS_IOC_GETFLAGS);
    if (!asks && request != static_cast<unsigned>(FS_IOC_SETFLAGS)) {
      return -ENOTTY;
    }
    if (const int number = store().enter(asks ? "getflags" : "setflags"); number != 0) {
      return -number;
    }
    const std::lock_guard lock(store()._mutex);
    bool& immutable = store()._variables[nameOf(path)].immutable;
    int flags = immutable ? FS_IMMUTABLE_FL : 0;
    std::memcpy(asks ? data : &flags, asks ? &flags : data, sizeof(flags));
    immutable = (flags & FS_IMMUTABLE_FL) != 0;
    return 0;
  }

  static fuse_operations all() {
    fuse_operations operations{};
    operations.init = begin;
    operations.getattr = status;
    operations.create = create;
    operations.open = open;
    operations.read = read;
    operations.write = write;
    operations.truncate = truncate;
    operations.unlink = unlink;
    operations.ioctl = control;
    return operations;
  }
};

FirmwareFileSystem::FirmwareFileSystem() : _mountPoint(_place.path() + "/efivars") {
  std::filesystem::create_directory(_mountPoint);
  static const fuse_operations operations = Calls::all();
  std::string name = "firmware";
  char* words[] = {name.data()};
  fuse_args arguments = FUSE_ARGS_INIT(1, words);
  _session = ::fuse_new(&arguments, &operations, sizeof(operations), this);
  ::fuse_opt_free_args(&arguments);
  if (_session == nullptr || ::fuse_mount(_session, _mountPoint.c_str()) != 0) {
    throw std::runtime_error("a file system of the test's own needs root and /dev/fuse");
  }
  _serving = std::thread([this] { ::fuse_loop(_session); });
}

// The loop ends when the kernel has nothing more to ask.
FirmwareFileSystem::~FirmwareFileSystem() {
  EXPECT_EQ(::umount(_mountPoint.c_str()), 0) << std::strerror(errno);
  _serving.join();
  ::fuse_unmount(_session);
  ::fuse_destroy(_session);
}

void FirmwareFileSystem::failNext(const std::string& call, const std::vector<int>& numbers) {
  const std::lock_guard lock(_mutex);
  _failures[call] = numbers;
}

void FirmwareFileSystem::beSlow(std::chrono::milliseconds delay) {
  const std::lock_guard lock(_mutex);
  _delay = delay;
}

void FirmwareFileSystem::put(const std::string& file, const std::string& bytes) {
  const std::lock_guard lock(_mutex);
  _variables[file] = {bytes, true};
}

std::string FirmwareFileSystem::bytes(const std::string& file) {
  const std::lock_guard lock(_mutex);
  const auto found = _variables.find(file);
  return found == _variables.end() ? "" : found->second.bytes;
}

bool FirmwareFileSystem::isImmutable(const std::string& file) {
  const std::lock_guard lock(_mutex);
  return _variables[file].immutable;
}

int FirmwareFileSystem::changes() {
  const std::lock_guard lock(_mutex);
  return _changes;
}

int FirmwareFileSystem::enter(const std::string& call) {
  std::unique_lock lock(_mutex);
  std::vector<int>& failures = _failures[call];
  const int number = failures.empty() ? 0 : failures.front();
  if (!failures.empty()) {
    failures.erase(failures.begin());
  }
  const auto delay = _delay;
  lock.unlock();
  std::this_thread::sleep_for(delay);
  return number;
}

// The length, or a negative errno. A new variable is immutable at once.
int FirmwareFileSystem::write(const std::string& file, const std::string& bytes) {
  const std::lock_guard lock(_mutex);
  Variable& variable = _variables[file];
  const bool isNew = variable.bytes.empty();
  if (bytes.size() > kLargest || bytes.size() <= 4 ||
      (!isNew && variable.bytes.substr(0, 4) != bytes.substr(0, 4))) {
    return -EINVAL;
  }
  variable.bytes = bytes;
  variable.immutable = variable.immutable || isNew;
  ++_changes;
  return static_cast<int>(bytes.size());
}

}  // namespace marrow
