// Cases in which something fails during a run: each is done, judged, followed by an undisturbed
// run, judged again and counted.
#pragma once

#include "sweep/case_log.h"
#include "sweep/case_run.h"

#include <array>
#include <functional>
#include <map>
#include <set>
#include <string>

namespace marrow::sweep {

struct DisturbedCase {
  // With the number it names the case in every sweep.
  std::string name;
  std::size_t number = 0;
  // Under which it is counted.
  std::string row;
  StartPlan plan{};
  Disturbance disturbance{};
  // Brings the trouble into a machine that was put back, and takes it away again before the
  // undisturbed run; empty where the plan is the trouble.
  std::function<void()> begin{};
  std::function<void()> end{};
  // Whether the daemon met the trouble.
  std::function<bool(const StartEnd&)> hasFired{};
};

class DisturbedCases {
 public:
  // `series` names what is swept: "fail ext4 other-nonce".
  DisturbedCases(SweptMachine& machine, CaseLog& log, std::string series);

  // An undisturbed run, which is judged: what it tells is told always. Returns how it went.
  StartEnd learn(const StartPlan& plan = {});

  // Unless it passed in an earlier sweep. What a case meets depends on how threads take turns: it
  // is tried three times, and has not been tried if it then met no trouble.
  void tryCase(const DisturbedCase& one);

  void printTable() const;

  const std::string& series() const { return _series; }

 private:
  bool isTried(const DisturbedCase& one);
  CaseRun::Disturbed disturb(const DisturbedCase& one, CaseRun& run) const;
  void take(const DisturbedCase& one, const CaseRun& run, const CaseRun::Disturbed& found);
  void printRow(const std::string& row, const std::array<std::size_t, 4>& counts) const;

  SweptMachine& _machine;
  CaseLog& _log;
  const std::string _series;
  std::set<std::string> _usualLines;
  // By row, then by outcome.
  std::map<std::string, std::array<std::size_t, 4>> _table;
  std::size_t _fired = 0;
  std::size_t _notFired = 0;
  std::uint64_t _peakMemory = 0;
};

}  // namespace marrow::sweep
