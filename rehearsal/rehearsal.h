// A rehearsal from its beginning to its report.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/expectations.h"
#include "rehearsal/firmware_store.h"
#include "rehearsal/inputs.h"
#include "rehearsal/machine_run.h"
#include "rehearsal/options.h"
#include "rehearsal/report.h"
#include "rehearsal/workplace.h"

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace marrow::rehearsal {

struct BaseSystem;
class ConsoleView;
class Interruption;

// Throws the Problem that says what to do when the machine has no loop devices or no namespaces for
// this process.
void requireNamespaces();

// As above, and when a program is missing.
void requireWhatIsNeeded(const Options& options);

class Rehearsal {
 public:
  // Goes to the workplace: this process sees other mounts from now on.
  Rehearsal(const Options& options, Inputs inputs, ConsoleView& view, Interruption& interruption);

  // Throws Problem and Interrupted; what is known by then is in the logs.
  Report run();

  // In place of run(), for a caller that watches the machine itself: makes its disk, its firmware
  // and its base system. What is returned lacks the terminals.
  MachineSetup prepare();

 private:
  void prepareDisk();
  void fillOrExamine();
  void fillDisk(const std::filesystem::path& place);
  void addCookie();
  void armFirmware();
  MachineSetup setUpMachine();
  MachineRun startMachine(std::optional<CutPlan> cut);
  BaseSystem baseSystem(const std::filesystem::path& root) const;
  CutPlan planCut() const;
  Snapshot snapshot() const;
  MigratorWords migratorWords() const;

  const Options& _options;
  const Scenario& _scenario;
  Inputs _inputs;
  ConsoleView& _view;
  Interruption& _interruption;
  std::uint64_t _seed;
  Workplace _workplace;
  FirmwareStore _firmware;
  Descriptor _image;
  BootDisk _disk;
  std::unique_ptr<LoopDevice> _device;
  // Of the start that ran last, counted from 1.
  int _start = 0;
  std::filesystem::path _root;
};

}  // namespace marrow::rehearsal
