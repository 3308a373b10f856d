// What has to hold of a machine on which something failed and the run came to its own end.
#pragma once

#include "rehearsal/machine.h"
#include "sweep/judgement.h"

#include <set>
#include <string>

namespace marrow::sweep {

// What went wrong on a machine, as far as it decides what is allowed.
struct Disturbance {
  // The process may end without having asked for a reboot (its unit asks for one then), as any may
  // that could not even begin: memory or descriptors ran out, or it is a failure that ends it on
  // purpose.
  bool mayEndProcess = false;
  // What is read may come short, and what is written of it is the beginning only.
  bool readsShort = false;
};

// The lines that a run told, numbers and random endings left out.
std::set<std::string> linesOf(const std::string& told);

// How it came out, in the order of how much of it is to be seen.
enum class Outcome {
  // All was done, and nothing was said that is not always said.
  kUnnoticed,
  kToldAndDone,
  // Not all was done; it asked for the reboot.
  kToldAndLeft,
  kProcessEnded
};
const char* nameOf(Outcome outcome);

struct DisturbedRun {
  rehearsal::Snapshot before;
  rehearsal::Snapshot after;
  // Where an undisturbed run would have come, and what it tells.
  rehearsal::Snapshot end;
  std::set<std::string> usualLines;
  std::string told;
  rehearsal::MachineEnd machine;
};

Outcome outcomeOf(const DisturbedRun& run);

// What is to be seen of it: what was not done, and the first line that is not told always.
std::string tracesOf(const DisturbedRun& run);

// Each live place is wholly old or wholly new, and while it is old, what is staged for it is whole.
// No step that the machine's start depends on is done before those that it builds on. The metrics,
// the log and the variables for the next boot are each as before or done. Nothing else has changed.
// What was not done was told. It ended by asking for a reboot, or as the disturbance allows.
Complaints judgeDisturbed(const DisturbedRun& run, const Disturbance& disturbance);

}  // namespace marrow::sweep
