// Which errors go with which call, by the manual's second section.
#include "sweep/call_fault.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <linux/futex.h>
#include <sys/syscall.h>

namespace marrow::sweep {
namespace {

// Behind the last one stand zeros.
using Errors = std::array<int, 8>;

constexpr Errors kLooking{EIO, EACCES, ENOMEM};
constexpr Errors kNaming{EIO, ENOSPC, EROFS, EPERM, EACCES, EBUSY, ENOMEM};
constexpr Errors kChangingFile{EIO, ENOSPC, EROFS, EPERM, EINTR};
constexpr Errors kFlushing{EIO, ENOSPC, EROFS, EINTR};
constexpr Errors kMakingDescriptor{EMFILE, ENOMEM};
constexpr Errors kWaiting{EINTR, ENOMEM};
constexpr Errors kSending{EACCES, EPERM, ENOMEM, EINTR};

struct CallErrors {
  std::uint64_t number;
  Errors errors;
};

constexpr std::array kTable{
    CallErrors{SYS_read, {EIO, EINTR}},
    CallErrors{SYS_pread64, {EIO, EINTR}},
    CallErrors{SYS_getdents64, {EIO}},
    CallErrors{SYS_write, {EIO, ENOSPC, EPERM, EINTR}},
    CallErrors{SYS_pwrite64, {EIO, ENOSPC, EPERM, EINTR}},
    CallErrors{SYS_writev, {EIO, ENOSPC, EPERM, EINTR}},
    CallErrors{SYS_sendfile, {EIO, ENOMEM}},
    CallErrors{SYS_copy_file_range, {EIO, ENOSPC, EPERM, ENOMEM}},
    CallErrors{SYS_close, {EIO, ENOSPC, EINTR}},
    CallErrors{SYS_stat, kLooking},
    CallErrors{SYS_lstat, kLooking},
    CallErrors{SYS_fstat, {EIO, ENOMEM}},
    CallErrors{SYS_newfstatat, kLooking},
    CallErrors{SYS_statx, kLooking},
    CallErrors{SYS_access, kLooking},
    CallErrors{SYS_faccessat, kLooking},
    CallErrors{SYS_faccessat2, kLooking},
    CallErrors{SYS_readlink, kLooking},
    CallErrors{SYS_readlinkat, kLooking},
    CallErrors{SYS_statfs, {EIO, EACCES, ENOMEM, EINTR}},
    CallErrors{SYS_fstatfs, {EIO, ENOMEM, EINTR}},
    CallErrors{SYS_getxattr, kLooking},
    CallErrors{SYS_lgetxattr, kLooking},
    CallErrors{SYS_fgetxattr, kLooking},
    CallErrors{SYS_listxattr, kLooking},
    CallErrors{SYS_llistxattr, kLooking},
    CallErrors{SYS_flistxattr, kLooking},
    CallErrors{SYS_mkdir, kNaming},
    CallErrors{SYS_mkdirat, kNaming},
    CallErrors{SYS_mknod, kNaming},
    CallErrors{SYS_mknodat, kNaming},
    CallErrors{SYS_unlink, kNaming},
    CallErrors{SYS_unlinkat, kNaming},
    CallErrors{SYS_rmdir, kNaming},
    CallErrors{SYS_rename, kNaming},
    CallErrors{SYS_renameat, kNaming},
    CallErrors{SYS_renameat2, kNaming},
    CallErrors{SYS_setxattr, kNaming},
    CallErrors{SYS_fsetxattr, kNaming},
    CallErrors{SYS_fremovexattr, kNaming},
    CallErrors{SYS_ftruncate, kChangingFile},
    CallErrors{SYS_fallocate, kChangingFile},
    CallErrors{SYS_fchmod, kChangingFile},
    CallErrors{SYS_fchown, kChangingFile},
    CallErrors{SYS_utimensat, kChangingFile},
    CallErrors{SYS_fsync, kFlushing},
    CallErrors{SYS_fdatasync, kFlushing},
    CallErrors{SYS_syncfs, kFlushing},
    CallErrors{SYS_mount, {EIO, EROFS, EPERM, EACCES, EBUSY, EMFILE, ENOMEM}},
    CallErrors{SYS_umount2, {EPERM, EBUSY, ENOMEM}},
    CallErrors{SYS_reboot, {EPERM}},
    CallErrors{SYS_kill, {EPERM}},
    CallErrors{SYS_tgkill, {EPERM}},
    CallErrors{SYS_pidfd_send_signal, {EPERM}},
    CallErrors{SYS_clone, {EPERM, ENOMEM, EAGAIN}},
    CallErrors{SYS_clone3, {EPERM, ENOMEM, EAGAIN}},
    CallErrors{SYS_vfork, {ENOMEM, EAGAIN}},
    CallErrors{SYS_fork, {ENOMEM, EAGAIN}},
    CallErrors{SYS_wait4, {EINTR}},
    CallErrors{SYS_waitid, {EINTR}},
    CallErrors{SYS_mmap, {ENOMEM, EACCES, EPERM}},
    CallErrors{SYS_mprotect, {ENOMEM, EACCES}},
    CallErrors{SYS_munmap, {ENOMEM}},
    CallErrors{SYS_mremap, {ENOMEM}},
    CallErrors{SYS_pipe, kMakingDescriptor},
    CallErrors{SYS_pipe2, kMakingDescriptor},
    CallErrors{SYS_dup, {EMFILE, EBUSY, EINTR}},
    CallErrors{SYS_dup3, {EMFILE, EBUSY, EINTR}},
    CallErrors{SYS_eventfd2, kMakingDescriptor},
    CallErrors{SYS_epoll_create1, kMakingDescriptor},
    CallErrors{SYS_timerfd_create, kMakingDescriptor},
    CallErrors{SYS_inotify_init1, kMakingDescriptor},
    CallErrors{SYS_memfd_create, kMakingDescriptor},
    CallErrors{SYS_pidfd_open, kMakingDescriptor},
    CallErrors{SYS_bpf, {EMFILE, ENOMEM, EPERM}},
    CallErrors{SYS_socket, {EACCES, EMFILE, ENOMEM}},
    CallErrors{SYS_accept4, {EMFILE, ENOMEM, EINTR, EPERM}},
    CallErrors{SYS_connect, kSending},
    CallErrors{SYS_bind, {EACCES, ENOMEM}},
    CallErrors{SYS_sendto, kSending},
    CallErrors{SYS_sendmsg, kSending},
    CallErrors{SYS_recvfrom, {ENOMEM, EINTR}},
    CallErrors{SYS_recvmsg, {ENOMEM, EINTR}},
    CallErrors{SYS_setsockopt, {ENOMEM}},
    CallErrors{SYS_epoll_ctl, {ENOMEM, ENOSPC, EPERM}},
    CallErrors{SYS_inotify_add_watch, {EACCES, ENOMEM, ENOSPC}},
    CallErrors{SYS_epoll_wait, {EINTR}},
    CallErrors{SYS_epoll_pwait, {EINTR}},
    CallErrors{SYS_poll, kWaiting},
    CallErrors{SYS_ppoll, kWaiting},
    CallErrors{SYS_futex, {EINTR}},
    CallErrors{SYS_nanosleep, {EINTR}},
    CallErrors{SYS_clock_nanosleep, {EINTR}},
    CallErrors{SYS_ioctl, {EIO, EPERM, EACCES, EBUSY, ENOMEM, EINTR}},
    CallErrors{SYS_fcntl, {EPERM, EACCES, EBUSY, EINTR}},
    CallErrors{SYS_flock, {EINTR, ENOMEM}},
    CallErrors{SYS_add_key, {EACCES, ENOMEM}},
    CallErrors{SYS_request_key, {EACCES, ENOMEM, EINTR}},
    CallErrors{SYS_keyctl, {EACCES, ENOMEM}},
    CallErrors{SYS_getrandom, {EINTR}},
    CallErrors{SYS_chdir, kLooking},
    CallErrors{SYS_prctl, {EPERM, EACCES}},
    CallErrors{SYS_setns, {EPERM, ENOMEM}},
    CallErrors{SYS_unshare, {EPERM, ENOMEM, ENOSPC}},
    CallErrors{SYS_open_tree, {EACCES, EPERM, EMFILE, ENOMEM}},
    CallErrors{SYS_move_mount, {EACCES, EPERM, EBUSY, ENOMEM}},
    CallErrors{SYS_mount_setattr, {EPERM, EBUSY, ENOMEM}}};

bool isOpening(const SystemCall& call) {
  return call.number == SYS_open || call.number == SYS_openat || call.number == SYS_openat2;
}

// EBUSY is what an exclusive look at a block device gets, EROFS and ENOSPC who means to change.
std::vector<int> errorsOfOpening(const SystemCall& call) {
  std::vector<int> errors{EIO, EPERM, EACCES, EMFILE, ENOMEM, EINTR};
  if (changesSomething(call)) {
    errors.insert(errors.end(), {ENOSPC, EROFS});
  }
  const std::uint64_t flags = call.arguments[call.number == SYS_open ? 1 : 2];
  if (call.number != SYS_openat2 && (flags & O_EXCL) != 0) {
    errors.push_back(EBUSY);
  }
  return errors;
}

// Only who waits can be interrupted (futex(2)).
bool isWake(const SystemCall& call) {
  const auto command = call.arguments[1] & static_cast<std::uint64_t>(FUTEX_CMD_MASK);
  return call.number == SYS_futex && command != FUTEX_WAIT && command != FUTEX_WAIT_BITSET;
}

// What counts bytes: not events, timers and the like.
bool canBeShort(const SystemCall& call) {
  switch (call.number) {
    case SYS_read:
    case SYS_write:
    case SYS_pread64:
    case SYS_pwrite64: {
      const std::string target = targetOf(call, 0);
      return call.arguments[2] > 1 && (target.starts_with('/') || target.starts_with("pipe:"));
    }
    case SYS_sendfile:
      return call.arguments[3] > 1;
    case SYS_copy_file_range:
      return call.arguments[4] > 1;
    default:
      return false;
  }
}

std::vector<int> errorsOf(const SystemCall& call) {
  if (isOpening(call)) {
    return errorsOfOpening(call);
  }
  const auto* found = std::ranges::find(kTable, call.number, &CallErrors::number);
  if (found == kTable.end() || isWake(call)) {
    return {};
  }
  return {found->errors.begin(), std::ranges::find(found->errors, 0)};
}

}  // namespace

std::vector<CallFault> faultsOf(const SystemCall& call) {
  std::vector<CallFault> faults;
  std::ranges::transform(errorsOf(call), std::back_inserter(faults),
                         [](int error) { return CallFault{error}; });
  if (canBeShort(call)) {
    faults.push_back({});
  }
  return faults;
}

}  // namespace marrow::sweep
