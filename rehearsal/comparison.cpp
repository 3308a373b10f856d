#include "rehearsal/expectations.h"
#include "rehearsal/run_events.h"

#include <algorithm>
#include <array>

namespace marrow::rehearsal {
namespace {

struct LivePlace {
  const char* live;
  const char* staged;
};

constexpr std::array kLivePlaces{LivePlace{"firmware.nonce", "firmware.proposed"},
                                 LivePlace{"preboot.sealed", "preboot.sealed-staged"},
                                 LivePlace{"preboot.restore", "preboot.restore-staged"},
                                 LivePlace{"recovery.group", "recovery.group-staged"},
                                 LivePlace{"recovery.boot", "recovery.boot-staged"}};

std::string joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) {
    text += (text.empty() ? "" : ", ") + word;
  }
  return text;
}

// "MWBlessVolumeOperation" reads as "BlessVolume".
std::string shortName(const std::string& name) {
  std::string text = name;
  for (const std::string part : {"MW", "Operation"}) {
    if (const std::size_t place = text.find(part); place != std::string::npos) {
      text.erase(place, part.size());
    }
  }
  return text;
}

std::vector<std::string> shortNames(const std::vector<std::string>& names) {
  std::vector<std::string> result;
  std::ranges::transform(names, std::back_inserter(result), shortName);
  return result;
}

std::vector<std::string> operationsOf(const MachineRun& run) {
  std::vector<std::string> names;
  for (const OperationTime& operation : operationTimes(run)) {
    names.push_back(operation.how == "skipped" ? '(' + operation.name + ')' : operation.name);
  }
  return names;
}

std::string progressOf(const MachineRun& run) {
  if (run.percentages.empty()) {
    return "was not shown";
  }
  return std::ranges::is_sorted(run.percentages) ? "only went up" : "went back";
}

Row rowOf(std::string key, std::string what, std::string after, std::string expected) {
  return {std::move(key), std::move(what), "", std::move(after), std::move(expected)};
}

std::string momentOfCut(const MachineRun& run) {
  if (!run.cut) {
    return "did not come: the machine had rebooted before";
  }
  const std::vector<OperationTime> operations = operationTimes(run);
  const std::string place = verdictOf(run) != "no word" ? "after the operations"
                            : operations.empty()        ? "before the operations"
                                                        : "in " + shortName(operations.back().name);
  return "came " + place + ", at " + std::to_string(run.cut->count()) + " ms";
}

const char* labelOf(const std::string& key) {
  return std::ranges::find(items(), key, [](const Item& item) { return std::string(item.key); })
      ->label;
}

}  // namespace

std::vector<Row> compareSnapshots(const Snapshot& before, const Snapshot& after,
                                  const Expectation& expectation) {
  std::vector<Row> rows;
  for (const Item& item : items()) {
    Row row{item.key, item.label, before.at(item.key), after.at(item.key), std::nullopt};
    if (const auto expected = expectation.after.find(item.key);
        expected != expectation.after.end()) {
      row.expected = expected->second;
    }
    rows.push_back(std::move(row));
  }
  return rows;
}

std::vector<Row> compareRun(const MachineRun& run, const Scenario& scenario,
                            const Expectation& expectation) {
  std::vector<Row> rows{rowOf("run.operations", "operations", joined(shortNames(operationsOf(run))),
                              joined(shortNames(expectation.operations))),
                        rowOf("run.verdict", "verdict", verdictOf(run), expectation.verdict),
                        rowOf("run.progress", "progress bar", progressOf(run), "only went up"),
                        rowOf("run.end", "end", run.end.describe(), expectation.end)};
  for (const std::string& words : scenario.consoleWords) {
    const std::string said = "said \"" + words + '"';
    rows.push_back(rowOf("run.console", "console",
                         consoleHas(run, words) ? said : "did not say \"" + words + '"', said));
  }
  return rows;
}

std::vector<Row> compareAtCut(const Snapshot& before, const Snapshot& atCut,
                              const MachineRun& run) {
  std::vector<Row> rows{{"cut", "the cut", "", momentOfCut(run), std::nullopt}};
  for (const LivePlace& place : kLivePlaces) {
    const std::string& old = before.at(place.live);
    const std::string& next = before.at(place.staged);
    const std::string& found = atCut.at(place.live);
    const bool isNext = found == next && found != old;
    rows.push_back({std::string("cut.") + place.live,
                    std::string("at the cut: ") + labelOf(place.live), old, found,
                    isNext ? next : old});
  }
  return rows;
}

}  // namespace marrow::rehearsal
