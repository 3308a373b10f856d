// What is made of the lines on logind's locks.
#include "rehearsal/vm/lock_watch.h"

#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

Row rowOf(std::initializer_list<const char*> lines) {
  VmBoot boot;
  for (const char* line : lines) {
    boot.run.console.push_back({std::chrono::milliseconds(0), line});
  }
  return rowOfLocks({boot});
}

TEST(LockWatch, AllThreeUntilTheEndAreAsExpected) {
  const Row row =
      rowOf({"locks: idle", "something else", "locks: idle idle", "locks: idle idle sleep"});
  EXPECT_TRUE(row.asExpected());
}

TEST(LockWatch, NoLocksAreNot) {
  EXPECT_FALSE(rowOf({}).asExpected());
  EXPECT_FALSE(rowOf({"locks: none"}).asExpected());
}

TEST(LockWatch, FewerAreNot) {
  EXPECT_FALSE(rowOf({"locks: idle", "locks: idle idle"}).asExpected());
}

TEST(LockWatch, LocksThatGoBeforeTheEndAreNotAndThatIsSaid) {
  const Row row = rowOf({"locks: idle idle sleep", "locks: none", "locks: idle idle sleep"});
  EXPECT_FALSE(row.asExpected());
  EXPECT_EQ(row.after, "idle idle sleep, then none");
}

}  // namespace
}  // namespace marrow::rehearsal
