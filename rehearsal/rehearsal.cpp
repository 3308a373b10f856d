#include "rehearsal/rehearsal.h"

#include "rehearsal/base_system_plan.h"
#include "rehearsal/console_view.h"
#include "rehearsal/cookie.h"
#include "rehearsal/disk_content.h"
#include "rehearsal/files.h"
#include "rehearsal/firmware_setup.h"
#include "rehearsal/interruption.h"
#include "rehearsal/kept_files.h"
#include "rehearsal/problem.h"
#include "rehearsal/programs.h"
#include "rehearsal/trial.h"

#include <random>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

// A run writes about so many lines, most of them while it changes something: a cut comes shortly
// after one of them, and so finds these moments more often than one at a random time would.
constexpr std::size_t kLinesToCutAt = 34;
constexpr unsigned kLongestDelay = 20;

std::uint64_t chooseSeed(const Options& options) {
  return options.seed ? *options.seed : std::random_device()();
}

}  // namespace

void requireNamespaces() {
  if (::geteuid() != 0) {
    throw Problem("A rehearsal mounts file systems and makes namespaces: run it as root (sudo).");
  }
  requireLoopDevices();
  requireOwnMounts();
  requireUsableMachine();
}

void requireWhatIsNeeded(const Options& options) {
  scenarioNamed(options.scenario);
  requireNamespaces();
  requireProgram("sfdisk", "fdisk");
  requireProgram("mount", "mount");
  if (options.disk.empty()) {
    requireFileSystem(options.fileSystem);
  }
}

Rehearsal::Rehearsal(const Options& options, Inputs inputs, ConsoleView& view,
                     Interruption& interruption)
    : _options(options),
      _scenario(scenarioNamed(options.scenario)),
      _inputs(std::move(inputs)),
      _view(view),
      _interruption(interruption),
      _seed(chooseSeed(options)),
      _firmware(_workplace.folder("firmware")),
      _image(makeNamelessFile()),
      _root(_workplace.folder("not-started")) {}

Report Rehearsal::run() {
  Report report{.scenario = _scenario.name,
                .outcome = _scenario.outcome,
                .disk = _options.disk.empty() ? nameOf(_options.fileSystem) : _options.disk,
                .seed = _seed,
                .logs = _inputs.logs->path()};
  prepareDisk();
  armFirmware();
  const Snapshot before = snapshot();
  if (_scenario.powerCut) {
    report.runs.push_back(startMachine(planCut()));
    report.rows = compareAtCut(before, snapshot(), report.runs.back());
    _view.say("The machine starts again.");
  }
  report.runs.push_back(startMachine(std::nullopt));
  const Expectation expectation = expectedEnd(_scenario, _disk, before, migratorWords());
  std::ranges::move(compareSnapshots(before, snapshot(), expectation),
                    std::back_inserter(report.rows));
  std::ranges::move(compareRun(report.runs.back(), _scenario, expectation),
                    std::back_inserter(report.rows));
  if (_inputs.keep) {
    keepMachine(_image.number(), _firmware.folder(), _root, _inputs.keep->reach());
  }
  return report;
}

MachineSetup Rehearsal::prepare() {
  prepareDisk();
  armFirmware();
  return setUpMachine();
}

void Rehearsal::prepareDisk() {
  _view.say("Preparing a disk...");
  const auto image = pathOfDescriptor(_image.number());
  if (_inputs.disk) {
    copySparse(_inputs.disk.number(), _image.number());
    _disk = examineDisk(readPartitionTable(image), _options.group);
  } else {
    _disk = planDisk(_options.fileSystem, _options.treeSize);
    const auto size = static_cast<off_t>(placePartitions(_disk.partitions));
    checked(::ftruncate(_image.number(), size), "make the disk image");
    writePartitionTable(image, _disk.partitions);
  }
  if (const auto missing = _disk.partitionOf(_scenario.missingRole)) {
    setPartitionType(image, *missing, partition_type::kLinuxData);
    _disk.partitions = readPartitionTable(image);
  }
  _device =
      std::make_unique<LoopDevice>(_image.number(), _disk.partitions, _workplace.folder("nodes"));
  fillOrExamine();
  addCookie();
}

void Rehearsal::fillOrExamine() {
  const auto place = _workplace.folder("volume");
  if (!_inputs.disk) {
    fillDisk(place);
    return;
  }
  if (_options.group.empty()) {
    _disk.group = findBootableGroup(_disk, *_device, place);
  }
  _disk.bootObjectsPath = _options.bootObjectsPath.empty() ? findBootObjects(_disk, *_device, place)
                                                           : _options.bootObjectsPath;
}

