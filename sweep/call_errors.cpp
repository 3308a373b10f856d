// Which errors go with which call, by the manual's second section.
#include "sweep/call_fault.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <map>
#include <sys/syscall.h>

namespace marrow::sweep {
namespace {

using Errors = std::vector<int>;

const Errors kLooking{EIO, EACCES, ENOMEM};
const Errors kNaming{EIO, ENOSPC, EROFS, EPERM, EACCES, EBUSY, ENOMEM};
const Errors kChangingFile{EIO, ENOSPC, EROFS, EPERM, EINTR};
const Errors kFlushing{EIO, ENOSPC, EROFS, EINTR};
const Errors kMakingDescriptor{EMFILE, ENOMEM, EPERM};
const Errors kWaiting{EINTR, ENOMEM};
const Errors kSending{EACCES, EPERM, ENOMEM, EINTR};

const std::map<std::uint64_t, Errors>& table() {
  static const std::map<std::uint64_t, Errors> kTable{
      {SYS_read, {EIO, EINTR}},
      {SYS_pread64, {EIO, EINTR}},
      {SYS_getdents64, {EIO}},
      {SYS_write, {EIO, ENOSPC, EPERM, EINTR}},
      {SYS_pwrite64, {EIO, ENOSPC, EPERM, EINTR}},
      {SYS_writev, {EIO, ENOSPC, EPERM, EINTR}},
      {SYS_sendfile, {EIO, ENOMEM}},
      {SYS_copy_file_range, {EIO, ENOSPC, EPERM, ENOMEM}},
      {SYS_close, {EIO, ENOSPC, EINTR}},
      {SYS_stat, kLooking},
      {SYS_lstat, kLooking},
      {SYS_fstat, {EIO, ENOMEM}},
      {SYS_newfstatat, kLooking},
      {SYS_statx, kLooking},
      {SYS_access, kLooking},
      {SYS_faccessat, kLooking},
      {SYS_faccessat2, kLooking},
      {SYS_readlink, kLooking},
      {SYS_readlinkat, kLooking},
      {SYS_statfs, {EIO, EACCES, ENOMEM, EINTR}},
      {SYS_fstatfs, {EIO, ENOMEM, EINTR}},
      {SYS_getxattr, kLooking},
      {SYS_lgetxattr, kLooking},
      {SYS_fgetxattr, kLooking},
      {SYS_listxattr, kLooking},
      {SYS_llistxattr, kLooking},
      {SYS_flistxattr, kLooking},
      {SYS_mkdir, kNaming},
      {SYS_mkdirat, kNaming},
      {SYS_mknod, kNaming},
      {SYS_mknodat, kNaming},
      {SYS_unlink, kNaming},
      {SYS_unlinkat, kNaming},
      {SYS_rmdir, kNaming},
      {SYS_rename, kNaming},
      {SYS_renameat, kNaming},
      {SYS_renameat2, kNaming},
      {SYS_setxattr, kNaming},
      {SYS_fsetxattr, kNaming},
      {SYS_fremovexattr, kNaming},
      {SYS_ftruncate, kChangingFile},
      {SYS_fallocate, kChangingFile},
      {SYS_fchmod, kChangingFile},
      {SYS_fchown, kChangingFile},
      {SYS_utimensat, kChangingFile},
      {SYS_fsync, kFlushing},
      {SYS_fdatasync, kFlushing},
      {SYS_syncfs, kFlushing},
      {SYS_mount, {EIO, EROFS, EPERM, EACCES, EBUSY, EMFILE, ENOMEM}},
      {SYS_umount2, {EPERM, EBUSY, ENOMEM}},
      {SYS_reboot, {EPERM}},
      {SYS_kill, {EPERM}},
      {SYS_tgkill, {EPERM}},
      {SYS_pidfd_send_signal, {EPERM}},
      {SYS_clone, {EPERM, ENOMEM, EAGAIN}},
      {SYS_clone3, {EPERM, ENOMEM, EAGAIN}},
      {SYS_vfork, {ENOMEM, EAGAIN}},
      {SYS_fork, {ENOMEM, EAGAIN}},
      {SYS_wait4, {EINTR}},
      {SYS_waitid, {EINTR}},
      {SYS_mmap, {ENOMEM, EACCES, EPERM}},
      {SYS_mprotect, {ENOMEM, EACCES}},
      {SYS_munmap, {ENOMEM}},
      {SYS_mremap, {ENOMEM}},
      {SYS_pipe, kMakingDescriptor},
      {SYS_pipe2, kMakingDescriptor},
      {SYS_dup, {EMFILE, EBUSY, EINTR}},
      {SYS_dup3, {EMFILE, EBUSY, EINTR}},
      {SYS_eventfd2, kMakingDescriptor},
      {SYS_epoll_create1, kMakingDescriptor},
      {SYS_timerfd_create, kMakingDescriptor},
      {SYS_inotify_init1, kMakingDescriptor},
      {SYS_memfd_create, kMakingDescriptor},
      {SYS_pidfd_open, kMakingDescriptor},
      {SYS_bpf, kMakingDescriptor},
      {SYS_socket, {EACCES, EMFILE, ENOMEM}},
      {SYS_accept4, {EMFILE, ENOMEM, EINTR, EPERM}},
      {SYS_connect, kSending},
      {SYS_bind, {EACCES, ENOMEM}},
      {SYS_sendto, kSending},
      {SYS_sendmsg, kSending},
      {SYS_recvfrom, {ENOMEM, EINTR}},
      {SYS_recvmsg, {ENOMEM, EINTR}},
      {SYS_setsockopt, {ENOMEM}},
      {SYS_epoll_ctl, {ENOMEM, ENOSPC, EPERM}},
      {SYS_inotify_add_watch, {EACCES, ENOMEM, ENOSPC}},
      {SYS_epoll_wait, {EINTR}},
      {SYS_epoll_pwait, {EINTR}},
      {SYS_poll, kWaiting},
      {SYS_ppoll, kWaiting},
      {SYS_futex, {EINTR}},
      {SYS_nanosleep, {EINTR}},
      {SYS_clock_nanosleep, {EINTR}},
      {SYS_ioctl, {EIO, EPERM, EACCES, EBUSY, ENOMEM, EINTR}},
      {SYS_fcntl, {EPERM, EACCES, EBUSY, EINTR}},
      {SYS_flock, {EINTR, ENOMEM}},
      {SYS_add_key, {EACCES, ENOMEM}},
      {SYS_request_key, {EACCES, ENOMEM, EINTR}},
      {SYS_keyctl, {EACCES, ENOMEM}},
      {SYS_getrandom, {EINTR}},
      {SYS_chdir, kLooking},
      {SYS_prctl, {EPERM, EACCES}},
      {SYS_setns, {EPERM, ENOMEM}},
      {SYS_unshare, {EPERM, ENOMEM, ENOSPC}},
      {SYS_open_tree, {EACCES, EPERM, EMFILE, ENOMEM}},
      {SYS_move_mount, {EACCES, EPERM, EBUSY, ENOMEM}},
      {SYS_mount_setattr, {EPERM, EBUSY, ENOMEM}}};
  return kTable;
}

bool isOpening(const SystemCall& call) {
  return call.number == SYS_open || call.number == SYS_openat || call.number == SYS_openat2;
}

// EBUSY is what an exclusive look at a block device gets, EROFS and ENOSPC who means to change.
Errors errorsOfOpening(const SystemCall& call) {
  Errors errors{EIO, EPERM, EACCES, EMFILE, ENOMEM, EINTR};
  if (changesSomething(call)) {
    errors.insert(errors.end(), {ENOSPC, EROFS});
  }
  const std::uint64_t flags = call.arguments[call.number == SYS_open ? 1 : 2];
  if (call.number != SYS_openat2 && (flags & O_EXCL) != 0) {
    errors.push_back(EBUSY);
  }
  return errors;
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

}  // namespace

std::vector<CallFault> faultsOf(const SystemCall& call) {
  const auto found = table().find(call.number);
  const Errors errors = isOpening(call)          ? errorsOfOpening(call)
                        : found != table().end() ? found->second
                                                 : Errors{};
  std::vector<CallFault> faults;
  std::ranges::transform(errors, std::back_inserter(faults),
                         [](int error) { return CallFault{error}; });
  if (canBeShort(call)) {
    faults.push_back({});
  }
  return faults;
}

}  // namespace marrow::sweep
