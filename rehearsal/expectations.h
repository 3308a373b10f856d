// What a scenario has to end in, worked out from how things stood before it, and the comparison
// with what it did end in.
#pragma once

#include "rehearsal/boot_disk.h"
#include "rehearsal/machine_run.h"
#include "rehearsal/scenario.h"
#include "rehearsal/state_snapshot.h"

#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

// What the migrator is known to write: nothing is expected of what a person's own tool writes.
struct MigratorWords {
  std::optional<std::string> metrics;
  std::optional<std::string> firstLogLine;
};

struct Expectation {
  // By the keys of the snapshot; an item that is missing here may end as it likes.
  Snapshot after;
  // Names, in order; one that is only skipped stands in parentheses.
  std::vector<std::string> operations;
  // As verdictOf() says it.
  std::string verdict;
  // As MachineEnd::describe() says it.
  std::string end;
};

Expectation expectedEnd(const Scenario& scenario, const BootDisk& disk, const Snapshot& before,
                        const MigratorWords& words);

struct Row {
  std::string key;
  std::string what;
  std::string before;
  std::string after;
  // Absent when any end is all right.
  std::optional<std::string> expected;
  bool asExpected() const { return !expected || *expected == after; }
};

// A row for each item of the snapshots.
std::vector<Row> compareSnapshots(const Snapshot& before, const Snapshot& after,
                                  const Expectation& expectation);

// Rows on the run itself: operations, verdict, end, progress and the scenario's words.
std::vector<Row> compareRun(const MachineRun& run, const Scenario& scenario,
                            const Expectation& expectation);

// Rows on the moment after a cut: each live place holds what it held before or what was staged.
std::vector<Row> compareAtCut(const Snapshot& before, const Snapshot& atCut, const MachineRun& run);

}  // namespace marrow::rehearsal
