// When reports are sent, where from and to whom.
#include "tests/engine/queue_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class ProgressTimer : public QueueTest {
 protected:
  std::vector<double> moments() const {
    std::vector<double> seconds;
    for (const auto& report : reports) {
      seconds.push_back(report.moment - _begin);
    }
    return seconds;
  }

  std::vector<float> fractions() const {
    std::vector<float> all;
    for (const auto& report : reports) {
      all.push_back(report.fraction);
    }
    return all;
  }

 private:
  const double _begin = machine.clock.now();
};

TEST_F(ProgressTimer, IsMadeStartedAndCancelledByTheRun) {
  add("MWFirst");
  run();
  EXPECT_THAT(machine.journal.calls({"TaskQueues.", "SerialTaskQueue.", "QueueTimer.", "Log."}),
              ElementsAre("TaskQueues.createSerialQueue com.corvane.MWOperationQueue.Progress",
                          "SerialTaskQueue.createTimer com.corvane.MWOperationQueue.Progress 1 0.5",
                          "QueueTimer.activate com.corvane.MWOperationQueue.Progress",
                          "Log.default[Operations] MWOperationQueue: Performing (MWFirst)...",
                          "QueueTimer.cancel com.corvane.MWOperationQueue.Progress"));
}

TEST_F(ProgressTimer, StartsOnceTheFirstOperationIsTheCurrentOne) {
  const auto first = add("MWFirst");
  add("MWSecond");
  std::shared_ptr<MWOperation> current;
  machine.faults.before("QueueTimer.activate", [&] { current = queue->currentOperation(); });
  run();
  EXPECT_EQ(current, first);
}

TEST_F(ProgressTimer, IsCancelledAfterTheQueueIsDisarmedAndBeforeTheRunHasItsEnd) {
  add("MWFirst");
  queue->setSimulatedAction("skip", "MWOther", 0);
  bool armed = true;
  std::optional<double> end = 1.0;
  machine.faults.before("QueueTimer.cancel", [&] {
    armed = queue->simulateAction() != nullptr;
    end = queue->endTime();
  });
  run();
  EXPECT_FALSE(armed);
  EXPECT_EQ(end, std::nullopt);
  EXPECT_NE(queue->endTime(), std::nullopt);
}

TEST_F(ProgressTimer, IsMadeForEachRun) {
  run();
  run();
  EXPECT_THAT(machine.queues.createdLabels(), ElementsAre("com.corvane.MWOperationQueue.Progress",
                                                          "com.corvane.MWOperationQueue.Progress"));
  EXPECT_EQ(machine.queues.activeTimers(), 0U);
}

TEST_F(ProgressTimer, ReportsAtOnceAndThenEverySecond) {
  add("MWFirst", 10.0, takeTime(3.5));
  run();
  EXPECT_THAT(moments(), ElementsAre(0.0, 1.0, 2.0, 3.0));
}

TEST_F(ProgressTimer, ReportsOnTheProgressQueue) {
  add("MWFirst", 10.0, takeTime(1.5));
  run();
  ASSERT_THAT(reports, SizeIs(2));
  for (const auto& report : reports) {
    EXPECT_EQ(report.taskQueue, "com.corvane.MWOperationQueue.Progress");
    EXPECT_EQ(report.queue, queue.get());
  }
}

