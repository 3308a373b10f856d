#include "rehearsal/problem.h"
#include "sweep/planted_machine.h"
#include "sweep/sweeps.h"

#include <cstdio>

namespace marrow::sweep {
namespace {

struct PlantedCase {
  Thing thing;
  PlantedPlace place;
};

// Things take turns from place to place, so that an evenly spread sample has many of both.
std::vector<PlantedCase> allCases() {
  std::vector<PlantedCase> cases;
  const auto& places = plantedPlaces();
  for (std::size_t round = 0; round < kThings.size(); ++round) {
    for (std::size_t number = 0; number < places.size(); ++number) {
      const Thing thing = kThings.at((number + round) % kThings.size());
      if (canPlant(thing, places[number])) {
        cases.push_back({thing, places[number]});
      }
    }
  }
  return cases;
}

std::string describe(const PlantedCase& planted) {
  return nameOf(planted.thing) + " at " + planted.place.path + " (" + nameOf(planted.place.ground) +
         ")";
}

// A tree that was lost is told by some of its files.
Complaints firstOf(Complaints complaints) {
  constexpr std::size_t kMost = 5;
  if (complaints.size() > kMost) {
    const std::string rest = std::to_string(complaints.size() - kMost);
    complaints.resize(kMost);
    complaints.push_back("and " + rest + " more");
  }
  return complaints;
}

void tryCase(PlantedMachine& machine, const PlantedCase& planted, const std::string& series,
             std::size_t number, CaseLog& log) {
  const std::string what = describe(planted);
  try {
    machine.run(planted.thing, planted.place);
    log.add(series, number, what + ", the run " + machine.verdict(), firstOf(machine.complaints()));
    if (!machine.complaints().empty()) {
      std::printf("%s", machine.console().c_str());
    }
  } catch (const rehearsal::Problem& problem) {
    log.add(series, number, what, {problem.what()});
  }
}

}  // namespace

void sweepPlanted(const SweepTask& task) {
  SweptMachine swept(task.machine(), task.workplace, task.interruption);
  PlantedMachine machine(swept, task.workplace);
  const std::string series = task.seriesOf("planted");
  const std::vector<PlantedCase> cases = allCases();
  task.eachOpenCase(series, cases.size(), [&](std::size_t number) {
    tryCase(machine, cases[number - 1], series, number, task.log);
  });
  std::printf("%s: %zu places and things\n", series.c_str(), cases.size());
  std::fflush(stdout);
}

}  // namespace marrow::sweep
