#include "rehearsal/vm/vm_expectations.h"

#include "rehearsal/firmware_setup.h"
#include "rehearsal/run_events.h"

#include <algorithm>

namespace marrow::rehearsal {
namespace {

std::string joined(const std::vector<std::string>& names) {
  std::string text;
  for (const std::string& name : names) {
    text += (text.empty() ? "" : ", ") + name;
  }
  return text;
}

std::vector<std::string> systemsOf(const std::vector<VmBoot>& boots) {
  std::vector<std::string> names;
  std::ranges::transform(boots, std::back_inserter(names), [](const VmBoot& boot) {
    return boot.system.empty() ? "nothing" : boot.system;
  });
  return names;
}

const VmBoot* lastBaseBoot(const std::vector<VmBoot>& boots) {
  const auto found = std::find_if(boots.rbegin(), boots.rend(),
                                  [](const VmBoot& boot) { return boot.system == kBaseSystem; });
  return found == boots.rend() ? nullptr : &*found;
}

bool anyConsoleHas(const std::vector<VmBoot>& boots, const std::string& words) {
  return std::ranges::any_of(boots,
                             [&](const VmBoot& boot) { return consoleHas(boot.run, words); });
}

}  // namespace

std::vector<std::string> expectedSystems(const Scenario& scenario, const BootDisk& disk,
                                         const Expectation& expectation) {
  const bool blessed = expectation.after.at("firmware.default") == entryOf(disk.group);
  const std::string last = blessed ? guest_system::kNew : guest_system::kOld;
  std::vector<std::string> systems{guest_system::kInstaller, kBaseSystem};
  if (scenario.simulation && scenario.simulation->command == "panic") {
    systems.emplace_back(kBaseSystem);
  }
  systems.push_back(last);
  if (scenario.enteredTwice) {
    systems.insert(systems.end(), {kBaseSystem, last});
  }
  return systems;
}

Expectation expectedVmEnd(const Scenario& scenario, const BootDisk& disk, const Snapshot& before,
                          const MigratorWords& words) {
  Expectation expectation = expectedEnd(scenario, disk, before, words);
  for (const char* key : {"base.log", "base.metrics"}) {
    expectation.after[key] = kNothing;
  }
  return expectation;
}

std::vector<Row> compareBoots(const std::vector<VmBoot>& boots, const Scenario& scenario,
                              const BootDisk& disk, const Expectation& expectation) {
  std::vector<Row> rows{{"run.boots", "boots", "", joined(systemsOf(boots)),
                         joined(expectedSystems(scenario, disk, expectation))}};
  if (const VmBoot* boot = lastBaseBoot(boots)) {
    Scenario withoutWords = scenario;
    withoutWords.consoleWords.clear();
    std::ranges::move(compareRun(boot->run, withoutWords, expectation), std::back_inserter(rows));
  }
  for (const std::string& words : scenario.consoleWords) {
    const std::string said = "said \"" + words + '"';
    rows.push_back({"run.console", "console", "",
                    anyConsoleHas(boots, words) ? said : "did not say \"" + words + '"', said});
  }
  return rows;
}

const GuestReport* lastReport(const std::vector<VmBoot>& boots) {
  return boots.empty() || !boots.back().report ? nullptr : &*boots.back().report;
}

}  // namespace marrow::rehearsal
