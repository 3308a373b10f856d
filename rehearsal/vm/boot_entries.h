// What a machine's boot loader offers: a file for each entry, and the loader's own settings
// (systemd-boot(7), loader.conf(5)).
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/scenario.h"

#include <string>
#include <vector>

namespace marrow::rehearsal {

// A small file, by its path on the EFI system partition.
struct LoaderFile {
  std::string path;
  std::string content;
};

// Where the kernel and the initial systems lie on the EFI system partition.
namespace efi_path {
inline constexpr const char* kLoader = "EFI/BOOT/BOOTX64.EFI";
inline constexpr const char* kKernel = "marrow/vmlinuz";
inline constexpr const char* kBaseSystem = "marrow/base-system.img";
inline constexpr const char* kBaseAddition = "marrow/base-system-addition.img";
inline constexpr const char* kAgentSystem = "marrow/agent-system.img";
inline constexpr const char* kAgentPlan = "marrow/agent-plan.img";
}  // namespace efi_path

// The words of the kernel command line that all systems have. The kernel tells its command line on
// the console. It is not to check the timer: a machine that is translated on a busy host may not
// see it tick in time.
inline constexpr const char* kCommonWords =
    "console=ttyS0,115200 loglevel=6 panic=10 no_timer_check";

// Once the first process runs, the kernel keeps to what is critical, so that its lines do not come
// between the pieces of the daemon's.
inline constexpr const char* kQuietWords = "sysctl.kernel.printk=3";

// The settings and the four entries: the installer (which the settings make the default, until a
// firmware variable names another), the old system, the base system and, unless the scenario has it
// missing, the new one. `baseSystemWords` goes into the base system's command line, which tells how
// much the kernel says.
std::vector<LoaderFile> loaderFiles(const BootDisk& disk, const Scenario& scenario,
                                    const std::string& baseSystemWords);

}  // namespace marrow::rehearsal
