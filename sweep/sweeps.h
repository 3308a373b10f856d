// All that a sweep can do to the daemon.
#pragma once

#include "rehearsal/scenario.h"
#include "sweep/case_log.h"
#include "sweep/sweep_options.h"
#include "sweep/swept_machine.h"

#include <cstddef>
#include <functional>
#include <string>

namespace marrow::rehearsal {
class Interruption;
class Workplace;
}  // namespace marrow::rehearsal

namespace marrow::sweep {

struct SweepTask {
  const SweepOptions& options;
  const rehearsal::Scenario& scenario;
  const std::string& daemon;  // the program's bytes
  const rehearsal::Workplace& workplace;
  rehearsal::Interruption& interruption;
  CaseLog& log;

  // The machine that is swept, with nothing special about it.
  MachineChoice machine() const;

  // What the log calls the cases of such a sweep, by the file system and the scenario.
  std::string seriesOf(const std::string& sweep) const;

  // Do, one by one, those of cases 1 to `count` that the options choose; the second leaves out what
  // the log has of that series already. Both throw Interrupted.
  void eachCase(std::size_t count, const std::function<void(std::size_t number)>& doCase) const;
  void eachOpenCase(const std::string& series, std::size_t count,
                    const std::function<void(std::size_t number)>& doCase) const;
};

// Each does the cases that the options choose and tells the log of them. All throw Problem and
// Interrupted.

// Kills the daemon at each system call of a whole run.
void sweepKills(const SweepTask& task);

// Records the writes of a whole run, then makes each state of those that a loss of power may leave,
// judges it, and runs the machine from there to its end.
void sweepPowerCuts(const SweepTask& task);

// Looks at the calls of whole runs, then does a run for each failing call, and an undisturbed one
// after it. A case counts when the daemon has seen the failure.
void sweepFailures(const SweepTask& task);

// Does a run with each number of free blocks, up to more than a run needs, on each volume that a
// run writes, and with each number of free pages in the firmware's store; then one with all the
// room.
void sweepFullDisks(const SweepTask& task);

// Looks from which places a whole run allocates memory, then does a run for each: the first
// allocation there fails and, as a second case, all later ones as well; and an undisturbed run
// behind it.
void sweepStarvation(const SweepTask& task);

// One run for each place and each thing that can be planted there: the machine comes to its end by
// a reboot, and nothing has changed but the objects that a run installs and the files that it
// writes, at their places on the volumes.
void sweepPlanted(const SweepTask& task);

// One run for each way in which a tool in the migrator's place behaves badly. It leaves the files
// that the migrator leaves and ends by itself: the run has to come to the very end that it comes to
// after a good one, in no more memory.
void sweepTools(const SweepTask& task);

// As many runs as it takes for the looks that the options ask for: none may find a live tree
// missing, or files of both trees at once.
void sweepWatched(const SweepTask& task);

}  // namespace marrow::sweep
