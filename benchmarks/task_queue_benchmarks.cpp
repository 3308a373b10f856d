// Handing work to a queue's thread, and how late a timer wakes it.
#include "host/linux/linux_task_queues.h"

#include <benchmark/benchmark.h>
#include <chrono>
#include <semaphore>

namespace marrow {

namespace {

using Clock = std::chrono::steady_clock;

void ATaskThereAndBack(benchmark::State& state) {
  LinuxTaskQueues queues;
  const auto queue = queues.createSerialQueue("benchmark");
  for (auto _ : state) {
    queue->sync([] {});
  }
}
BENCHMARK(ATaskThereAndBack)->UseRealTime();

// The time shown is from the moment that a firing was due to its handler. Firings are due at whole
// intervals from the activation, so a missed one does not count as a late one.
void LatenessOfATimer(benchmark::State& state) {
  constexpr double kInterval = 0.002;  // seconds
  constexpr std::chrono::nanoseconds kPeriod = std::chrono::milliseconds(2);
  LinuxTaskQueues queues;
  const auto queue = queues.createSerialQueue("benchmark");
  std::binary_semaphore fired(0);
  std::binary_semaphore seen(1);
  Clock::time_point moment;
  const auto timer = queue->createTimer(kInterval, 0.0, [&] {
    if (seen.try_acquire()) {
      moment = Clock::now();
      fired.release();
    }
  });
  const Clock::time_point start = Clock::now();
  timer->activate();
  for (auto _ : state) {
    fired.acquire();
    state.SetIterationTime(std::chrono::duration<double>((moment - start) % kPeriod).count());
    seen.release();
  }
  timer->cancel();
  queue->sync([] {});
}
BENCHMARK(LatenessOfATimer)->UseManualTime()->Unit(benchmark::kMicrosecond)->Iterations(1000);

}  // namespace

}  // namespace marrow
