// The systems of a virtual machine that stand around the base system: the installer that stages an
// update, and the old and the new system that look at what became of it.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/firmware_store.h"
#include "rehearsal/interruption.h"
#include "rehearsal/scenario.h"
#include "rehearsal/vm/guest/guest_plan.h"
#include "rehearsal/vm/guest/guest_report.h"

#include <string>

namespace marrow::rehearsal {

// What a system does when it has reported.
enum class GuestEnd { kRestart, kPowerOff };

class Guest {
 public:
  // On the disk /dev/vda and the machine's own firmware variables. Throws Problem.
  explicit Guest(GuestPlan plan);

  // Plays that system (see guest_system) to its report. Throws Problem.
  GuestReport run(const std::string& system);

  GuestEnd end() const { return _end; }

 private:
  void stage();
  void stageOn(const Partition& partition);
  bool hasToEnterAgain(const std::string& system) const;
  void enterBaseSystem();
  Snapshot snapshot() const;

  GuestPlan _plan;
  const Scenario& _scenario;
  Interruption _interruption;
  FirmwareStore _firmware;
  BootDisk _disk;
  GuestEnd _end = GuestEnd::kPowerOff;
};

}  // namespace marrow::rehearsal
