#include "rehearsal/machine_mounts.h"

#include "rehearsal/base_system.h"
#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <sys/mount.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

void mountNew(const char* type, const std::filesystem::path& place, unsigned long flags,
              const char* options = nullptr) {
  std::filesystem::create_directories(place);
  checked(::mount(type, place.c_str(), type, flags, options), "mount " + place.string());
}

void bindMount(const std::filesystem::path& from, const std::filesystem::path& to) {
  checked(::mount(from.c_str(), to.c_str(), nullptr, MS_BIND | MS_REC, nullptr),
          "bind " + from.string() + " to " + to.string());
}

// The whole tree at once, what is mounted inside it included (mount_setattr(2)).
void bindReadOnly(const std::filesystem::path& from, const std::filesystem::path& to) {
  bindMount(from, to);
  mount_attr attributes{};
  attributes.attr_set = MOUNT_ATTR_RDONLY;
  checked(::mount_setattr(AT_FDCWD, to.c_str(), AT_RECURSIVE, &attributes, sizeof attributes),
          "make " + to.string() + " read-only");
}

void mountProc(const std::filesystem::path& root) {
  const auto proc = root / "proc";
  mountNew("proc", proc, MS_NOSUID | MS_NODEV | MS_NOEXEC);
  bindMount(root / machine_path::kCommandLine, proc / "cmdline");
  bindReadOnly(proc / "sys", proc / "sys");
  if (std::filesystem::exists(proc / "sysrq-trigger")) {
    bindMount(root / "dev/null", proc / "sysrq-trigger");
  }
}

// The links of the real one, those of the disk alone.
void hideOtherDisks(const std::string& disk, const std::filesystem::path& place) {
  const std::filesystem::path real = "/sys/class/block";
  checked(::mount("tmpfs", place.c_str(), "tmpfs", MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0755"),
          "mount " + place.string());
  for (const auto& entry : std::filesystem::directory_iterator(real)) {
    const std::string name = entry.path().filename();
    if (name == disk || name.starts_with(disk + 'p')) {
      std::filesystem::copy_symlink(entry.path(), place / name);
    }
  }
}

// A program that the kernel asks before each mount would be asked for those of the real machine
// too. Besides, Linux 6.1 stands still for ever when such a program goes with the last
// process of a process namespace: whoever lets go of it waits, as does the namespace's first
// process (synchronize_rcu_tasks and zap_pid_ns_processes).
void hideSecurityModules(const std::filesystem::path& place) {
  if (std::filesystem::exists(place)) {
    mountNew("tmpfs", place, MS_NOSUID | MS_NODEV | MS_NOEXEC | MS_RDONLY, "mode=0755");
  }
}

void mountSys(const MachineView& view) {
  const auto sys = view.root / "sys";
  mountNew("tmpfs", sys, MS_NOSUID | MS_NODEV | MS_NOEXEC, "mode=0755");
  for (const char* name : {"block", "bus", "class", "dev", "devices", "kernel"}) {
    std::filesystem::create_directories(sys / name);
    bindReadOnly(std::filesystem::path("/sys") / name, sys / name);
  }
  hideSecurityModules(sys / "kernel/security");
  if (!view.onlyDisk.empty()) {
    hideOtherDisks(view.onlyDisk, sys / "class/block");
  }
  std::filesystem::create_directories(sys / "power");
  std::filesystem::create_directories(sys / "firmware/efi/efivars");
  bindMount(view.firmware, sys / "firmware/efi/efivars");
}

void mountDev(const MachineView& view) {
  const auto dev = view.root / "dev";
  mountNew("devpts", dev / "pts", MS_NOSUID | MS_NOEXEC, "newinstance,ptmxmode=0666,mode=0620");
  bindMount(view.console, dev / "console");
  bindMount(view.screen, dev / "tty1");
}

// pivot_root(2) tells how to do it without a folder for the old root.
void makeRoot(const std::filesystem::path& root) {
  std::filesystem::current_path(root);
  checked(static_cast<int>(::syscall(SYS_pivot_root, ".", ".")), "change the root");
  checked(::umount2(".", MNT_DETACH), "let go of the real root");
  std::filesystem::current_path("/");
}

}  // namespace

void enterMachineView(const MachineView& view) {
  checked(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), "keep mounts to itself");
  bindMount(view.root, view.root);
  for (const std::string& name : sharedFolders()) {
    bindReadOnly(std::filesystem::path("/") / name, view.root / name);
  }
  mountProc(view.root);
  mountSys(view);
  mountDev(view);
  makeRoot(view.root);
}

}  // namespace marrow::rehearsal
