#include "sweep/swept_machine.h"

#include "rehearsal/base_system_plan.h"
#include "rehearsal/files.h"
#include "rehearsal/firmware_setup.h"
#include "rehearsal/loop_device.h"
#include "rehearsal/problem.h"
#include "sweep/leftovers.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

constexpr std::uint64_t kSeed = 1;
constexpr const char* kOutput = "var/marrowd-output";
constexpr std::array kScreens{"dev/console", "dev/tty1", "dev/kmsg", kOutput};
// Folders whose content goes with the base system.
constexpr std::array kOfOneStart{"run", "private/tmp", "tmp"};
constexpr const char* kOneShot = "LoaderEntryOneShot";
constexpr const char* kLogLine = "nothing to do";
constexpr const char* kMetrics = "dry-run status=0";
// So much follows in the log that it takes some blocks of a disk.
constexpr std::size_t kLogLength = 20000;

std::string migratorLog() { return kLogLine + ('\n' + std::string(kLogLength, 'x')); }

std::string migratorScript(int status) {
  return "#!/bin/sh\necho 50 >\"${10}\"\n" + SweptMachine::migratorReports() + "exit " +
         std::to_string(status) + "\n";
}

std::string describeFile(const std::filesystem::path& path) {
  struct stat status {};
  checked(::lstat(path.c_str(), &status), "look at " + path.string());
  std::string text = std::to_string(status.st_mode) + ' ' + std::to_string(status.st_ino);
  if (!S_ISDIR(status.st_mode)) {
    text += ' ' + std::to_string(status.st_size) + ' ' + std::to_string(status.st_mtim.tv_sec) +
            '.' + std::to_string(status.st_mtim.tv_nsec);
  }
  return text;
}

// Another machine may have stood there before.
std::filesystem::path emptyFolder(const Workplace& workplace, const char* name) {
  std::filesystem::remove_all(workplace.folder(name));
  return workplace.folder(name);
}

bool isBelow(const std::string& path, const std::string& folder) {
  return path == folder || path.starts_with(folder + '/');
}

}  // namespace

SweptMachine::SweptMachine(MachineChoice choice, const Workplace& workplace,
                           Interruption& interruption)
    : _choice(std::move(choice)),
      _disk(_choice.scenario, {_choice.fileSystem, _choice.treeSize}, workplace, interruption),
      _root(emptyFolder(workplace, "base-system")),
      _place(workplace.folder("volume")),
      _firmware(emptyFolder(workplace, "firmware")),
      _firmwareBefore(_firmware.folder()),
      _firmwareAtStart(_firmwareBefore) {
  makeBaseSystem();
  stageFirmware(_firmware, _choice.scenario, kSeed);
  pretendLoader(_firmware, _choice.scenario, _disk.layout().group);
  _firmwareBefore = FirmwareCopy(_firmware.folder());
  putBack();
  _before = look();
}

MigratorWords SweptMachine::migratorWords() {
  return {.metrics = kMetrics, .firstLogLine = kLogLine};
}

void SweptMachine::makeBaseSystem() {
  BaseSystem system = planBaseSystem({}, _choice.scenario, _disk.layout(), "");
  system.root = _root;
  system.daemon = _choice.daemon;
  const bool present = system.migrator.has_value();
  const int status = system.migratorStatus.value_or(0);
  system.migrator.reset();
  installBaseSystem(system, _disk.nodes());
  if (present) {
    setMigrator(migratorScript(status));
  }
  writeFile(_root / kOutput, "");
  for (const auto& [path, content] : _choice.files) {
    std::filesystem::create_directories((_root / path).parent_path());
    writeFile(_root / path, content, 0755);
  }
  _baseSystemBefore = baseSystemFiles();
}

std::string SweptMachine::migratorReports() {
  return "echo '" + migratorLog() + "' >\"$5\"\necho '" + kMetrics + "' >\"$3\"\n";
}

void SweptMachine::setMigrator(const std::string& script) {
  writeFile(_root / machine_path::kMigrator, script, 0755);
  _baseSystemBefore = baseSystemFiles();
}

void SweptMachine::putBack() {
  _disk.putBack();
  _firmwareBefore.putInto(_firmware.folder());
}

void SweptMachine::attachDisk(int file) {
  const auto folder = _root / "dev";
  for (const auto& node : _disk.nodes()) {
    std::filesystem::remove(folder / node.filename());
  }
  _disk.attach(file);
  for (const auto& node : _disk.nodes()) {
    struct stat status {};
    checked(::stat(node.c_str(), &status), "look at " + node.string());
    checked(::mknod((folder / node.filename()).c_str(), S_IFBLK | 0600, status.st_rdev),
            "make the device node " + node.filename().string());
  }
  _baseSystemBefore = baseSystemFiles();
}

