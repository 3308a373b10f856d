#include "sweep/disturbed_judgement.h"

#include <algorithm>
#include <array>
#include <regex>
#include <sstream>

namespace marrow::sweep {
namespace {

using rehearsal::kNoDictionary;
using rehearsal::kNothing;
using rehearsal::MachineEnd;
using rehearsal::Snapshot;

struct Link {
  const char* live;
  const char* staged = nullptr;
};

// Each only when all before it are done.
constexpr std::array kChain{Link{"firmware.nonce", "firmware.proposed"},
                            Link{"firmware.proposed"},
                            Link{"preboot.sealed", "preboot.sealed-staged"},
                            Link{"preboot.restore", "preboot.restore-staged"},
                            Link{"recovery.group", "recovery.group-staged"},
                            Link{"recovery.boot", "recovery.boot-staged"},
                            Link{"firmware.default"}};
// Done or not, whatever else was.
constexpr std::array kAlone{"firmware.metrics", "update.metrics",     "update.log",
                            "firmware.mute",    "firmware.dark-boot", "firmware.one-shot"};
// May be in the middle: a tree that is removed, variables that are deleted.
constexpr std::array kHalfDone{"preboot.downlevel", "firmware.simulation"};
// Gone with what was live before, which nobody misses; the base system's own; judged with others.
constexpr std::array kOther{"preboot.sealed-staged", "preboot.restore-staged", "base.log",
                            "base.metrics",          "update.metrics-inner",   "preboot.active"};
// Done or not without a word: nothing builds on them.
constexpr std::array kSilent{"preboot.active", "preboot.sealed-staged", "preboot.restore-staged",
                             "base.log", "base.metrics"};

// Told of a device that the kernel shows after the others: no failure, and a matter of time.
constexpr const char* kTimely = ": claimed loop";
constexpr const char* kSkipping = "Skipping ";
// Whether this boot is for the proposed nonce cannot be said, and no means no.
constexpr std::array kOtherNonce{"lp-lpnh", "Cannot read the nonce that the update proposes: "};
constexpr const char* kNotThere = ": No such file or directory (2)";

template <typename Names>
bool isOneOf(const Names& names, std::string_view key) {
  return std::ranges::find(names, key) != names.end();
}

bool countsAsOtherNonce(const std::string& line) {
  return std::ranges::any_of(
      kOtherNonce, [&](const char* words) { return line.find(words) != std::string::npos; });
}

// An object whose place cannot be looked at is passed over, and the run goes on; so are they all,
// with the nonce, where the nonce of this boot is unknown.
bool passedOver(const std::string& told) {
  std::istringstream lines(told);
  for (std::string line; std::getline(lines, line);) {
    const bool skipped =
        line.find(kSkipping) != std::string::npos && line.find(kNotThere) == std::string::npos;
    if (skipped || countsAsOtherNonce(line)) {
      return true;
    }
  }
  return false;
}

bool isBeginningOf(const std::string& found, const std::string& whole) {
  return found == kNothing || whole.starts_with(found);
}

class DisturbedJudge {
 public:
  DisturbedJudge(const DisturbedRun& run, const Disturbance& disturbance)
      : _run(run), _disturbance(disturbance), _passedOver(passedOver(run.told)) {}

  Complaints judge() {
    for (const Link& link : kChain) {
      judgeLink(link);
    }
    for (const char* key : kAlone) {
      judgeAlone(key);
    }
    judgeActive();
    judgeLog();
    judgeTheRest();
    judgeWords();
    judgeEnding();
    return std::move(_complaints);
  }

 private:
  const std::string& before(const std::string& key) const { return _run.before.at(key); }
  const std::string& after(const std::string& key) const { return _run.after.at(key); }
  const std::string& end(const std::string& key) const { return _run.end.at(key); }

  void judgeLink(const Link& link) {
    if (before(link.live) == end(link.live)) {
      judgeUnchanged(link.live);
    } else if (after(link.live) == end(link.live)) {
      if (_undone != nullptr && !_passedOver) {
        complain(link.live, std::string("is done without ") + _undone);
      }
    } else {
      judgeUndone(link);
    }
  }

  void judgeUndone(const Link& link) {
    _undone = _undone == nullptr ? link.live : _undone;
    if (after(link.live) != before(link.live)) {
      complain(link.live, "is neither old nor new");
    }
    if (link.staged != nullptr && after(link.staged) != before(link.staged)) {
      complain(link.staged, "is not whole any more, and its live place is old");
    }
  }

  void judgeAlone(const std::string& key) {
    const bool known = _run.end.contains(key) && after(key) == end(key);
    const bool shortened = _disturbance.readsShort && _run.end.contains(key) &&
                           key.ends_with("metrics") && isBeginningOf(after(key), end(key));
    if (!known && !shortened && after(key) != before(key)) {
      complain(key, "is neither old nor new");
    }
  }

