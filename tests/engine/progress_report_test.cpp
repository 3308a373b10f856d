// The numbers of a report. The expected fractions of the single-precision tests were worked out
// apart from this code; each is one step of a float away from what double precision would give.
#include "engine/progress_report.h"

#include "tests/engine/queue_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>

namespace marrow {
namespace {

class ProgressReportTest : public QueueTest {
 protected:
  // A run in which the operation with the first estimate is current, after those with `done`.
  void setUp(double current, double done, double later) {
    operation = make("MWCurrent", current, succeed);
    state.queue = {make("MWDone", done, succeed), operation, make("MWLater", later, succeed)};
    state.currentOperation = operation;
    state.totalEstimatedTime = done + current + later;
    state.trackedElapsedTime = done;
    state.startTime = state.currentOperationStartTime = machine.clock.now();
  }

  ProgressReport report() { return progressReport(state, machine.clock).value(); }

  float fractionAfter(double seconds) {
    machine.clock.advance(seconds);
    return report().fraction;
  }

  float fractionWithPercent(int percent) {
    const auto progress = std::make_shared<Progress>(100);
    progress->setCompletedUnitCount(percent);
    operation->setProgress(progress);
    return report().fraction;
  }

  std::shared_ptr<TestOperation> operation;
  RunState state;
};

TEST_F(ProgressReportTest, TheSharesOfTimeAddUp) {
  setUp(300.0, 10.0, 5.0);
  EXPECT_EQ(fractionAfter(30.0), 0x1.041042p-3F);  // 0.127
  EXPECT_EQ(report().secondsRemaining, 305U);
}

TEST_F(ProgressReportTest, AnOperationStartsAtWhatIsDone) {
  setUp(300.0, 100.0, 100.0);
  EXPECT_EQ(fractionAfter(0.0), 0.2F);
}

TEST_F(ProgressReportTest, AnOperationWithoutProgressNeverPassesItsShare) {
  setUp(50.0, 25.0, 25.0);
  EXPECT_EQ(fractionAfter(50.0), 0.75F);
  EXPECT_EQ(fractionAfter(1000.0), 0.75F);
}

TEST_F(ProgressReportTest, AnOperationWithProgressMovesByItAlone) {
  setUp(50.0, 25.0, 25.0);
  EXPECT_EQ(fractionWithPercent(0), 0.25F);
  EXPECT_EQ(fractionWithPercent(50), 0.5F);
  machine.clock.advance(1000.0);
  EXPECT_EQ(report().fraction, 0.5F);
  EXPECT_EQ(fractionWithPercent(100), 0.75F);
}

TEST_F(ProgressReportTest, WithoutATotalThereIsNone) {
  setUp(0.0, 0.0, 0.0);
  EXPECT_EQ(progressReport(state, machine.clock), std::nullopt);
  state.totalEstimatedTime = -1.0;
  EXPECT_EQ(progressReport(state, machine.clock), std::nullopt);
}

TEST_F(ProgressReportTest, WithoutATotalNoOperationIsAsked) {
  setUp(0.0, 0.0, 0.0);
  progressReport(state, machine.clock);
  EXPECT_THAT(events, testing::IsEmpty());
}

TEST_F(ProgressReportTest, WithoutACurrentOperationTheFractionIsWhatIsDone) {
  setUp(50.0, 25.0, 25.0);
  state.currentOperation = nullptr;
  EXPECT_EQ(fractionAfter(10.0), 0.25F);
}

TEST_F(ProgressReportTest, AfterTheRunNothingRemains) {
  setUp(50.0, 25.0, 25.0);
  state.currentOperation = nullptr;
  state.trackedElapsedTime = 100.0;
  state.endTime = machine.clock.now();
  EXPECT_EQ(report().fraction, 1.0F);
  EXPECT_EQ(report().secondsRemaining, 0U);
}

TEST_F(ProgressReportTest, RemainingSecondsAreTruncated) {
  setUp(300.0, 10.0, 4.9);
  EXPECT_EQ(report().secondsRemaining, 304U);
  setUp(0.3, 10.0, 0.6);
  EXPECT_EQ(report().secondsRemaining, 0U);
}

TEST_F(ProgressReportTest, RemainingSecondsStayDuringAnOperation) {
  setUp(300.0, 10.0, 5.0);
  machine.clock.advance(200.0);
  EXPECT_EQ(report().secondsRemaining, 305U);
}

TEST_F(ProgressReportTest, AnEstimateThatGrewCountsAgainstTheOldTotal) {
  setUp(50.0, 25.0, 25.0);
  operation->setEstimate(60.0);
  EXPECT_EQ(fractionAfter(1000.0), 0.6F + 0.25F);
  EXPECT_EQ(report().secondsRemaining, 85U);
}

// ---- Single precision.

TEST_F(ProgressReportTest, TheTotalIsRoundedBeforeItDivides) {
  setUp(1.0, 16777216.0, 0.0);  // the sum has one bit more than a float
  EXPECT_EQ(fractionAfter(0.0), 1.0F);
}

TEST_F(ProgressReportTest, EachShareOfTimeIsRoundedBeforeTheyAreAdded) {
  setUp(60.0, 10.0, 5.0);
  EXPECT_EQ(fractionAfter(19.0), 0x1.8bf25ap-2F);  // else 0x1.8bf258p-2
}

TEST_F(ProgressReportTest, TheShareThatCapsTheTimeIsRounded) {
  setUp(300.0, 5.0, 5.0);
  EXPECT_EQ(fractionAfter(1000.0), 0x1.f7bdeep-1F);  // else 0x1.f7bdf0p-1
}

TEST_F(ProgressReportTest, TimeItselfIsAddedInDoublePrecision) {
  setUp(300.0, 5.0, 5.0);
  EXPECT_EQ(fractionAfter(9.0), 0x1.71f616p-5F);  // else 0x1.71f618p-5
}

TEST_F(ProgressReportTest, MeasuredProgressIsRoundedAtEachStep) {
  setUp(300.0, 5.0, 5.0);
  EXPECT_EQ(fractionWithPercent(1), 0x1.a6d018p-6F);  // else 0x1.a6d01ap-6
}

TEST_F(ProgressReportTest, AProductAndASumAreRoundedApart) {
  setUp(300.0, 10.0, 5.0);
  EXPECT_EQ(fractionWithPercent(3), 0x1.ee1ee4p-5F);  // fused: 0x1.ee1ee2p-5
}

}  // namespace
}  // namespace marrow