void SweptMachine::freshenBaseSystem() const {
  for (const char* folder : kOfOneStart) {
    for (const auto& entry : std::filesystem::directory_iterator(_root / folder)) {
      std::filesystem::remove_all(entry.path());
    }
  }
  for (const char* screen : kScreens) {
    writeFile(_root / screen, "", 0600);
  }
}

StartEnd SweptMachine::start(const DaemonTrace::AtStop& atStop) {
  return start(StartPlan{.atStop = atStop, .calls = _choice.calls});
}

void SweptMachine::armBaseSystem() const {
  if (_firmware.loader(kOneShot) != kBaseEntry) {
    _firmware.setLoader(kOneShot, kBaseEntry);
  }
}

StartEnd SweptMachine::start(const StartPlan& plan) {
  freshenBaseSystem();
  armBaseSystem();
  _firmwareAtStart = FirmwareCopy(_firmware.folder());
  if (plan.prepare) {
    plan.prepare();
  }
  const DaemonTrace::Calls calls = plan.atStop ? plan.calls : DaemonTrace::Calls{};
  const MachineSettings settings{.view = {.root = _root,
                                          .firmware = _firmware.folder(),
                                          .console = _root / "dev/console",
                                          .screen = _root / "dev/tty1",
                                          .onlyDisk = _disk.device().name()},
                                 .output = _root / kOutput,
                                 .refuseReboot = _choice.scenario.rebootRefused,
                                 .beforeDaemon = [calls] { DaemonTrace::waitForTracer(calls); },
                                 .environment = plan.environment};
  StartEnd end;
  Machine machine(settings);
  if (plan.started) {
    plan.started(machine.process());
  }
  const std::string processes = processNamespace(machine.process());
  end.trace = DaemonTrace(machine, calls, plan.atStop).run(_choice.patience);
  end.machine = machine.wait();
  end.leftovers = leftovers(processes, _disk.device().name());
  end.console = readFile(_root / "dev/console").value_or("");
  end.log = readFile(_root / "dev/kmsg").value_or("") + readFile(_root / kOutput).value_or("");
  return end;
}

void SweptMachine::settleFirmware() {
  FirmwareCopy found(_firmware.folder());
  found.settle(_firmwareAtStart);
  found.putInto(_firmware.folder());
}

Snapshot SweptMachine::look() const {
  _disk.device().waitUntilUnused();
  Snapshot found = takeSnapshot({.disk = _disk.layout(),
                                 .node = [this](int number) { return _disk.device().node(number); },
                                 .image = _disk.image(),
                                 .firmware = _firmware,
                                 .root = _root,
                                 .place = _place});
  if (found.at("update.log") == kLogLine && isLogCutShort()) {
    found["update.log"] = "a part of it";
  }
  return found;
}

bool SweptMachine::isLogCutShort() const {
  const int number = *_disk.layout().partitionOf(partition_type::kUpdate);
  const MountedVolume volume(_disk.device().node(number), _place, MountedVolume::Access::kReadOnly);
  return readFile(volume.path() / "loam_migrator.log") != migratorLog() + '\n';
}

std::vector<std::string> SweptMachine::ownFilesLeft() const {
  std::vector<std::string> found;
  for (const auto& type :
       {partition_type::kPreboot, partition_type::kRecovery, partition_type::kUpdate}) {
    const std::optional<int> number = _disk.layout().partitionOf(type);
    if (!number) {
      continue;
    }
    const MountedVolume volume(_disk.device().node(*number), _place,
                               MountedVolume::Access::kReadOnly);
    for (const auto& entry : std::filesystem::recursive_directory_iterator(volume.path())) {
      if (entry.path().filename().string().starts_with(".marrow")) {
        found.push_back(entry.path().lexically_relative(volume.path()));
      }
    }
  }
  return found;
}

std::map<std::string, std::string> SweptMachine::baseSystemFiles() const {
  std::map<std::string, std::string> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(_root)) {
    const std::string path = entry.path().lexically_relative(_root);
    const bool isOwn = isBelow(path, "run/marrow") || isBelow(path, "private/tmp") ||
                       std::ranges::find(kScreens, path) != kScreens.end();
    if (!isOwn) {
      files[path] = describeFile(entry.path());
    }
  }
  return files;
}

std::vector<std::string> SweptMachine::baseSystemChanges() const {
  const auto now = baseSystemFiles();
  std::vector<std::string> changes;
  for (const auto& [path, state] : now) {
    const auto before = _baseSystemBefore.find(path);
    if (before == _baseSystemBefore.end() || before->second != state) {
      changes.push_back("/" + path + " of the base system has changed");
    }
  }
  for (const auto& [path, state] : _baseSystemBefore) {
    if (!now.contains(path)) {
      changes.push_back("/" + path + " of the base system has gone");
    }
  }
  return changes;
}

}  // namespace marrow::sweep
