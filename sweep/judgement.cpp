#include "sweep/judgement.h"

#include <algorithm>
#include <array>
#include <set>

namespace marrow::sweep {
namespace {

using rehearsal::kNoDictionary;
using rehearsal::kNothing;
using rehearsal::Snapshot;

// What a step may look like while it is being done.
enum class Middle {
  kNone,
  // A tree that is being removed, variables that are being deleted.
  kAnything,
  // Missing, or a beginning of what will stand there: the file is written where it lies. A block
  // that was given to it and has not reached the disk reads as zeros.
  kBeginning
};

struct Step {
  const char* live;
  const char* staged = nullptr;
  Middle middle = Middle::kNone;
};

// In the order in which a run does them, each durable before the next begins.
constexpr std::array kSteps{Step{"firmware.simulation", nullptr, Middle::kAnything},
                            Step{"firmware.nonce", "firmware.proposed"},
                            Step{"firmware.proposed"},
                            Step{"preboot.downlevel", nullptr, Middle::kAnything},
                            Step{"preboot.sealed", "preboot.sealed-staged"},
                            Step{"preboot.restore", "preboot.restore-staged"},
                            Step{"recovery.group", "recovery.group-staged"},
                            Step{"recovery.boot", "recovery.boot-staged"},
                            Step{"preboot.active", nullptr, Middle::kBeginning},
                            Step{"firmware.default"},
                            Step{"firmware.metrics"},
                            Step{"update.metrics"},
                            Step{"update.log"},
                            Step{"firmware.mute"},
                            Step{"firmware.dark-boot"},
                            Step{"firmware.one-shot"}};

// Gone with what was live before, which nobody misses while it is being removed.
constexpr std::array kReplaced{"preboot.sealed-staged", "preboot.restore-staged"};
// The base system's own, which it takes along.
constexpr std::array kPassing{"base.log", "base.metrics"};

bool isBeginning(const std::string& found, const std::string& whole) {
  return found.size() <= whole.size() &&
         std::equal(found.begin(), found.end(), whole.begin(),
                    [](char byte, char meant) { return byte == meant || byte == 0; });
}

class CutJudge {
 public:
  CutJudge(const Snapshot& before, const Snapshot& atCut, const Snapshot& end)
      : _before(before), _atCut(atCut), _end(end) {}

  Complaints judge() {
    for (const Step& step : kSteps) {
      judgeStep(step);
    }
    judgeInnerMetrics();
    judgeTheRest();
    return std::move(_complaints);
  }

 private:
  void judgeStep(const Step& step) {
    _known.insert(step.live);
    const std::string& old = _before.at(step.live);
    const std::string& next = _end.at(step.live);
    const std::string& found = _atCut.at(step.live);
    if (old == next) {
      if (found != old) {
        complain(step.live, "has changed");
      }
    } else if (found == next) {
      takeDone(step);
    } else {
      takeUndone(step, found == old);
    }
  }

  void takeDone(const Step& step) {
    if (_firstUndone != nullptr) {
      complain(step.live, std::string("is done before ") + _firstUndone);
    }
    if (step.staged != nullptr) {
      judgeUsedUp(step.staged);
    }
  }

  void takeUndone(const Step& step, bool isOld) {
    if (_firstUndone == nullptr) {
      _firstUndone = step.live;
      isOld = isOld || isInTheMiddle(step);
    }
    if (!isOld) {
      complain(step.live, "is neither old nor new");
    }
    if (step.staged != nullptr) {
      _known.insert(step.staged);
      if (_atCut.at(step.staged) != _before.at(step.staged)) {
        complain(step.staged, "is not whole any more, and its live place is old");
      }
    }
  }

  bool isInTheMiddle(const Step& step) const {
    const std::string& found = _atCut.at(step.live);
    return step.middle == Middle::kAnything ||
           (step.middle == Middle::kBeginning &&
            (found == kNothing || isBeginning(found, _end.at(step.live))));
  }

  // A proposed nonce is a step of its own; a file that was renamed is at one place only.
  void judgeUsedUp(const char* staged) {
    _known.insert(staged);
    const bool mayLinger =
        std::ranges::find(kReplaced, std::string_view(staged)) != kReplaced.end() ||
        staged == std::string_view("firmware.proposed");
    if (!mayLinger && _atCut.at(staged) != _end.at(staged)) {
      complain(staged, "is still there");
    }
  }

  void judgeInnerMetrics() {
    _known.insert("update.metrics-inner");
    const std::string& inner = _atCut.at("update.metrics-inner");
    const std::string& outer = _atCut.at("update.metrics");
    if (_before.at("update.metrics-inner") != kNoDictionary && inner != outer) {
      complain("update.metrics-inner", "differs from the other one");
    }
  }

  void judgeTheRest() {
    for (const auto& [key, value] : _before) {
      const bool passes = std::ranges::find(kPassing, key) != kPassing.end();
      if (!passes && !_known.contains(key) && _atCut.at(key) != value) {
        complain(key, "has changed");
      }
    }
  }

  void complain(const std::string& key, const std::string& what) {
    _complaints.push_back("at the cut: " + key + ' ' + what + " (" + _before.at(key) + " -> " +
                          _atCut.at(key) + ")");
  }

  const Snapshot& _before;
  const Snapshot& _atCut;
  const Snapshot& _end;
  std::set<std::string> _known;
  const char* _firstUndone = nullptr;
  Complaints _complaints;
};

}  // namespace

Complaints judgeCut(const Snapshot& before, const Snapshot& atCut, const Snapshot& end) {
  return CutJudge(before, atCut, end).judge();
}

Complaints judgeEnd(const Snapshot& found, const rehearsal::Expectation& expected,
                    const std::string& end) {
  Complaints complaints;
  for (const auto& [key, value] : expected.after) {
    if (found.at(key) != value) {
      std::string words = "in the end: ";
      words.append(key).append(" is ").append(found.at(key)).append(", not ").append(value);
      complaints.push_back(std::move(words));
    }
  }
  if (end != expected.end) {
    complaints.push_back("in the end: the machine came to \"" + end + "\", not \"" + expected.end +
                         '"');
  }
  return complaints;
}

rehearsal::Scenario afterCut(const rehearsal::Scenario& scenario, const Snapshot& before,
                             const Snapshot& atCut) {
  rehearsal::Scenario next = scenario;
  if (atCut.at("firmware.simulation") != before.at("firmware.simulation")) {
    next.simulation.reset();
  }
  return next;
}

}  // namespace marrow::sweep
