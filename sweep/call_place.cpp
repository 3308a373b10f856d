#include "sweep/call_place.h"

#include <array>
#include <climits>
#include <map>
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

const std::map<std::uint64_t, Subject>& subjects() {
  constexpr Subject kDescriptor{.descriptor = 0};
  constexpr Subject kPath{.path = 0};
  constexpr Subject kPathBelow{.descriptor = 0, .path = 1};
  constexpr Subject kRequest{.descriptor = 0, .request = 1};
  static const std::map<std::uint64_t, Subject> kSubjects{
      {SYS_read, kDescriptor},
      {SYS_write, kDescriptor},
      {SYS_pread64, kDescriptor},
      {SYS_pwrite64, kDescriptor},
      {SYS_writev, kDescriptor},
      {SYS_getdents64, kDescriptor},
      {SYS_close, kDescriptor},
      {SYS_fstat, kDescriptor},
      {SYS_fstatfs, kDescriptor},
      {SYS_fgetxattr, kDescriptor},
      {SYS_flistxattr, kDescriptor},
      {SYS_fsetxattr, kDescriptor},
      {SYS_fremovexattr, kDescriptor},
      {SYS_ftruncate, kDescriptor},
      {SYS_fallocate, kDescriptor},
      {SYS_fchmod, kDescriptor},
      {SYS_fchown, kDescriptor},
      {SYS_fsync, kDescriptor},
      {SYS_fdatasync, kDescriptor},
      {SYS_syncfs, kDescriptor},
      {SYS_connect, kDescriptor},
      {SYS_bind, kDescriptor},
      {SYS_sendto, kDescriptor},
      {SYS_sendmsg, kDescriptor},
      {SYS_recvfrom, kDescriptor},
      {SYS_recvmsg, kDescriptor},
      {SYS_dup, kDescriptor},
      {SYS_mmap, {.descriptor = 4}},
      {SYS_sendfile, kDescriptor},
      {SYS_copy_file_range, {.descriptor = 2}},
      {SYS_ioctl, kRequest},
      {SYS_fcntl, kRequest},
      {SYS_prctl, {.request = 0}},
      {SYS_bpf, {.request = 0}},
      {SYS_epoll_ctl, {.descriptor = 2, .request = 1}},
      {SYS_open, kPath},
      {SYS_stat, kPath},
      {SYS_lstat, kPath},
      {SYS_access, kPath},
      {SYS_readlink, kPath},
      {SYS_statfs, kPath},
      {SYS_getxattr, kPath},
      {SYS_lgetxattr, kPath},
      {SYS_listxattr, kPath},
      {SYS_mkdir, kPath},
      {SYS_mknod, kPath},
      {SYS_unlink, kPath},
      {SYS_rmdir, kPath},
      {SYS_rename, kPath},
      {SYS_chdir, kPath},
      {SYS_umount2, kPath},
      {SYS_mount, {.path = 1}},
      {SYS_memfd_create, kPath},
      {SYS_openat, kPathBelow},
      {SYS_openat2, kPathBelow},
      {SYS_newfstatat, kPathBelow},
      {SYS_statx, kPathBelow},
      {SYS_faccessat, kPathBelow},
      {SYS_faccessat2, kPathBelow},
      {SYS_readlinkat, kPathBelow},
      {SYS_mkdirat, kPathBelow},
      {SYS_mknodat, kPathBelow},
      {SYS_unlinkat, kPathBelow},
      {SYS_renameat, kPathBelow},
      {SYS_renameat2, kPathBelow},
      {SYS_utimensat, kPathBelow},
      {SYS_inotify_add_watch, kPathBelow}};
  return kSubjects;
}

// A text of the traced program; it may end before a page that is not there.
std::string textOf(pid_t thread, std::uint64_t address) {
  std::string text;
  while (address != 0 && text.size() < PATH_MAX) {
    std::array<char, kPage> piece{};
    const std::size_t length = kPage - address % kPage;
    const iovec here{piece.data(), length};
    const iovec there{reinterpret_cast<void*>(address),
                      length};  // NOLINT(performance-no-int-to-ptr)
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

std::string withoutChance(const std::string& text) {
  static const std::regex kChance("(/proc/|/fd/|/task/|socket:|pipe:)[0-9]+");
  static const std::regex kRandomEnd("(/mnt/[a-z0-9]+-)[A-Za-z0-9]{6}");
  static const std::regex kBlank("[ #]");
  std::string same = std::regex_replace(text, kChance, "$1*");
  same = std::regex_replace(same, kRandomEnd, "$1*");
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
  const auto subject = subjects().find(call.number);
  const std::string about =
      subject == subjects().end() ? "" : withoutChance(subjectOf(call, subject->second));
  return nameOf(call) + (about.empty() ? "" : ' ' + about);
}

}  // namespace marrow::sweep
