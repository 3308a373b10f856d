#include "rehearsal/vm/vm_rehearsal.h"

#include "rehearsal/base_system_plan.h"
#include "rehearsal/console_view.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/kept_files.h"
#include "rehearsal/problem.h"
#include "rehearsal/vm/accelerator.h"
#include "rehearsal/vm/boot_entries.h"
#include "rehearsal/vm/boot_splash.h"
#include "rehearsal/vm/cut_outcome.h"
#include "rehearsal/vm/disk_image.h"
#include "rehearsal/vm/intruder.h"
#include "rehearsal/vm/observer.h"
#include "rehearsal/vm/vm_disk.h"

#include <algorithm>
#include <fcntl.h>
#include <random>

namespace marrow::rehearsal {
namespace {

// The base system's own target (marrow.target), or its init without a service manager.
std::string baseSystemWords(const std::string& init, const Scenario& scenario) {
  const std::string first =
      init == "systemd" ? "rd.systemd.unit=marrow.target" : "rdinit=/usr/lib/marrow/init";
  return first + ' ' + (scenario.bootSplash ? bootSplashWords() : kQuietWords);
}

void requireGoodEnd(const VmBoot& boot, const std::filesystem::path& log) {
  if (boot.end == VmBoot::End::kTimeUp) {
    throw Problem(nameOf(boot) + " did not come to its end in " +
                  std::to_string(boot.run.duration.count() / 1000) + " s; its console is in " +
                  log.string() + ".");
  }
  if (boot.report && !boot.report->problem.empty()) {
    throw Problem("The " + boot.report->system + " says: " + boot.report->problem);
  }
}

void copyTo(const std::filesystem::path& from, const std::filesystem::path& to) {
  const Descriptor source = openFile(from, O_RDONLY);
  const Descriptor copy = openFile(to, O_WRONLY | O_CREAT | O_TRUNC);
  copySparse(source.number(), copy.number());
}

}  // namespace

void requireWhatVmNeeds(const Options& options) {
  const Scenario& scenario = scenarioNamed(options.scenario, Stage::kVirtualMachine);
  if ((scenario.encryptedData || scenario.bootSplash || scenario.systemBus ||
       scenario.mountsTried) &&
      options.init != "systemd") {
    throw Problem(scenario.name + " needs units of its own: not with --init bare.");
  }
  requireQemu();
  requireImagePrograms();
  if (!options.disk.empty()) {
    throw Problem("A virtual machine makes its own disk: --disk is for a rehearsal without --vm.");
  }
  if (options.fileSystem != FileSystem::kExt4) {
    throw Problem("A virtual machine's volumes are ext4: --fs is for a rehearsal without --vm.");
  }
}

VmRehearsal::VmRehearsal(const Options& options, Inputs inputs, ConsoleView& view,
                         Interruption& interruption)
    : _options(options),
      _scenario(scenarioNamed(options.scenario, Stage::kVirtualMachine)),
      _inputs(std::move(inputs)),
      _view(view),
      _interruption(interruption),
      _seed(options.seed ? *options.seed : std::random_device()()),
      _parts(findVmParts(options.parts, _scenario)),
      _accelerator(findAccelerator(_parts)) {}

GuestPlan VmRehearsal::guestPlan() const {
  return {.scenario = _scenario.name,
          .group = _disk.group,
          .bootObjectsPath = _disk.bootObjectsPath,
          .seed = _seed,
          .treeSize = _options.treeSize};
}

// Without a service manager nobody would start the observer, and its lines are none to cut at.
bool VmRehearsal::isObserved() const { return _options.init == "systemd" && !_options.cuts; }

VmMachine VmRehearsal::prepare() {
  _view.say("Preparing a machine (" + _accelerator + ")...");
  _disk = planVmDisk(_parts, _options.treeSize);
  for (Partition& partition : _disk.partitions) {
    if (partition.type == _scenario.missingRole) {
      partition.type = partition_type::kLinuxData;
    }
  }
  VmMachine machine(_parts);
  makeVmDisk(machine.disk(), _disk,
             {.parts = _parts,
              .scenario = _scenario,
              .baseSystem = planBaseSystem(_options, _scenario, _disk, _inputs.migrator),
              .baseSystemWords = baseSystemWords(_options.init, _scenario),
              .plan = guestPlan(),
              .observed = isObserved()},
             _interruption);
  return machine;
}

std::vector<VmBoot> VmRehearsal::boot(const QemuSettings& settings, const VmRunPlan& plan) {
  std::vector<VmBoot> boots = runVm(settings, plan, _view, _interruption);
  for (const VmBoot& boot : boots) {
    std::string name = plan.logPrefix + nameOf(boot) + "-console.log";
    std::ranges::replace(name, ' ', '-');
    saveConsole(boot.run, logs() / name);
    if (boot.system == kBaseSystem && _scenario.bootSplash) {
      MachineRun splash;
      splash.console = boot.splash;
      saveConsole(splash, logs() / ("splash-" + name));
    }
    requireGoodEnd(boot, _inputs.logs->path() / name);
  }
  return boots;
}

Report VmRehearsal::emptyReport() const {
  return {.scenario = _scenario.name,
          .outcome = _scenario.outcome,
          .disk = "ext4, in a virtual machine",
          .seed = _seed,
          .logs = _inputs.logs->path()};
}

Report VmRehearsal::run() {
  Report report = emptyReport();
  const VmMachine machine = prepare();
  const std::vector<VmBoot> boots =
      boot(machine.settings(_accelerator), {.screenshot = logs() / "screen.png"});
  report.rows = rows(boots);
  for (const VmBoot& boot : boots) {
    if (boot.system == kBaseSystem) {
      report.runs.push_back(boot.run);
    }
  }
  keep(machine);
  return report;
}

std::vector<Row> VmRehearsal::rows(const std::vector<VmBoot>& boots) const {
  const GuestReport* const last = lastReport(boots);
  if (!boots.front().report || last == nullptr) {
    throw Problem("The machine did not report at its beginning and its end; its consoles are in " +
                  _inputs.logs->path().string() + ".");
  }
  const Snapshot& before = boots.front().report->snapshot;
  const Expectation expected = expectation(before);
  std::vector<Row> all = compareSnapshots(before, lastOfFirstRun(boots).snapshot, expected);
  std::ranges::move(rowsOfSecondEntry(boots), std::back_inserter(all));
  std::ranges::move(compareBoots(boots, _scenario, _disk, expected), std::back_inserter(all));
  if (isObserved()) {
    all.push_back(rowOfUse(boots));
  }
  if (_scenario.bootSplash) {
    all.push_back(rowOfSplash(boots));
  }
  if (_scenario.systemBus) {
    all.push_back(rowOfLocks(boots));
  }
  if (_scenario.mountsTried) {
    all.push_back(rowOfIntruder(boots));
  }
  return all;
}

// A new system that enters the base system once more has reported by then: up to there it was the
// first upgrade, from there on it is the second.
const GuestReport& VmRehearsal::lastOfFirstRun(const std::vector<VmBoot>& boots) const {
  const auto found = std::ranges::find_if(boots, [&](const VmBoot& boot) {
    return _scenario.enteredTwice && boot.report && boot.system == guest_system::kNew;
  });
  return found == boots.end() ? *lastReport(boots) : *found->report;
}

std::vector<Row> VmRehearsal::rowsOfSecondEntry(const std::vector<VmBoot>& boots) const {
  if (!_scenario.enteredTwice) {
    return {};
  }
  const Snapshot& before = lastOfFirstRun(boots).snapshot;
  std::vector<Row> again =
      compareSnapshots(before, lastReport(boots)->snapshot, expectation(before));
  for (Row& row : again) {
    row.key = "again." + row.key;
    row.what = "second time: " + row.what;
  }
  return again;
}

std::vector<std::string> VmRehearsal::lossesInTheEnd(const Snapshot& before,
                                                     const std::vector<VmBoot>& boots) const {
  const GuestReport* const last = lastReport(boots);
  if (last == nullptr || last->system != guest_system::kNew) {
    return {"in the end: the new system has not started"};
  }
  return lossesIn(compareSnapshots(before, last->snapshot, expectation(before)), "in the end");
}

Expectation VmRehearsal::expectation(const Snapshot& before) const {
  return expectedVmEnd(_scenario, _disk, before, migratorWords());
}

MigratorWords VmRehearsal::migratorWords() const {
  const std::optional<int> data = _disk.partitionOf(partition_type::kData);
  if (!_options.migrator.empty() || !data) {
    return {};
  }
  return standInWords(_scenario.encryptedData ? "luks2" : "ext4", "vda" + std::to_string(*data),
                      _disk.sizeOf(partition_type::kData));
}

void VmRehearsal::keep(const VmMachine& machine) const {
  if (_inputs.keep) {
    copyTo(machine.disk(), _inputs.keep->reach() / "disk.img");
    copyTo(machine.firmwareVariables(), _inputs.keep->reach() / "firmware-variables.fd");
  }
}

}  // namespace marrow::rehearsal
