#include "sweep/system_call.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <seccomp.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace marrow::sweep {
namespace {

constexpr std::array<std::uint64_t, 41> kChanges{
    SYS_rename,       SYS_renameat,      SYS_renameat2,
    SYS_unlink,       SYS_unlinkat,      SYS_rmdir,
    SYS_mkdir,        SYS_mkdirat,       SYS_mknod,
    SYS_mknodat,      SYS_symlink,       SYS_symlinkat,
    SYS_link,         SYS_linkat,        SYS_truncate,
    SYS_ftruncate,    SYS_fallocate,     SYS_copy_file_range,
    SYS_sendfile,     SYS_setxattr,      SYS_lsetxattr,
    SYS_fsetxattr,    SYS_removexattr,   SYS_lremovexattr,
    SYS_fremovexattr, SYS_fchmod,        SYS_fchmodat,
    SYS_fchown,       SYS_fchownat,      SYS_utimensat,
    SYS_fsync,        SYS_fdatasync,     SYS_syncfs,
    SYS_sync,         SYS_mount,         SYS_umount2,
    SYS_move_mount,   SYS_mount_setattr, SYS_execve,
    SYS_kill,         SYS_reboot};

// Of a file, these change something.
constexpr std::array<std::uint64_t, 4> kWrites{SYS_write, SYS_pwrite64, SYS_writev, SYS_ioctl};

constexpr std::array<std::uint64_t, 4> kOpensForChange{O_WRONLY, O_RDWR, O_CREAT, O_TRUNC};

constexpr int kNoFilter = 127;

bool opensForChange(std::uint64_t flags) {
  return std::ranges::any_of(kOpensForChange,
                             [flags](std::uint64_t flag) { return (flags & flag) != 0; });
}

bool writesToFile(const SystemCall& call) {
  const std::string target = targetOf(call, 0);
  return target.starts_with('/') && !target.starts_with("/dev/");
}

// Lets every call pass and shows some of them to the tracer.
class Filter {
 public:
  void show(std::uint64_t number, const std::vector<scmp_arg_cmp>& conditions = {}) {
    _isGood = _isGood && seccomp_rule_add_array(
                             _filter, SCMP_ACT_TRACE(0), static_cast<int>(number),
                             static_cast<unsigned>(conditions.size()), conditions.data()) == 0;
  }

  void load() {
    if (!_isGood || seccomp_load(_filter) != 0) {
      ::_exit(kNoFilter);
    }
    seccomp_release(_filter);
  }

 private:
  scmp_filter_ctx _filter = seccomp_init(SCMP_ACT_ALLOW);
  bool _isGood = _filter != nullptr;
};

}  // namespace

std::string nameOf(const SystemCall& call) {
  const std::unique_ptr<char, void (*)(void*)> name(
      seccomp_syscall_resolve_num_arch(SCMP_ARCH_NATIVE, static_cast<int>(call.number)),
      &std::free);
  return name ? std::string(name.get()) : "call " + std::to_string(call.number);
}

std::string describe(const SystemCall& call) {
  return (call.atEntry ? "entry of " : "exit of ") + nameOf(call);
}

std::string targetOf(const SystemCall& call, int argument) {
  const auto number = static_cast<int>(call.arguments.at(static_cast<std::size_t>(argument)));
  std::error_code none;
  return std::filesystem::read_symlink(
      "/proc/" + std::to_string(call.thread) + "/fd/" + std::to_string(number), none);
}

bool changesSomething(const SystemCall& call) {
  switch (call.number) {
    case SYS_open:
      return opensForChange(call.arguments[1]);
    case SYS_openat:
      return opensForChange(call.arguments[2]);
    default:
      return std::ranges::find(kChanges, call.number) != kChanges.end() ||
             (std::ranges::find(kWrites, call.number) != kWrites.end() && writesToFile(call));
  }
}

void showOnlyChanges() {
  Filter filter;
  for (const std::uint64_t number : kChanges) {
    filter.show(number);
  }
  for (const std::uint64_t number : kWrites) {
    filter.show(number);
  }
  for (const std::uint64_t flag : kOpensForChange) {
    filter.show(SYS_open, {{.arg = 1, .op = SCMP_CMP_MASKED_EQ, .datum_a = flag, .datum_b = flag}});
    filter.show(SYS_openat,
                {{.arg = 2, .op = SCMP_CMP_MASKED_EQ, .datum_a = flag, .datum_b = flag}});
  }
  filter.load();
}

void showOnly(std::uint64_t number) {
  Filter filter;
  filter.show(number);
  filter.load();
}

}  // namespace marrow::sweep
