#include "rehearsal/scenario.h"

#include "rehearsal/cookie.h"
#include "rehearsal/partition_table.h"
#include "rehearsal/problem.h"

#include <algorithm>

namespace marrow::rehearsal {
namespace {

bool canPlay(const Scenario& scenario, Stage stage) {
  return !scenario.onlyOn || scenario.onlyOn == stage;
}

Scenario describe(std::string name, std::string situation, std::string outcome) {
  Scenario scenario;
  scenario.name = std::move(name);
  scenario.situation = std::move(situation);
  scenario.outcome = std::move(outcome);
  return scenario;
}

std::vector<Scenario> bootScenarios() {
  Scenario booted = describe(
      "booted-from-proposed", "The machine booted from the nonce that the update proposes.",
      "Nonce, boot objects and start-up entry are the new ones; it reboots.");
  Scenario other = describe("other-nonce", "The machine booted from the nonce in force.",
                            "No boot policy and no boot object changes; the start-up entry does.");
  other.bootedNonce = BootedNonce::kInForce;
  Scenario wrong = describe("wrong-nonce", "The machine booted from a nonce that nobody knows.",
                            "It stays with the old boot objects; the start-up entry changes.");
  wrong.bootedNonce = BootedNonce::kUnknown;
  Scenario entry = describe("entry-missing", "The boot loader has no entry for the new system.",
                            "All is done but the start-up entry: the machine starts the old one.");
  entry.entryMissing = true;
  entry.consoleWords = {"Failed to bless /dev/"};
  return {booted, other, wrong, entry};
}

std::vector<Scenario> migratorScenarios() {
  Scenario fails = describe("migrator-fails", "The migrator ends with status 3.",
                            "It was a dry run: everything else goes on as if it had succeeded.");
  fails.migrator = MigratorPlan::kFails;
  fails.consoleWords = {"Loam Migrator exited with status: 3"};
  Scenario missing = describe("migrator-missing", "The base system has no migrator.",
                              "The run stops there; nothing is committed or blessed; it reboots.");
  missing.migrator = MigratorPlan::kMissing;
  missing.consoleWords = {"Failed to launch Loam migrator."};
  return {fails, missing};
}

std::vector<Scenario> volumeScenarios() {
  Scenario update = describe("no-update-volume", "The disk has no update volume.",
                             "All is done; the metrics reach the firmware alone, the log stays.");
  update.missingRole = partition_type::kUpdate;
  update.consoleWords = {"Failed to find update volume for container"};
  Scenario recovery = describe("no-recovery-volume", "The disk has no recovery volume.",
                               "The run stops before the nonce; nothing is committed or blessed.");
  recovery.missingRole = partition_type::kRecovery;
  recovery.consoleWords = {"failed to mount recovery"};
  Scenario encrypted = describe(
      "encrypted-data", "The data volume is encrypted; its key is in the kernel's key ring.",
      "All is done, and the key that was stashed is committed.");
  encrypted.onlyOn = Stage::kVirtualMachine;
  encrypted.encryptedData = true;
  encrypted.consoleWords = {"Brume stash commit was successful."};
  return {update, recovery, encrypted};
}

std::vector<Scenario> cookieScenarios() {
  Scenario target = describe("alternate-target", "The cookie names an alternate start-up volume.",
                             "All is done, but the start-up entry stays as it is.");
  target.cookieKey = kAlternateTargetKey;
  target.consoleWords = {"skipping bless"};
  Scenario full = describe("full-upgrade", "The cookie asks for the full upgrade.",
                           "All is done, and the downlevel tree is gone.");
  full.cookieKey = kFullUpgradeKey;
  full.consoleWords = {"Removed downlevel at "};
  return {target, full};
}

std::vector<Scenario> simulatedScenarios() {
  Scenario error = describe("simulated-error",
                            "An internal build simulates an error after the "
                            "boot objects were committed.",
                            "The run stops there: everything but the start-up entry has changed.");
  error.simulation = {"MWCommitBootObjectsOperation", "error", ""};
  error.consoleWords = {"Simulating error (MWCommitBootObjectsOperation)"};
  Scenario skip = describe("simulated-skip", "An internal build skips the migrator.",
                           "All else is done; there is no log and there are no metrics.");
  skip.simulation = {"MWLoamMigratorOperation", "skip", ""};
  skip.consoleWords = {"Skipping (MWLoamMigratorOperation)"};
  Scenario exercise =
      describe("simulated-exercise", "An internal build commits the boot objects three times over.",
               "The repetitions find nothing left to do; all is done once.");
  exercise.simulation = {"MWCommitBootObjectsOperation", "exercise", "3"};
  exercise.consoleWords = {"Exercising 3 times (MWCommitBootObjectsOperation)"};
  Scenario panic = describe("simulated-panic",
                            "An internal build panics the kernel after the nonce was committed.",
                            "The machine comes back by itself, and the second start finishes.");
  panic.onlyOn = Stage::kVirtualMachine;
  panic.simulation = {"MWCommitBootPolicyOperation", "panic", ""};
  panic.consoleWords = {"Simulating panic (MWCommitBootPolicyOperation)", "Kernel panic"};
  return {error, skip, exercise, panic};
}

std::vector<Scenario> baseSystemScenarios() {
  Scenario splash = describe("boot-splash", "The base system has plymouth for a boot splash.",
                             "The splash shows how far the upgrade is; all is done.");
  splash.onlyOn = Stage::kVirtualMachine;
  splash.bootSplash = true;
  Scenario locks = describe("locks-held", "The base system has a system bus and logind.",
                            "The machine may not sleep until the end; all is done.");
  locks.onlyOn = Stage::kVirtualMachine;
  locks.systemBus = true;
  Scenario mounts =
      describe("mounts-tried", "Another service tries to mount the data volume meanwhile.",
               "Each try is refused, and told of with the process that tried; all is done.");
  mounts.onlyOn = Stage::kVirtualMachine;
  mounts.mountsTried = true;
  return {splash, locks, mounts};
}

std::vector<Scenario> endScenarios() {
  Scenario refused = describe("reboot-refused", "The kernel refuses the reboot with EPERM.",
                              "All is done, and marrowd ends with status 1, which is EPERM.");
  refused.onlyOn = Stage::kNamespaces;
  refused.rebootRefused = true;
  refused.consoleWords = {"Failed to perform a full system reboot. 1"};
  Scenario cut = describe("cut", "The machine loses its power at a random moment and starts again.",
                          "Every live place is old or new at the cut; the second start finishes.");
  cut.onlyOn = Stage::kNamespaces;
  cut.powerCut = true;
  Scenario twice =
      describe("base-system-entered-twice", "The new system starts the base system once more.",
               "The second run finds nothing left to do; the new system starts again.");
  twice.onlyOn = Stage::kVirtualMachine;
  twice.enteredTwice = true;
  return {refused, cut, twice};
}

}  // namespace

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> kScenarios = [] {
    std::vector<Scenario> all;
    for (auto group : {bootScenarios, migratorScenarios, volumeScenarios, cookieScenarios,
                       simulatedScenarios, baseSystemScenarios, endScenarios}) {
      std::ranges::move(group(), std::back_inserter(all));
    }
    return all;
  }();
  return kScenarios;
}

std::vector<Scenario> scenariosOn(Stage stage) {
  std::vector<Scenario> playable;
  std::ranges::copy_if(scenarios(), std::back_inserter(playable),
                       [stage](const Scenario& scenario) { return canPlay(scenario, stage); });
  return playable;
}

const Scenario& scenarioNamed(const std::string& name, Stage stage) {
  const auto found = std::ranges::find(scenarios(), name, &Scenario::name);
  if (found != scenarios().end() && canPlay(*found, stage)) {
    return *found;
  }
  std::string names;
  for (const Scenario& scenario : scenariosOn(stage)) {
    names += (names.empty() ? "" : ", ") + scenario.name;
  }
  throw Problem("There is no scenario " + name + " here; there are " + names + ".");
}

std::string explainScenarios(Stage stage) {
  std::string text;
  for (const Scenario& scenario : scenariosOn(stage)) {
    text += scenario.name + (text.empty() ? " (default)" : "") + "\n    " + scenario.situation +
            "\n    " + scenario.outcome + '\n';
  }
  return text;
}

}  // namespace marrow::rehearsal
