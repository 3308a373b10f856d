#include "tests/linux/system/failing_calls.h"

#include <cerrno>
#include <cstdio>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrow {

FailingCalls failingCalls;

namespace {

int fail(int number) {
  errno = number;
  return -1;
}

}  // namespace

}  // namespace marrow

extern "C" {

__attribute__((visibility("default"))) int fsync(int descriptor) {
  auto& calls = marrow::failingCalls;
  if (++calls.fsyncs >= calls.fsyncFrom && calls.fsync != 0) {
    return marrow::fail(calls.fsync);
  }
  return static_cast<int>(::syscall(SYS_fsync, descriptor));
}

__attribute__((visibility("default"))) int syncfs(int descriptor) noexcept {
  auto& calls = marrow::failingCalls;
  ++calls.syncfses;
  if (calls.duringSyncfs) {
    calls.duringSyncfs();
  }
  if (calls.syncfs != 0) {
    return marrow::fail(calls.syncfs);
  }
  return static_cast<int>(::syscall(SYS_syncfs, descriptor));
}

__attribute__((visibility("default"))) int renameat2(int fromFolder, const char* from, int toFolder,
                                                     const char* to, unsigned flags) noexcept {
  auto& calls = marrow::failingCalls;
  if ((flags & RENAME_EXCHANGE) != 0) {
    ++calls.exchanges;
    if (calls.renameExchange != 0) {
      return marrow::fail(calls.renameExchange);
    }
  }
  return static_cast<int>(::syscall(SYS_renameat2, fromFolder, from, toFolder, to, flags));
}

__attribute__((visibility("default"))) int mount(const char* source, const char* target,
                                                 const char* type, unsigned long flags,
                                                 const void* data) noexcept {
  auto& calls = marrow::failingCalls;
  ++calls.mounts;
  if (calls.mount != 0) {
    return marrow::fail(calls.mount);
  }
  return static_cast<int>(::syscall(SYS_mount, source, target, type, flags, data));
}

}  // extern "C"
