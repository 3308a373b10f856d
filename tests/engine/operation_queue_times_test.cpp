// The times that a queue knows: what its operations should take, and what they took.
#include "tests/engine/queue_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>

namespace marrow {
namespace {

using QueueTimes = QueueTest;

TEST_F(QueueTimes, RemainingIsTheSumOfTheEstimatesBeforeTheRun) {
  add("MWFirst", 10.0);
  add("MWSecond", 300.0);
  EXPECT_EQ(queue->estimatedTimeRemaining(), 310.0);
}

TEST_F(QueueTimes, RemainingLosesAnEstimateWhenItsOperationIsDone) {
  const auto expect = [&](double seconds) {
    return [this, seconds](TestOperation&) {
      EXPECT_EQ(queue->estimatedTimeRemaining(), seconds);
      machine.clock.advance(7.0);
      EXPECT_EQ(queue->estimatedTimeRemaining(), seconds);
      return true;
    };
  };
  add("MWFirst", 10.0, expect(315.0));
  add("MWSecond", 300.0, expect(305.0));
  add("MWThird", 5.0, expect(5.0));
  EXPECT_TRUE(run());
}

TEST_F(QueueTimes, NothingRemainsAfterTheRun) {
  add("MWFirst", 10.0);
  run();
  EXPECT_EQ(queue->estimatedTimeRemaining(), 0.0);
}

TEST_F(QueueTimes, NothingRemainsAfterARunThatFailed) {
  add("MWFirst", 10.0, failSilently);
  add("MWSecond", 10.0);
  run();
  EXPECT_EQ(queue->estimatedTimeRemaining(), 0.0);
}

TEST_F(QueueTimes, RemainingIsNeverNegative) {
  add("MWFirst", 10.0);
  queue->setTrackedElapsedTime(11.0);
  EXPECT_EQ(queue->estimatedTimeRemaining(), 0.0);
}

TEST_F(QueueTimes, RemainingFollowsAnEstimateThatChanges) {
  add("MWFirst", 10.0)->setEstimate(15.0);
  EXPECT_EQ(queue->estimatedTimeRemaining(), 15.0);
  EXPECT_EQ(queue->totalEstimatedTime(), 10.0);
}

TEST_F(QueueTimes, NoTimeHasElapsedBeforeTheRun) {
  machine.clock.advance(5.0);
  EXPECT_EQ(queue->elapsedTime(), 0.0);
}

TEST_F(QueueTimes, DuringTheRunElapsedCountsFromItsBeginning) {
  machine.clock.advance(5.0);
  add("MWFirst", 1.0, [&](TestOperation&) {
    EXPECT_EQ(queue->elapsedTime(), 0.0);
    machine.clock.advance(2.5);
    EXPECT_EQ(queue->elapsedTime(), 2.5);
    return true;
  });
  EXPECT_TRUE(run());
}

TEST_F(QueueTimes, AfterTheRunElapsedIsWhatItTook) {
  add("MWFirst", 1.0, takeTime(2.5));
  run();
  machine.clock.advance(100.0);
  EXPECT_EQ(queue->elapsedTime(), 2.5);
}

TEST_F(QueueTimes, ARunHasABeginningAndAnEnd) {
  const double begin = machine.clock.now();
  add("MWFirst", 1.0, [&](TestOperation&) {
    EXPECT_EQ(queue->startTime(), begin);
    EXPECT_EQ(queue->endTime(), std::nullopt);
    machine.clock.advance(3.0);
    return true;
  });
  run();
  EXPECT_EQ(queue->startTime(), begin);
  EXPECT_EQ(queue->endTime(), begin + 3.0);
}

TEST_F(QueueTimes, EachOperationHasItsBeginning) {
  const double begin = machine.clock.now();
  add("MWFirst", 1.0, takeTime(3.0));
  add("MWSecond", 1.0, [&](TestOperation&) {
    EXPECT_EQ(queue->currentOperationStartTime(), begin + 3.0);
    return true;
  });
  EXPECT_TRUE(run());
}

TEST_F(QueueTimes, AnEmptyRunHasABeginningAndAnEndToo) {
  run();
  EXPECT_EQ(queue->startTime(), machine.clock.now());
  EXPECT_EQ(queue->endTime(), machine.clock.now());
  EXPECT_EQ(queue->currentOperationStartTime(), machine.clock.now());
}

TEST_F(QueueTimes, ASecondRunStartsTheTimesAnew) {
  add("MWFirst", 10.0, [&](TestOperation&) {
    EXPECT_EQ(queue->endTime(), std::nullopt);
    EXPECT_EQ(queue->trackedElapsedTime(), 0.0);
    EXPECT_EQ(queue->estimatedTimeRemaining(), 10.0);
    return true;
  });
  run();
  machine.clock.advance(50.0);
  run();
  EXPECT_EQ(queue->startTime(), machine.clock.now());
  EXPECT_EQ(queue->elapsedTime(), 0.0);
}

}  // namespace
}  // namespace marrow
