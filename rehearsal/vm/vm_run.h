// The boots of a virtual machine, watched from its first start to its end.
#pragma once

#include "rehearsal/machine_run.h"
#include "rehearsal/vm/guest/guest_report.h"
#include "rehearsal/vm/qemu.h"

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

// What the boot runs that no agent stands for.
inline constexpr const char* kBaseSystem = "base-system";

struct VmBoot {
  enum class End { kRestart, kPowerOff, kCut, kTimeUp };
  // Counted from 1 over the whole rehearsal.
  int number = 1;
  // One of guest_system, kBaseSystem, or empty while no kernel has started.
  std::string system;
  End end = End::kTimeUp;
  // Console, percentages that the screen showed, duration; `end` is that of a restart or a halt.
  MachineRun run;
  std::optional<GuestReport> report;
  // What came on the reports' line besides: the words of a boot splash.
  std::vector<ConsoleLine> splash;
};

struct VmRunPlan {
  int firstNumber = 1;
  // Before the name of each boot's log.
  std::string logPrefix{};
  // A machine that begins one boot more is killed.
  int bootsAtMost = 5;
  std::chrono::seconds longestBoot{300};
  // Of the first boot; lines are counted from the daemon's first one.
  std::optional<CutPlan> cut{};
  // Where a picture of the screen goes, once the bar on it is half full (or as full as it got);
  // empty for none. Only then the screen is looked at.
  std::filesystem::path screenshot{};
};

// Starts a machine and returns when it is off, killed, or has restarted more often than it may.
// Each boot's console is shown as it comes. Throws Problem when QEMU fails, and Interrupted.
std::vector<VmBoot> runVm(const QemuSettings& settings, const VmRunPlan& plan, ConsoleView& view,
                          Interruption& interruption);

// A line of a serial console as it is shown: without the terminal's control sequences.
std::string withoutControls(const std::string& line);

// The system that a kernel's command line starts, from the console line that tells it; empty when
// the line is another one.
std::string systemIn(const std::string& line);

// "boot 2 base-system".
std::string nameOf(const VmBoot& boot);

}  // namespace marrow::rehearsal