void Rehearsal::fillDisk(const std::filesystem::path& place) {
  for (const Partition& partition : _disk.partitions) {
    if (partition.type == partition_type::kEfiSystem) {
      continue;
    }
    _interruption.check();
    makeFileSystem(_options.fileSystem, _device->node(partition.number));
    const MountedVolume volume(_device->node(partition.number), place,
                               MountedVolume::Access::kReadWrite);
    installContent(volume.path(), partition, _disk, _options.treeSize, _interruption);
    stageUpdate(volume.path(), partition, _disk, _options.treeSize, _interruption);
  }
}

void Rehearsal::addCookie() {
  const std::optional<int> preboot = _disk.partitionOf(partition_type::kPreboot);
  if (!_scenario.cookieKey.empty() && preboot) {
    const MountedVolume volume(_device->node(*preboot), _workplace.folder("volume"),
                               MountedVolume::Access::kReadWrite);
    writeCookie(cookieFile(volume.path(), _disk.group), _scenario.cookieKey);
  }
}

void Rehearsal::armFirmware() {
  stageFirmware(_firmware, _scenario, _seed);
  pretendLoader(_firmware, _scenario, _disk.group);
}

BaseSystem Rehearsal::baseSystem(const std::filesystem::path& root) const {
  BaseSystem system = planBaseSystem(_options, _scenario, _disk, _inputs.migrator);
  system.root = root;
  system.daemon = _inputs.daemon;
  return system;
}

MachineSetup Rehearsal::setUpMachine() {
  ++_start;
  _root = _workplace.folder("start-" + std::to_string(_start));
  std::vector<std::filesystem::path> nodes{_device->diskNode()};
  for (const Partition& partition : _disk.partitions) {
    nodes.push_back(_device->node(partition.number));
  }
  installBaseSystem(baseSystem(_root), nodes);
  return {.settings = {.view = {.root = _root, .firmware = _firmware.folder()},
                       .output = _root / "var/marrowd-output",
                       .refuseReboot = _scenario.rebootRefused},
          .diskName = _device->name(),
          .cut = std::nullopt};
}

MachineRun Rehearsal::startMachine(std::optional<CutPlan> cut) {
  MachineSetup setup = setUpMachine();
  setup.cut = cut;
  _view.say("Starting the machine...");
  const auto logs = _inputs.logs->reach();
  try {
    MachineRun run = runMachine(std::move(setup), _view, _interruption);
    saveConsole(run, logs / ("start-" + std::to_string(_start) + "-console.log"));
    saveStart(_root, logs, _start);
    return run;
  } catch (...) {
    saveStart(_root, logs, _start);
    throw;
  }
}

CutPlan Rehearsal::planCut() const {
  if (_options.cutAfterMilliseconds) {
    _view.say("The power goes after " + std::to_string(*_options.cutAfterMilliseconds) + " ms.");
    return {.afterStart = std::chrono::milliseconds(*_options.cutAfterMilliseconds)};
  }
  std::mt19937_64 generator(_seed);
  const auto lines = std::uniform_int_distribution<std::size_t>(1, kLinesToCutAt)(generator);
  const auto delay = std::uniform_int_distribution<unsigned>(0, kLongestDelay)(generator);
  _view.say("The power goes " + std::to_string(delay) + " ms after line " + std::to_string(lines) +
            " of the console (--seed " + std::to_string(_seed) + ").");
  return {.afterLines = lines, .afterThose = std::chrono::milliseconds(delay)};
}

Snapshot Rehearsal::snapshot() const {
  _device->waitUntilUnused();
  return takeSnapshot({.disk = _disk,
                       .node = [this](int number) { return _device->node(number); },
                       .image = _image.number(),
                       .firmware = _firmware,
                       .root = _root,
                       .place = _workplace.folder("volume")});
}

MigratorWords Rehearsal::migratorWords() const {
  const std::optional<int> data = _disk.partitionOf(partition_type::kData);
  if (!_options.migrator.empty() || !data) {
    return {};
  }
  return standInWords(fileSystemOn(_device->node(*data)), _device->partitionName(*data),
                      _disk.sizeOf(partition_type::kData));
}

}  // namespace marrow::rehearsal