  // Written where it lies.
  void judgeActive() {
    const std::string key = "preboot.active";
    if (after(key) != before(key) && !isBeginningOf(after(key), end(key))) {
      complain(key, "is neither old nor new");
    }
    const std::string inner = "update.metrics-inner";
    if (before(inner) != kNoDictionary && after(inner) != after("update.metrics")) {
      complain(inner, "differs from the other one");
    }
  }

  // The migrator's log lies where it was written until it lies where it belongs.
  void judgeLog() {
    const bool wasWritten = _run.told.find("Loam Migrator Output") != std::string::npos;
    if (wasWritten && after("update.log") == kNothing && after("base.log") == kNothing) {
      complain("update.log", "is nowhere");
    }
  }

  void judgeTheRest() {
    for (const auto& [key, value] : _run.before) {
      const bool known =
          isOneOf(kAlone, key) || isOneOf(kHalfDone, key) || isOneOf(kOther, key) ||
          std::ranges::any_of(kChain, [&name = key](const Link& link) {
            return name == link.live || (link.staged != nullptr && name == link.staged);
          });
      if (!known && after(key) != value) {
        complain(key, "has changed");
      }
    }
  }

  void judgeUnchanged(const std::string& key) {
    if (after(key) != before(key)) {
      complain(key, "has changed");
    }
  }

  void judgeWords() {
    const auto lines = linesOf(_run.told);
    const bool isTold = hasNotBegun() || !std::ranges::includes(_run.usualLines, lines);
    for (const auto& [key, value] : _run.end) {
      if (!isTold && after(key) != value && !isOneOf(kSilent, key)) {
        complain(key, "was not done, and nobody was told");
      }
    }
  }

  void judgeEnding() {
    const MachineEnd& machine = _run.machine;
    const bool rebooted = machine.describe() == MachineEnd{MachineEnd::Kind::kReboot}.describe();
    const bool ended = machine.kind == MachineEnd::Kind::kDaemonEnded && machine.status != 0;
    if (!rebooted && !(ended && (_disturbance.mayEndProcess || hasNotBegun()))) {
      _complaints.push_back("it came to \"" + machine.describe() + '"');
    }
  }

  // A program that could not be started, or one that is not in a base system for all it can see.
  bool hasNotBegun() const {
    return _run.told.find("Daemon starting up...") == std::string::npos &&
           std::ranges::all_of(
               _run.before, [this](const auto& item) { return after(item.first) == item.second; });
  }

  void complain(const std::string& key, const std::string& what) {
    _complaints.push_back("after the failure: " + key + ' ' + what + " (" + before(key) + " -> " +
                          after(key) + ")");
  }

  const DisturbedRun& _run;
  const Disturbance& _disturbance;
  const bool _passedOver;
  const char* _undone = nullptr;
  Complaints _complaints;
};

bool isAllDone(const DisturbedRun& run) {
  return std::ranges::all_of(
      run.end, [&](const auto& item) { return run.after.at(item.first) == item.second; });
}

}  // namespace

std::set<std::string> linesOf(const std::string& told) {
  static const std::regex kChance("-[A-Za-z0-9]{6}(?=/|\"|$| |,|\\))|[0-9]+");
  std::istringstream all(told);
  std::set<std::string> lines;
  for (std::string line; std::getline(all, line);) {
    if (line.find(kTimely) == std::string::npos) {
      lines.insert(std::regex_replace(line, kChance, "*"));
    }
  }
  return lines;
}

const char* nameOf(Outcome outcome) {
  switch (outcome) {
    case Outcome::kUnnoticed:
      return "all done, nothing to tell";
    case Outcome::kToldAndDone:
      return "all done, and told";
    case Outcome::kToldAndLeft:
      return "told, not all done";
    case Outcome::kProcessEnded:
      break;
  }
  return "the process ended";
}

Outcome outcomeOf(const DisturbedRun& run) {
  if (run.machine.kind != MachineEnd::Kind::kReboot) {
    return Outcome::kProcessEnded;
  }
  if (!isAllDone(run)) {
    return Outcome::kToldAndLeft;
  }
  return std::ranges::includes(run.usualLines, linesOf(run.told)) ? Outcome::kUnnoticed
                                                                  : Outcome::kToldAndDone;
}

std::string tracesOf(const DisturbedRun& run) {
  std::string traces;
  for (const auto& [key, value] : run.end) {
    if (run.after.at(key) != value) {
      traces += (traces.empty() ? "without " : ", ") + key;
    }
  }
  for (const std::string& line : linesOf(run.told)) {
    if (!run.usualLines.contains(line)) {
      return traces.append(traces.empty() ? "\"" : "; \"").append(line).append("\"");
    }
  }
  return traces;
}

Complaints judgeDisturbed(const DisturbedRun& run, const Disturbance& disturbance) {
  return DisturbedJudge(run, disturbance).judge();
}

}  // namespace marrow::sweep
