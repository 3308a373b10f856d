#include "rehearsal/cookie.h"
#include "rehearsal/expectations.h"

#include <algorithm>
#include <cctype>
#include <functional>

namespace marrow::rehearsal {
namespace {

bool isThere(const std::string& value) { return value != kNothing && value != kNoVolume; }

std::string lowerCase(std::string text) {
  std::ranges::transform(text, text.begin(), [](unsigned char c) { return std::tolower(c); });
  return text;
}

// Goes through the queue as the daemon has to, on the snapshot in place of the machine.
class Course {
 public:
  Course(Scenario scenario, const BootDisk& disk, const Snapshot& before,
         const MigratorWords& words)
      : _scenario(std::move(scenario)), _disk(disk), _words(words) {
    _end.after = before;
  }

  Expectation run() {
    const bool completed = runQueue();
    if (_panicked) {
      return Course(withoutSimulation(_scenario), _disk, _end.after, _words).run();
    }
    _end.verdict = completed ? "all completed" : "one failed";
    if (_migratorRan) {
      handOver();
    }
    forgetSimulation();
    finish();
    return std::move(_end);
  }

 private:
  using Operation = bool (Course::*)();
  struct Queued {
    const char* name;
    Operation body;
  };

  std::vector<Queued> queue() const {
    std::vector<Queued> all{{"MWUnmountContainerOperation", &Course::unmount},
                            {"MWLoamMigratorOperation", &Course::migrate}};
    if (_scenario.bootedNonce == BootedNonce::kProposed) {
      all.push_back({"MWCommitBootPolicyOperation", &Course::commitPolicy});
      all.push_back({"MWCommitBootObjectsOperation", &Course::commitObjects});
    }
    all.push_back({"MWBlessVolumeOperation", &Course::bless});
    return all;
  }

  bool runQueue() {
    const std::vector<Queued> all = queue();
    return std::ranges::all_of(all, [this](const Queued& queued) { return runOne(queued); });
  }

  bool runOne(const Queued& queued) {
    if (!_scenario.simulation || _scenario.simulation->operation != queued.name) {
      return perform(queued);
    }
    const Simulation& simulation = *_scenario.simulation;
    if (simulation.command == "skip") {
      _end.operations.push_back('(' + std::string(queued.name) + ')');
      return true;
    }
    if (simulation.command == "error" || simulation.command == "panic") {
      perform(queued);
      _panicked = simulation.command == "panic";
      return false;
    }
    for (int i = 1; i < std::stoi(simulation.repeat); ++i) {
      perform(queued);
    }
    return perform(queued);
  }

  bool perform(const Queued& queued) {
    _end.operations.emplace_back(queued.name);
    return std::invoke(queued.body, *this);
  }

  bool unmount() { return _disk.partitionOf(partition_type::kData).has_value(); }

  bool migrate() {
    _migratorRan = _scenario.migrator != MigratorPlan::kMissing;
    return _migratorRan;
  }

  bool commitPolicy() {
    if (!_disk.partitionOf(partition_type::kPreboot) ||
        !_disk.partitionOf(partition_type::kRecovery)) {
      return false;
    }
    install("firmware.nonce", "firmware.proposed");
    return true;
  }

  bool commitObjects() {
    if (_end.after["preboot.cookie"].find(kFullUpgradeKey) != std::string::npos) {
      _end.after["preboot.downlevel"] = kNothing;
    }
    install("preboot.sealed", "preboot.sealed-staged");
    install("preboot.restore", "preboot.restore-staged");
    install("recovery.group", "recovery.group-staged");
    install("recovery.boot", "recovery.boot-staged");
    const std::filesystem::path path = _disk.bootObjectsPath;
    if (path.parent_path().filename() == "boot" && _end.after["preboot.active"] != kNoFolder) {
      _end.after["preboot.active"] = path.filename();
    }
    return true;
  }

  void install(const char* live, const char* staged) {
    if (isThere(_end.after[staged])) {
      _end.after[live] = std::exchange(_end.after[staged], kNothing);
    }
  }

  bool bless() {
    if (_end.after["preboot.cookie"].find(kAlternateTargetKey) != std::string::npos) {
      return true;
    }
    if (_scenario.entryMissing || !_disk.partitionOf(partition_type::kSystem)) {
      return false;
    }
    _end.after["firmware.default"] = "marrow-" + lowerCase(_disk.group) + ".conf";
    return true;
  }

  // What is known of the migrator's words is expected where they go; what is not, anything.
  void expectWords(const char* key, const std::optional<std::string>& words) {
    if (words) {
      _end.after[key] = *words;
    } else {
      _end.after.erase(key);
    }
  }

  void handOver() {
    const bool hasUpdate = _disk.partitionOf(partition_type::kUpdate).has_value();
    expectWords("firmware.metrics", _words.metrics);
    expectWords(hasUpdate ? "update.log" : "base.log", _words.firstLogLine);
    if (!_words.metrics) {
      _end.after.erase("base.metrics");
    }
    if (isThere(_end.after["update.rest"])) {
      expectWords("update.metrics", _words.metrics);
      if (_end.after["update.metrics-inner"] != kNoDictionary) {
        expectWords("update.metrics-inner", _words.metrics);
      }
    }
  }

  void forgetSimulation() { _end.after["firmware.simulation"] = kNothing; }

  // Every run ends so, also a failed one.
  void finish() {
    _end.after["firmware.dark-boot"] = "1";
    _end.after["firmware.mute"] = "1";
    _end.after["firmware.one-shot"] = kNothing;
    if (_end.after["disk.stash"] == "staged") {
      _end.after["disk.stash"] = "committed";
    }
    _end.end = _scenario.rebootRefused
                   ? MachineEnd{MachineEnd::Kind::kDaemonEnded, EPERM}.describe()
                   : MachineEnd{MachineEnd::Kind::kReboot}.describe();
  }

  // What an armed simulation was is forgotten by the start that finds it.
  static Scenario withoutSimulation(Scenario scenario) {
    scenario.simulation.reset();
    return scenario;
  }

  const Scenario _scenario;
  const BootDisk& _disk;
  const MigratorWords& _words;
  bool _panicked = false;
  bool _migratorRan = false;
  Expectation _end;
};

}  // namespace

Expectation expectedEnd(const Scenario& scenario, const BootDisk& disk, const Snapshot& before,
                        const MigratorWords& words) {
  return Course(scenario, disk, before, words).run();
}

}  // namespace marrow::rehearsal
