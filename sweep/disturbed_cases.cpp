#include "sweep/disturbed_cases.h"

#include "rehearsal/problem.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace marrow::sweep {
namespace {

constexpr int kAttempts = 3;
constexpr std::array kOutcomes{Outcome::kUnnoticed, Outcome::kToldAndDone, Outcome::kToldAndLeft,
                               Outcome::kProcessEnded};

int widthOf(Outcome outcome) { return static_cast<int>(std::string_view(nameOf(outcome)).size()); }

void perform(const std::function<void()>& action) {
  if (action) {
    action();
  }
}

}  // namespace

DisturbedCases::DisturbedCases(SweptMachine& machine, CaseLog& log, std::string series)
    : _machine(machine), _log(log), _series(std::move(series)) {}

StartEnd DisturbedCases::learn(const StartPlan& plan) {
  CaseRun run(_machine);
  _machine.putBack();
  const auto found = run.disturb(plan, {}, _usualLines);
  _usualLines.merge(linesOf(run.told()));
  if (!run.complaints().empty()) {
    take({.name = "undisturbed", .number = 0, .row = "undisturbed"}, run, found);
  }
  return found.end;
}

// A case that cannot be brought to its end has failed, and the others are still tried.
void DisturbedCases::tryCase(const DisturbedCase& one) {
  const std::string name = _series + ' ' + one.name;
  if (_log.isDone(name, one.number)) {
    return;
  }
  try {
    for (int i = 0; i < kAttempts; ++i) {
      if (isTried(one)) {
        return;
      }
    }
    ++_notFired;
    _log.addNotTried(name, one.number);
  } catch (const rehearsal::Problem& problem) {
    _log.add(name, one.number, "somewhere", {problem.what()});
  }
}

bool DisturbedCases::isTried(const DisturbedCase& one) {
  CaseRun run(_machine);
  _machine.putBack();
  perform(one.begin);
  const auto found = disturb(one, run);
  if (!one.hasFired(found.end)) {
    return false;
  }
  ++_fired;
  run.finish();
  take(one, run, found);
  return true;
}

// The trouble is taken away whatever happens.
CaseRun::Disturbed DisturbedCases::disturb(const DisturbedCase& one, CaseRun& run) const {
  try {
    auto found = run.disturb(one.plan, one.disturbance, _usualLines);
    perform(one.end);
    return found;
  } catch (const rehearsal::Problem&) {
    perform(one.end);
    throw;
  }
}

void DisturbedCases::take(const DisturbedCase& one, const CaseRun& run,
                          const CaseRun::Disturbed& found) {
  _peakMemory = std::max(_peakMemory, run.peakMemory());
  ++_table[one.row].at(static_cast<std::size_t>(found.outcome));
  const std::string traces = found.traces.empty() ? "" : " (" + found.traces + ')';
  _log.add(_series + ' ' + one.name, one.number, nameOf(found.outcome) + traces, run.complaints());
  if (!run.complaints().empty()) {
    std::printf("%s", run.told().c_str());
  }
}

void DisturbedCases::printRow(const std::string& row,
                              const std::array<std::size_t, 4>& counts) const {
  std::printf("%-24s", row.c_str());
  for (std::size_t i = 0; i < counts.size(); ++i) {
    std::printf("  %*zu", widthOf(kOutcomes.at(i)), counts.at(i));
  }
  std::printf("\n");
}

void DisturbedCases::printTable() const {
  std::printf("%-24s", "");
  for (const Outcome outcome : kOutcomes) {
    std::printf("  %s", nameOf(outcome));
  }
  std::printf("\n");
  for (const auto& [row, counts] : _table) {
    printRow(row, counts);
  }
  std::printf("%s: %zu of %zu fired; the daemon took %llu KiB at most\n", _series.c_str(), _fired,
              _fired + _notFired, static_cast<unsigned long long>(_peakMemory));
  std::fflush(stdout);
}

}  // namespace marrow::sweep
