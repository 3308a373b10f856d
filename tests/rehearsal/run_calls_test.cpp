// What a whole run asks of the kernel.
#include "benchmarks/machine/traced_run.h"

#include <gtest/gtest.h>

namespace marrow {
namespace {

MachinePrograms wholeRun() { return {MARROW_DAEMON, MARROW_HASTY_MIGRATOR}; }

// The data volume as it is let go: 2. The nonce: 2. Each of two swaps: 2. Each of two renames: 2.
// The two volumes: 2 each. The shadow of the variables, the migrator's log and the update volume: 2
// each. The variable with the metrics, and all at the end: 1 each.
TEST(AWholeRun, FlushesWhatWasWrittenAndNothingTwice) {
  EXPECT_EQ(timeFlushes(wholeRun()).flushes, 24U);
}

// Most of them list what is on the disk, which has eight partitions.
TEST(AWholeRun, AsksTheKernelForNoMoreThanItNeeds) {
  EXPECT_LE(countRun(wholeRun()).systemCalls, 18000U);
}

}  // namespace
}  // namespace marrow
