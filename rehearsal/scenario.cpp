#include "rehearsal/scenario.h"

#include "rehearsal/cookie.h"
#include "rehearsal/partition_table.h"
#include "rehearsal/problem.h"

#include <algorithm>

namespace marrow::rehearsal {
namespace {

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
  other.bootedFromProposed = false;
  return {booted, other};
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
  return {update, recovery};
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
  return {error, skip, exercise};
}

std::vector<Scenario> endScenarios() {
  Scenario refused = describe("reboot-refused", "The kernel refuses the reboot with EPERM.",
                              "All is done, and marrowd ends with status 1, which is EPERM.");
  refused.rebootRefused = true;
  refused.consoleWords = {"Failed to perform a full system reboot. 1"};
  Scenario cut = describe("cut", "The machine loses its power at a random moment and starts again.",
                          "Every live place is old or new at the cut; the second start finishes.");
  cut.powerCut = true;
  return {refused, cut};
}

}  // namespace

const std::vector<Scenario>& scenarios() {
  static const std::vector<Scenario> kScenarios = [] {
    std::vector<Scenario> all;
    for (auto group : {bootScenarios, migratorScenarios, volumeScenarios, cookieScenarios,
                       simulatedScenarios, endScenarios}) {
      std::ranges::move(group(), std::back_inserter(all));
    }
    return all;
  }();
  return kScenarios;
}

const Scenario& scenarioNamed(const std::string& name) {
  const auto found = std::ranges::find(scenarios(), name, &Scenario::name);
  if (found != scenarios().end()) {
    return *found;
  }
  std::string names;
  for (const Scenario& scenario : scenarios()) {
    names += (names.empty() ? "" : ", ") + scenario.name;
  }
  throw Problem("There is no scenario " + name + "; there are " + names + ".");
}

std::string explainScenarios() {
  std::string text;
  for (const Scenario& scenario : scenarios()) {
    text += scenario.name + (&scenario == &scenarios().front() ? " (default)" : "") + "\n    " +
            scenario.situation + "\n    " + scenario.outcome + '\n';
  }
  return text;
}

}  // namespace marrow::rehearsal
