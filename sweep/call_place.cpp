#include "sweep/call_place.h"

#include <algorithm>
#include <array>
#include <climits>
#include <regex>
#include <sys/syscall.h>
#include <sys/uio.h>

namespace marrow::sweep {
namespace {

constexpr std::size_t kPage = 4096;

// What a call is about, as the numbers of its arguments: a descriptor, a path, or both, and a
// number that says what is wanted.
struct Subject {
  int descriptor = -1;
  int path = -1;
  int request = -1;
};

struct CallSubject {
  std::uint64_t number;
  Subject subject;
};

constexpr Subject kDescriptor{.descriptor = 0};
constexpr Subject kPath{.path = 0};
constexpr Subject kPathBelow{.descriptor = 0, .path = 1};
constexpr Subject kRequest{.descriptor = 0, .request = 1};
constexpr std::array kSubjects{CallSubject{SYS_read, kDescriptor},
                               CallSubject{SYS_write, kDescriptor},
                               CallSubject{SYS_pread64, kDescriptor},
                               CallSubject{SYS_pwrite64, kDescriptor},
                               CallSubject{SYS_writev, kDescriptor},
                               CallSubject{SYS_getdents64, kDescriptor},
                               CallSubject{SYS_close, kDescriptor},
                               CallSubject{SYS_fstat, kDescriptor},
                               CallSubject{SYS_fstatfs, kDescriptor},
                               CallSubject{SYS_fgetxattr, kDescriptor},
                               CallSubject{SYS_flistxattr, kDescriptor},
                               CallSubject{SYS_fsetxattr, kDescriptor},
                               CallSubject{SYS_fremovexattr, kDescriptor},
                               CallSubject{SYS_ftruncate, kDescriptor},
                               CallSubject{SYS_fallocate, kDescriptor},
                               CallSubject{SYS_fchmod, kDescriptor},
                               CallSubject{SYS_fchown, kDescriptor},
                               CallSubject{SYS_fsync, kDescriptor},
                               CallSubject{SYS_fdatasync, kDescriptor},
                               CallSubject{SYS_syncfs, kDescriptor},
                               CallSubject{SYS_connect, kDescriptor},
                               CallSubject{SYS_bind, kDescriptor},
                               CallSubject{SYS_sendto, kDescriptor},
                               CallSubject{SYS_sendmsg, kDescriptor},
                               CallSubject{SYS_recvfrom, kDescriptor},
                               CallSubject{SYS_recvmsg, kDescriptor},
                               CallSubject{SYS_dup, kDescriptor},
                               CallSubject{SYS_mmap, {.descriptor = 4}},
                               CallSubject{SYS_sendfile, kDescriptor},
                               CallSubject{SYS_copy_file_range, {.descriptor = 2}},
                               CallSubject{SYS_ioctl, kRequest},
                               CallSubject{SYS_fcntl, kRequest},
                               CallSubject{SYS_prctl, {.request = 0}},
                               CallSubject{SYS_bpf, {.request = 0}},
                               CallSubject{SYS_futex, {.request = 1}},
                               CallSubject{SYS_epoll_ctl, {.descriptor = 2, .request = 1}},
                               CallSubject{SYS_open, kPath},
                               CallSubject{SYS_stat, kPath},
                               CallSubject{SYS_lstat, kPath},
                               CallSubject{SYS_access, kPath},
                               CallSubject{SYS_readlink, kPath},
                               CallSubject{SYS_statfs, kPath},
                               CallSubject{SYS_getxattr, kPath},
                               CallSubject{SYS_lgetxattr, kPath},
                               CallSubject{SYS_listxattr, kPath},
                               CallSubject{SYS_mkdir, kPath},
                               CallSubject{SYS_mknod, kPath},
                               CallSubject{SYS_unlink, kPath},
                               CallSubject{SYS_rmdir, kPath},
                               CallSubject{SYS_rename, kPath},
                               CallSubject{SYS_chdir, kPath},
                               CallSubject{SYS_umount2, kPath},
                               CallSubject{SYS_mount, {.path = 1}},
                               CallSubject{SYS_memfd_create, kPath},
                               CallSubject{SYS_openat, kPathBelow},
                               CallSubject{SYS_openat2, kPathBelow},
                               CallSubject{SYS_newfstatat, kPathBelow},
                               CallSubject{SYS_statx, kPathBelow},
                               CallSubject{SYS_faccessat, kPathBelow},
                               CallSubject{SYS_faccessat2, kPathBelow},
                               CallSubject{SYS_readlinkat, kPathBelow},
                               CallSubject{SYS_mkdirat, kPathBelow},
                               CallSubject{SYS_mknodat, kPathBelow},
                               CallSubject{SYS_unlinkat, kPathBelow},
                               CallSubject{SYS_renameat, kPathBelow},
                               CallSubject{SYS_renameat2, kPathBelow},
                               CallSubject{SYS_utimensat, kPathBelow},
                               CallSubject{SYS_inotify_add_watch, kPathBelow}};

// A text of the traced program; it may end before a page that is not there.
std::string textOf(pid_t thread, std::uint64_t address) {
  std::string text;
  while (address != 0 && text.size() < PATH_MAX) {
    std::array<char, kPage> piece{};
    const std::size_t length = kPage - address % kPage;
    const iovec here{piece.data(), length};
    void* const place = reinterpret_cast<void*>(address);  // NOLINT(performance-no-int-to-ptr)
    const iovec there{place, length};
    const ssize_t count = ::process_vm_readv(thread, &here, 1, &there, 1, 0);
    if (count <= 0) {
      return text;
    }
    const std::string_view found(piece.data(), static_cast<std::size_t>(count));
    text += found.substr(0, found.find('\0'));
    if (found.find('\0') != std::string_view::npos) {
      return text;
    }
    address += length;
  }
  return text;
}

// Without the number of a socket or a pipe.
std::string withoutNumber(const std::string& target) { return target.substr(0, target.find(":[")); }

// Processes, loop devices, groups, folders with random endings.
std::string withoutChance(const std::string& text) {
  static const std::regex kNumber("(/proc/|/fd/|/task/|/block/|/char/|loop)[0-9]+(:[0-9]+)?");
  static const std::regex kGroup("[0-9A-Fa-f]{8}(-[0-9A-Fa-f]{4}){3}-[0-9A-Fa-f]{12}(?=/|$)");
  static const std::regex kRandomEnd("(/mnt/[a-z0-9*]+-)[A-Za-z0-9]{6}");
  static const std::regex kObjects("/[0-9a-f]{10}(?=-new|-old)");
  static const std::regex kBlank("[ #]");
  std::string same = std::regex_replace(text, kNumber, "$1*");
  same = std::regex_replace(same, kGroup, "*");
  same = std::regex_replace(same, kRandomEnd, "$1*");
  same = std::regex_replace(same, kObjects, "/*");
  return std::regex_replace(same, kBlank, "_");
}

std::uint64_t argumentOf(const SystemCall& call, int index) {
  return call.arguments.at(static_cast<std::size_t>(index));
}

std::string subjectOf(const SystemCall& call, const Subject& subject) {
  std::string words;
  if (subject.path >= 0) {
    words = textOf(call.thread, argumentOf(call, subject.path));
  }
  if (subject.descriptor >= 0 && !words.starts_with('/')) {
    const std::string folder = withoutNumber(targetOf(call, subject.descriptor));
    words = words.empty() ? folder : folder + '/' + words;
  }
  if (subject.request >= 0) {
    words += (words.empty() ? "" : " ") + std::to_string(argumentOf(call, subject.request));
  }
  return words;
}

}  // namespace

std::string placeOf(const SystemCall& call) {
  const auto* known = std::ranges::find(kSubjects, call.number, &CallSubject::number);
  const std::string about =
      known == kSubjects.end() ? "" : withoutChance(subjectOf(call, known->subject));
  const bool opens = call.number == SYS_open || call.number == SYS_openat;
  return nameOf(call) + (about.empty() ? "" : ' ' + about) +
         (opens && changesSomething(call) ? kToChange : "");
}

}  // namespace marrow::sweep
