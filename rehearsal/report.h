// What a rehearsal tells when it is over: for a person, and for a program.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/machine_run.h"
#include "rehearsal/scenario.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

class ConsoleView;

struct Report {
  std::string scenario;
  std::string outcome;
  // "ext4", or the path of a person's own image.
  std::string disk;
  std::uint64_t seed = 0;
  std::vector<Row> rows{};
  // One, or two where the power was cut.
  std::vector<MachineRun> runs{};
  std::filesystem::path logs;

  // True when every row is.
  bool asExpected() const;
};

// A row for each thing that changed or should have, the operations with their times, and where the
// logs are. Colours come from the view.
std::string describeReport(const Report& report, const ConsoleView& view);

// The same, with every row, as JSON.
std::string jsonOf(const Report& report);

}  // namespace marrow::rehearsal
