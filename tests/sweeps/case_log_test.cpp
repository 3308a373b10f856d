// Which cases are tried, and which are not tried again.
#include "sweep/case_log.h"

#include "sweep/sweep_options.h"
#include "tests/rehearsal/temporary_folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::sweep {
namespace {

using testing::ElementsAre;

TEST(ChosenCases, AreAllOrEachKthOfARangeOrAnEvenSample) {
  SweepOptions options;
  EXPECT_THAT(chooseCases(options, 3), ElementsAre(1, 2, 3));
  options.from = 2;
  options.to = 9;
  options.every = 3;
  EXPECT_THAT(chooseCases(options, 100), ElementsAre(2, 5, 8));
  EXPECT_THAT(chooseCases(options, 5), ElementsAre(2, 5));
  options.sample = 4;
  EXPECT_THAT(chooseCases(options, 100), ElementsAre(1, 26, 51, 76));
  EXPECT_THAT(chooseCases(options, 2), ElementsAre(1, 2));
}

TEST(CaseLog, RemembersWhatHasPassed) {
  const rehearsal::TemporaryFolder folder;
  {
    CaseLog log(folder / "log");
    log.add("kill ext4 cut", 1, "entry of rename", {});
    log.add("kill ext4 cut", 2, "exit of rename", {"something was lost"});
    EXPECT_EQ(log.cases(), 2U);
    EXPECT_EQ(log.failures(), 1U);
  }
  const CaseLog log(folder / "log");
  EXPECT_TRUE(log.isDone("kill ext4 cut", 1));
  EXPECT_FALSE(log.isDone("kill ext4 cut", 2));
  EXPECT_FALSE(log.isDone("kill ext4 cut", 11));
  EXPECT_FALSE(log.isDone("kill xfs cut", 1));
  EXPECT_EQ(log.doneBefore(), 1U);
}

}  // namespace
}  // namespace marrow::sweep
