// One start of a machine, watched to its end.
#pragma once

#include "rehearsal/machine.h"

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

class ConsoleView;
class Interruption;

// When to cut the power: so long after the start, or so long after that many lines on the console,
// whichever is set.
struct CutPlan {
  std::optional<std::chrono::milliseconds> afterStart{};
  std::size_t afterLines = 0;
  std::chrono::milliseconds afterThose{0};
};

struct ConsoleLine {
  std::chrono::milliseconds since{0};
  std::string text;
};

struct MachineRun {
  std::vector<ConsoleLine> console;
  // What the progress display showed, each value once.
  std::vector<int> percentages;
  std::chrono::milliseconds duration{0};
  MachineEnd end;
  // When the power was cut, and whether what was unwritten was lost with it.
  std::optional<std::chrono::milliseconds> cut;
  bool unwrittenLost = false;
};

struct MachineSetup {
  MachineSettings settings;
  std::string diskName;
  std::optional<CutPlan> cut;
};

// Starts a machine and returns when it has come to its end. The terminals of the settings are made
// here. Throws Problem or, when the person wants no more, Interrupted; the machine is gone then.
MachineRun runMachine(MachineSetup setup, ConsoleView& view, Interruption& interruption);

}  // namespace marrow::rehearsal
