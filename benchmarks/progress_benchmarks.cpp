// From the migrator's report to the percentage of the display.
#include "benchmarks/no_log.h"
#include "benchmarks/scratch_disk.h"
#include "engine/progress_report.h"
#include "host/linux/linux_clock.h"
#include "host/linux/linux_file_handles.h"
#include "operations/migrator_progress.h"

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <memory>
#include <semaphore>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace marrow {

namespace {

class TimedOperation final : public MWOperation {
 public:
  explicit TimedOperation(double seconds) : _seconds(seconds) {}

  std::string className() const override { return "TimedOperation"; }
  bool execute() override { return true; }
  double estimatedExecutionTime() const override { return _seconds; }

 private:
  const double _seconds;
};

// The second of five operations runs.
RunState runningState() {
  RunState state;
  for (const double seconds : {30.0, 300.0, 1.0, 10.0, 1.0}) {
    state.queue.push_back(std::make_shared<TimedOperation>(seconds));
    state.totalEstimatedTime += seconds;
  }
  state.currentOperation = state.queue[1];
  state.trackedElapsedTime = 30.0;
  state.startTime = 0.0;
  return state;
}

void WorkingOutAProgressReport(benchmark::State& state) {
  const RunState run = runningState();
  LinuxClock clock;
  for (auto _ : state) {
    benchmark::DoNotOptimize(progressReport(run, clock));
  }
}
BENCHMARK(WorkingOutAProgressReport);

void ParsingAPercentage(benchmark::State& state) {
  const std::string text = "42\n";
  for (auto _ : state) {
    benchmark::DoNotOptimize(reportedPercentage(text));
  }
}
BENCHMARK(ParsingAPercentage);

// From the tool's write to the callback on the reading thread, and back to the writer.
void AReportThroughTheFIFO(benchmark::State& state) {
  const std::string path = scratchDisk().at("progress");
  ::mkfifo(path.c_str(), 0600);
  NoLog log;
  LinuxFileHandles handles(log);
  std::binary_semaphore received(0);
  const auto handle = handles.createHandle(::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const int writer = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  handle->setReadabilityHandler([&received](FileHandle& readable) {
    if (reportedPercentage(readable.availableData())) {
      received.release();
    }
  });
  for (auto _ : state) {
    if (::write(writer, "42\n", 3) != 3) {
      state.SkipWithError("write");
      break;
    }
    received.acquire();
  }
  handle->setReadabilityHandler(nullptr);
  ::close(writer);
  ::unlink(path.c_str());
}
BENCHMARK(AReportThroughTheFIFO)->UseRealTime();

}  // namespace

}  // namespace marrow
