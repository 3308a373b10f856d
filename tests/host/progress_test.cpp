#include "host/progress.h"

#include <gtest/gtest.h>
#include <thread>

namespace marrow {
namespace {

TEST(Progress, BeginsAtZero) {
  const Progress progress(100);
  EXPECT_EQ(progress.totalUnitCount(), 100);
  EXPECT_EQ(progress.completedUnitCount(), 0);
  EXPECT_EQ(progress.fractionCompleted(), 0.0);
}

TEST(Progress, TheFractionIsWhatIsCompletedOfTheTotal) {
  Progress progress(100);
  progress.setCompletedUnitCount(37);
  EXPECT_EQ(progress.fractionCompleted(), 0.37);
  progress.setCompletedUnitCount(100);
  EXPECT_EQ(progress.fractionCompleted(), 1.0);
}

TEST(Progress, WithNothingToDoTheFractionIsZero) {
  Progress progress(0);
  progress.setCompletedUnitCount(5);
  EXPECT_EQ(progress.fractionCompleted(), 0.0);
}

TEST(Progress, AThreadThatReportsSeesWhatTheWorkerSet) {
  Progress progress(100);
  std::thread worker([&] {
    for (int count = 1; count <= 100; ++count) {
      progress.setCompletedUnitCount(count);
    }
  });
  double last = 0.0;
  while (last < 1.0) {
    const double now = progress.fractionCompleted();
    EXPECT_GE(now, last);
    last = now;
  }
  worker.join();
  EXPECT_EQ(last, 1.0);
}

}  // namespace
}  // namespace marrow
