#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/problem.h"
#include "rehearsal/rehearsal.h"
#include "sweep/sweeps.h"

#include <algorithm>
#include <cstdio>

namespace {

using namespace marrow::sweep;
using marrow::rehearsal::Problem;
using marrow::rehearsal::Scenario;

constexpr int kLost = 1;
constexpr int kNotTried = 2;
constexpr int kSignalBase = 128;

std::string readDaemon(const SweepOptions& options) {
  const std::filesystem::path path =
      options.daemon.empty()
          ? std::filesystem::read_symlink("/proc/self/exe").parent_path() / "marrowd"
          : std::filesystem::path(options.daemon);
  const auto bytes = marrow::rehearsal::readFile(path);
  if (!bytes) {
    throw Problem("There is no program " + path.string() + ".");
  }
  return *bytes;
}

// The cut of the rehearsal is what a sweep does itself.
std::vector<Scenario> chosenScenarios(const SweepOptions& options) {
  std::vector<Scenario> chosen;
  for (const Scenario& scenario :
       marrow::rehearsal::scenariosOn(marrow::rehearsal::Stage::kNamespaces)) {
    const bool wanted =
        options.scenarios.empty() ||
        std::ranges::find(options.scenarios, scenario.name) != options.scenarios.end();
    if (wanted && !scenario.powerCut) {
      chosen.push_back(scenario);
    }
  }
  return chosen;
}

auto sweepOf(SweepKind kind) {
  switch (kind) {
    case SweepKind::kPower:
      return sweepPowerCuts;
    case SweepKind::kFail:
      return sweepFailures;
    case SweepKind::kFill:
      return sweepFullDisks;
    case SweepKind::kStarve:
      return sweepStarvation;
    case SweepKind::kPlanted:
      return sweepPlanted;
    case SweepKind::kWatched:
      return sweepWatched;
    case SweepKind::kTools:
      return sweepTools;
    case SweepKind::kKill:
      break;
  }
  return sweepKills;
}

int sweep(const SweepOptions& options) {
  marrow::rehearsal::requireNamespaces();
  marrow::rehearsal::requireFileSystem(options.fileSystem);
  marrow::rehearsal::Interruption interruption;
  CaseLog log(options.log);
  const std::string daemon = readDaemon(options);
  const marrow::rehearsal::Workplace workplace;
  for (const Scenario& scenario : chosenScenarios(options)) {
    sweepOf(options.kind)({options, scenario, daemon, workplace, interruption, log});
  }
  std::printf("%zu cases (%zu more passed before), %zu of them lost something.\n", log.cases(),
              log.doneBefore(), log.failures());
  if (log.failures() != 0) {
    return kLost;
  }
  return log.notTried() == 0 ? 0 : kNotTried;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int status = 0;
    const auto options = parseSweepOptions(argc, argv, status);
    return options ? sweep(*options) : status;
  } catch (const marrow::rehearsal::Interrupted& interrupted) {
    std::fprintf(stderr, "\nStopped. Nothing of the machine is left.\n");
    return kSignalBase + interrupted.signal();
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "marrow-sweep: %s\n", problem.what());
    return kNotTried;
  }
}
