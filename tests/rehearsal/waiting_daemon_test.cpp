// What the daemon costs while it waits for the migrator: so much on every machine.
#include "benchmarks/machine/prepared_machine.h"
#include "benchmarks/machine/screen_reader.h"
#include "benchmarks/waiting/process_sample.h"

#include <gtest/gtest.h>

namespace marrow {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// The migrator's tool; the kernel shows so much of its name.
constexpr const char* kMigrator = "loam_migrator.t";
constexpr auto kPause = 20ms;
constexpr auto kPatience = 60s;
// The first reports and the first second's work take memory that is then used again.
constexpr auto kLead = 2s;
constexpr auto kWindow = 5s;
// A stack that grows by some pages; with a report that leaves 150 bytes it would be more.
constexpr std::uint64_t kSlack = 64;  // KiB

struct Wait {
  ProcessSample start;
  ProcessSample end;
  std::uint64_t ticks = 0;
};

// Devices of the real machine come and go, and wake up the threads that look at these.
const std::set<std::string> kWokenByOthers = {"marrow-devices", "MWStorageContro"};

pid_t await(pid_t machine, const std::string& name) {
  const auto end = Clock::now() + kPatience;
  while (Clock::now() < end) {
    if (const auto found = descendantNamed(machine, name)) {
      return *found;
    }
    std::this_thread::sleep_for(kPause);
  }
  throw std::runtime_error("There is no " + name);
}

ProcessSample sample(pid_t process) {
  const auto found = sampleOf(process, kWokenByOthers);
  if (!found) {
    throw std::runtime_error("The daemon has ended.");
  }
  return *found;
}

// A tick draws the screen; what it draws may come in pieces.
std::uint64_t ticksBetween(const ScreenReader& screens, Clock::time_point begin,
                           Clock::time_point end) {
  std::uint64_t ticks = 0;
  Clock::time_point last;
  for (const Arrival& arrival : screens.screen()) {
    const bool isNew = arrival.when - last > 300ms;
    last = arrival.when;
    ticks += isNew && arrival.when >= begin && arrival.when <= end ? 1 : 0;
  }
  return ticks;
}

Wait watch(rehearsal::MachineSettings settings) {
  ScreenReader screens(settings.view);
  const rehearsal::Machine machine(settings);
  screens.begin();
  await(machine.process(), kMigrator);
  const pid_t daemon = await(machine.process(), "marrowd");
  std::this_thread::sleep_for(kLead);
  Wait wait;
  const auto begin = Clock::now();
  wait.start = sample(daemon);
  std::this_thread::sleep_for(kWindow);
  wait.end = sample(daemon);
  const auto end = Clock::now();
  screens.end();
  wait.ticks = ticksBetween(screens, begin, end);
  return wait;
}

Wait waitFor(const std::string& migrator) {
  return valueOfMachine<Wait>({MARROW_DAEMON, migrator}, watch);
}

// The timer's thread, which reads the queue, and the main thread, which draws.
TEST(TheWaitingDaemon, WakesUpTwiceForEachTickWhereTheMigratorReportsNothing) {
  const Wait wait = waitFor(MARROW_SILENT_MIGRATOR);
  EXPECT_GE(wait.ticks, 2U);
  EXPECT_LE(wait.end.wakeUps - wait.start.wakeUps, 2 * (wait.ticks + 1));
}

TEST(TheWaitingDaemon, TakesNoMoreOfAnythingHoweverOftenTheMigratorReports) {
  const Wait wait = waitFor(MARROW_REPORTING_MIGRATOR);
  EXPECT_LE(wait.end.residentKibibytes, wait.start.residentKibibytes + kSlack);
  EXPECT_EQ(wait.end.threads, wait.start.threads);
  EXPECT_EQ(wait.end.descriptors, wait.start.descriptors);
}

}  // namespace
}  // namespace marrow