TEST_F(ProgressTimer, ReportsNothingBeforeAndAfterTheRun) {
  add("MWFirst", 10.0);
  machine.clock.advance(5.0);
  run();
  machine.clock.advance(5.0);
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(ProgressTimer, ReportsNothingWhenNoOperationTakesTime) {
  add("MWFirst", 0.0, takeTime(5.0));
  add("MWSecond", 0.0, takeTime(5.0));
  EXPECT_TRUE(run());
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(ProgressTimer, ThirtySecondsIntoTheSecondOfThree) {
  add("MWFirst", 10.0);
  add("MWSecond", 300.0, takeTime(30.0));
  add("MWThird", 5.0);
  run();
  const auto& last = reports.back();
  EXPECT_EQ(last.moment, machine.clock.now());
  EXPECT_NEAR(last.fraction, 0.127F, 0.0005F);
  EXPECT_EQ(last.secondsRemaining, 305U);
}

TEST_F(ProgressTimer, TheFractionStaysAtItsShareInAnOperationThatTakesTooLong) {
  add("MWFirst", 2.0, takeTime(5.0));
  add("MWSecond", 2.0);
  run();
  EXPECT_THAT(fractions(), ElementsAre(0.0F, 0.25F, 0.5F, 0.5F, 0.5F, 0.5F));
}

TEST_F(ProgressTimer, AHungOperationIsStillReported) {
  add("MWFirst", 1.0, takeTime(1000.0));
  run();
  EXPECT_THAT(reports, SizeIs(1001));
  EXPECT_EQ(reports.back().secondsRemaining, 1U);
}

TEST_F(ProgressTimer, RemainingDropsInSteps) {
  add("MWFirst", 10.0, takeTime(1.5));
  add("MWSecond", 20.0, takeTime(1.0));
  run();
  std::vector<std::uint64_t> remaining;
  for (const auto& report : reports) {
    remaining.push_back(report.secondsRemaining);
  }
  EXPECT_THAT(remaining, ElementsAre(30U, 30U, 20U));
}

TEST_F(ProgressTimer, AnOperationsOwnProgressIsReported) {
  const auto progress = std::make_shared<Progress>(100);
  const auto operation = add("MWFirst", 50.0, [&](TestOperation&) {
    machine.clock.advance(0.0);
    progress->setCompletedUnitCount(50);
    machine.clock.advance(1.0);
    progress->setCompletedUnitCount(100);
    machine.clock.advance(1.0);
    return true;
  });
  operation->setProgress(progress);
  add("MWSecond", 50.0);
  run();
  EXPECT_THAT(fractions(), ElementsAre(0.0F, 0.25F, 0.5F));
}

TEST_F(ProgressTimer, ASkippedOperationCountsAsDone) {
  add("MWFirst", 50.0, takeTime(5.0));
  add("MWSecond", 50.0, takeTime(0.0));
  queue->setSimulatedAction("skip", "MWFirst", 0);
  run();
  EXPECT_THAT(fractions(), ElementsAre(0.5F));
}

TEST_F(ProgressTimer, WithoutADelegateTheRunGoesOn) {
  add("MWFirst", 10.0, takeTime(2.0));
  delegate.reset();
  EXPECT_TRUE(run());
}

TEST_F(ProgressTimer, ADelegateThatGoesDuringTheRunHearsNoMore) {
  add("MWFirst", 10.0, [&](TestOperation&) {
    machine.clock.advance(1.0);
    EXPECT_THAT(reports, SizeIs(2));
    delegate.reset();
    machine.clock.advance(5.0);
    return true;
  });
  EXPECT_TRUE(run());
  EXPECT_THAT(reports, SizeIs(2));
}

TEST_F(ProgressTimer, ADelegateMayAskTheQueueAndReplaceItself) {
  class Asking : public MWOperationQueueDelegate {
   public:
    void operationQueueReceivedEstimatedTimeRemaining(MWOperationQueue& asked, std::uint64_t,
                                                      float) override {
      current = asked.currentOperation();
      remaining = asked.estimatedTimeRemaining();
      asked.setDelegate({});
      ++count;
    }
    std::shared_ptr<MWOperation> current;
    double remaining = 0.0;
    int count = 0;
  };
  const auto asking = std::make_shared<Asking>();
  queue->setDelegate(asking);
  const auto operation = add("MWFirst", 10.0, takeTime(3.0));
  run();
  EXPECT_EQ(asking->current, operation);
  EXPECT_EQ(asking->remaining, 10.0);
  EXPECT_EQ(asking->count, 1);
}

}  // namespace
}  // namespace marrow
