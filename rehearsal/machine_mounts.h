// What a machine sees in place of the real machine's file systems.
#pragma once

#include <filesystem>
#include <string>

namespace marrow::rehearsal {

struct MachineView {
  std::filesystem::path root;
  // Bound at /sys/firmware/efi/efivars.
  std::filesystem::path firmware;
  // Terminals, bound at /dev/console and /dev/tty1.
  std::string console{};
  std::string screen{};
  // Of the real machine's block devices, /sys/class/block shows this disk ("loop3") and its
  // partitions alone; empty for all.
  std::string onlyDisk{};
};

// To be called by the first process of new mount and process namespaces: mounts everything below
// the root, makes it the root, and lets go of the real machine's. /proc/sys and what is shown of
// the real machine's /sys are read-only, and /proc/sysrq-trigger is covered: these are not private
// to a namespace. Throws Problem.
void enterMachineView(const MachineView& view);

}  // namespace marrow::rehearsal
