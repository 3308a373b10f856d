#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "sweep/disturbed_cases.h"
#include "sweep/sweeps.h"

#include <cstdio>
#include <set>
#include <sstream>

namespace marrow::sweep {
namespace {

constexpr const char* kAllocator = "libmarrow-starved-allocator.so";
constexpr const char* kPlace = "run-with";

std::string readAllocator() {
  const auto path = std::filesystem::read_symlink("/proc/self/exe").parent_path() / kAllocator;
  const auto bytes = rehearsal::readFile(path);
  if (!bytes) {
    throw rehearsal::Problem("There is no library " + path.string() + ".");
  }
  return *bytes;
}

std::vector<std::string> environmentFor(const std::string& wanted) {
  return {std::string("LD_PRELOAD=/") + kPlace + '/' + kAllocator, "MARROW_STARVE=" + wanted};
}

// The library tells each place once; in their own order they are the same in another run.
std::set<std::string> placesOf(const std::string& told) {
  std::istringstream lines(told);
  std::set<std::string> places;
  std::string begin, place, end;
  for (std::string line; std::getline(lines, line);) {
    std::istringstream words(line);
    if (words >> begin >> place >> end && begin == "allocation" && end == "met") {
      places.insert(place);
    }
  }
  if (places.empty()) {
    throw rehearsal::Problem("The daemon's allocations cannot be counted.");
  }
  return places;
}

DisturbedCase caseOf(const std::string& place, bool allLater) {
  return {.name = place,
          .number = allLater ? 2U : 1U,
          .row = allLater ? "all later ones too" : "one",
          .plan = {.atStop = nullptr,
                   .calls = {},
                   .environment = environmentFor(place + (allLater ? "+" : ""))},
          .disturbance = {.mayEndProcess = true},
          .hasFired = [words = "allocation " + place + " failed\n"](const StartEnd& end) {
            return end.log.find(words) != std::string::npos;
          }};
}

std::vector<DisturbedCase> casesOf(const std::set<std::string>& places) {
  std::vector<DisturbedCase> all;
  for (const bool allLater : {false, true}) {
    for (const std::string& place : places) {
      all.push_back(caseOf(place, allLater));
    }
  }
  return all;
}

}  // namespace

void sweepStarvation(const SweepTask& task) {
  const auto place = std::filesystem::path(kPlace) / kAllocator;
  MachineChoice choice = task.machine();
  choice.files = {{place, readAllocator()}};
  SweptMachine machine(choice, task.workplace, task.interruption);
  DisturbedCases cases(machine, task.log, task.seriesOf("starve"));
  cases.learn();
  const StartEnd counted =
      cases.learn({.atStop = nullptr, .calls = {}, .environment = environmentFor("count")});
  const std::vector<DisturbedCase> all = casesOf(placesOf(counted.log));
  std::printf("%s: memory is allocated at %zu places\n", cases.series().c_str(), all.size() / 2);
  task.eachCase(all.size(), [&](std::size_t number) { cases.tryCase(all[number - 1]); });
  cases.printTable();
}

}  // namespace marrow::sweep
