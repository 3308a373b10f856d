#include "rehearsal/interruption.h"
#include "sweep/sweeps.h"

namespace marrow::sweep {

MachineChoice SweepTask::machine() const {
  return {.scenario = scenario,
          .fileSystem = options.fileSystem,
          .daemon = daemon,
          .patience = std::chrono::seconds(options.patience)};
}

std::string SweepTask::seriesOf(const std::string& sweep) const {
  return sweep + ' ' + nameOf(options.fileSystem) + ' ' + scenario.name;
}

void SweepTask::eachCase(std::size_t count,
                         const std::function<void(std::size_t number)>& doCase) const {
  for (const std::size_t number : chooseCases(options, count)) {
    interruption.check();
    doCase(number);
  }
}

void SweepTask::eachOpenCase(const std::string& series, std::size_t count,
                             const std::function<void(std::size_t number)>& doCase) const {
  eachCase(count, [&](std::size_t number) {
    if (!log.isDone(series, number)) {
      doCase(number);
    }
  });
}

}  // namespace marrow::sweep
