// A machine to interrupt: its disk, its firmware and its base system, as they are before a run and
// put back for each case.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/firmware_store.h"
#include "rehearsal/machine.h"
#include "sweep/daemon_trace.h"
#include "sweep/firmware_copy.h"
#include "sweep/swept_disk.h"

#include <chrono>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace marrow::sweep {

struct MachineChoice {
  rehearsal::Scenario scenario;
  rehearsal::FileSystem fileSystem = rehearsal::FileSystem::kExt4;
  // The program's bytes.
  std::string daemon;
  // How long a run may take.
  std::chrono::seconds patience{90};
  DaemonTrace::Calls calls{};
  rehearsal::TreeSize treeSize = kSmallTree;
  // More files of the base system: what they hold, by their paths below its root.
  std::map<std::string, std::string> files{};
};

// What is done to the daemon during one start.
struct StartPlan {
  // Without it the daemon is not stopped.
  DaemonTrace::AtStop atStop{};
  DaemonTrace::Calls calls{};
  // "NAME=VALUE", of the daemon and what it starts.
  std::vector<std::string> environment{};
  // Changes the fresh base system before the daemon starts.
  std::function<void()> prepare{};
  // Told the machine's first process before the daemon becomes its program.
  std::function<void(pid_t)> started{};
};

// How one start went.
struct StartEnd {
  TraceEnd trace;
  rehearsal::MachineEnd machine;
  std::string console;
  // The kernel's log, in which the daemon's stands, and what it wrote to its standard output.
  std::string log;
  // What it left on the machine that it ran on, see leftovers.h.
  std::vector<std::string> leftovers;
};

class SweptMachine {
 public:
  SweptMachine(MachineChoice choice, const rehearsal::Workplace& workplace,
               rehearsal::Interruption& interruption);

  const rehearsal::Scenario& scenario() const { return _choice.scenario; }
  DaemonTrace::Calls calls() const { return _choice.calls; }
  const rehearsal::BootDisk& layout() const { return _disk.layout(); }
  SweptDisk& disk() { return _disk; }
  const SweptDisk& disk() const { return _disk; }
  const rehearsal::FirmwareStore& firmware() const { return _firmware; }
  const FirmwareCopy& firmwareBefore() const { return _firmwareBefore; }
  const rehearsal::Snapshot& before() const { return _before; }

  // What the migrator of this machine leaves.
  static rehearsal::MigratorWords migratorWords();

  // As before any run.
  void putBack();

  // Puts a script in the migrator's place, for all starts from now on.
  void setMigrator(const std::string& script);

  // What a migrator of the shell does to leave the log and the metrics that are looked for. Its
  // arguments stand in this order: -M -m METRICS -l LOG -n -t SECONDS -g FIFO DEVICE.
  static std::string migratorReports();

  // See SweptDisk::attach(): the base system gets the other nodes.
  void attachDisk(int file);

  // Root of the base system, which each start makes afresh as far as a run changes it.
  const std::filesystem::path& root() const { return _root; }

  // Starts it from a fresh base system, with that base system as the next boot's too: its unit sees
  // to that before it starts the daemon. Returns when it has come to its end.
  StartEnd start(const DaemonTrace::AtStop& atStop);
  StartEnd start(const StartPlan& plan);

  // Brings the firmware's variables to what a firmware would hold after an interruption of the last
  // start.
  void settleFirmware();

  // The migrator's log counts on the update volume when it is whole.
  rehearsal::Snapshot look() const;

  // Names, on the volumes that a run writes to, of files that it made for itself.
  std::vector<std::string> ownFilesLeft() const;

  // A sentence for each thing of the base system outside /run/marrow, /private/tmp and the
  // console's, screen's and log's places that is not as it was before the start.
  std::vector<std::string> baseSystemChanges() const;

 private:
  bool isLogCutShort() const;
  void makeBaseSystem();
  void freshenBaseSystem() const;
  void armBaseSystem() const;
  std::map<std::string, std::string> baseSystemFiles() const;

  MachineChoice _choice;
  SweptDisk _disk;
  std::filesystem::path _root;
  std::filesystem::path _place;
  rehearsal::FirmwareStore _firmware;
  FirmwareCopy _firmwareBefore;  // any run
  FirmwareCopy _firmwareAtStart;
  rehearsal::Snapshot _before;
  std::map<std::string, std::string> _baseSystemBefore;
};

}  // namespace marrow::sweep
