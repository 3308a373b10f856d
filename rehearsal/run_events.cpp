#include "rehearsal/run_events.h"

#include <algorithm>
#include <array>
#include <optional>

namespace marrow::rehearsal {
namespace {

struct Marker {
  const char* text;
  const char* how;
};

// The name of the operation stands in the parentheses at the end of these lines.
constexpr std::array kMarkers{Marker{"MWOperationQueue: Performing (", "performed"},
                              Marker{"MWOperationQueue: Skipping (", "skipped"}};
constexpr const char* kAllCompleted = "All Marrow operations have completed successfully!";
constexpr const char* kOneFailed = "One of the Marrow operations has failed";

std::optional<OperationTime> operationIn(const ConsoleLine& line) {
  for (const Marker& marker : kMarkers) {
    const std::string text = marker.text;
    const std::size_t place = line.text.find(text);
    if (place != std::string::npos) {
      const std::size_t begin = place + text.size();
      const std::string name = line.text.substr(begin, line.text.find(')', begin) - begin);
      return OperationTime{name, marker.how, line.since, {}};
    }
  }
  return std::nullopt;
}

bool endsQueue(const ConsoleLine& line) {
  return line.text.find(kAllCompleted) != std::string::npos ||
         line.text.find(kOneFailed) != std::string::npos;
}

}  // namespace

std::vector<OperationTime> operationTimes(const MachineRun& run) {
  std::vector<OperationTime> times;
  bool open = false;
  for (const ConsoleLine& line : run.console) {
    std::optional<OperationTime> begun = operationIn(line);
    if (open && (begun || endsQueue(line))) {
      times.back().duration = line.since - times.back().begin;
      open = false;
    }
    if (begun) {
      times.push_back(std::move(*begun));
      open = true;
    }
  }
  if (open) {
    times.back().duration = run.duration - times.back().begin;
  }
  return times;
}

bool consoleHas(const MachineRun& run, const std::string& text) {
  return std::ranges::any_of(run.console, [&](const ConsoleLine& line) {
    return line.text.find(text) != std::string::npos;
  });
}

std::string verdictOf(const MachineRun& run) {
  if (consoleHas(run, kAllCompleted)) {
    return "all completed";
  }
  return consoleHas(run, kOneFailed) ? "one failed" : "no word";
}

}  // namespace marrow::rehearsal
