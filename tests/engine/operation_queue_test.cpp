// Which operations a run starts, and in which order everything is asked.
#include "tests/engine/queue_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <vector>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using OperationQueue = QueueTest;

TEST_F(OperationQueue, ANewQueueIsEmpty) {
  EXPECT_EQ(queue->dataSource(), dataSource);
  EXPECT_EQ(queue->delegate(), delegate);
  EXPECT_EQ(queue->progress(), nullptr);
  EXPECT_THAT(queue->queue(), IsEmpty());
  EXPECT_EQ(queue->currentOperation(), nullptr);
  EXPECT_EQ(queue->totalEstimatedTime(), 0.0);
  EXPECT_EQ(queue->trackedElapsedTime(), 0.0);
  EXPECT_EQ(queue->startTime(), std::nullopt);
  EXPECT_EQ(queue->endTime(), std::nullopt);
  EXPECT_EQ(queue->simulateOperationName(), "");
  EXPECT_EQ(queue->simulateAction(), nullptr);
}

TEST_F(OperationQueue, EachFieldHasItsSetter) {
  const auto operation = make("MWStep", 1.0, succeed);
  const auto otherSource = std::make_shared<TestDataSource>();
  const auto otherDelegate = std::make_shared<TestDelegate>(machine, reports);
  const auto progress = std::make_shared<Progress>(100);
  queue->setDataSource(otherSource);
  queue->setDelegate(otherDelegate);
  queue->setProgress(progress);
  queue->setQueue({operation});
  queue->setCurrentOperation(operation);
  queue->setTotalEstimatedTime(1.0);
  queue->setTrackedElapsedTime(2.0);
  queue->setStartTime(3.0);
  queue->setEndTime(4.0);
  queue->setCurrentOperationStartTime(5.0);
  queue->setSimulateOperationName("MWStep");
  queue->setSimulateAction([](MWOperation&, ErrorSlot) { return true; });
  EXPECT_EQ(queue->dataSource(), otherSource);
  EXPECT_EQ(queue->delegate(), otherDelegate);
  EXPECT_EQ(queue->progress(), progress);
  EXPECT_THAT(queue->queue(), ElementsAre(operation));
  EXPECT_EQ(queue->currentOperation(), operation);
  EXPECT_EQ(queue->totalEstimatedTime(), 1.0);
  EXPECT_EQ(queue->trackedElapsedTime(), 2.0);
  EXPECT_EQ(queue->startTime(), 3.0);
  EXPECT_EQ(queue->endTime(), 4.0);
  EXPECT_EQ(queue->currentOperationStartTime(), 5.0);
  EXPECT_EQ(queue->simulateOperationName(), "MWStep");
  EXPECT_NE(queue->simulateAction(), nullptr);
}

// ---- Adding.

TEST_F(OperationQueue, AnAddedOperationGetsTheDataSource) {
  EXPECT_EQ(add("MWStep")->operationQueueDataSource(), dataSource);
}

TEST_F(OperationQueue, AddingSumsTheEstimates) {
  add("MWFirst", 10.0);
  add("MWSecond", 300.0);
  EXPECT_EQ(queue->totalEstimatedTime(), 310.0);
}

// Sees what the queue has done before it asks.
class CuriousOperation : public MWOperation {
 public:
  double estimatedExecutionTime() const override {
    hadDataSource = operationQueueDataSource() != nullptr;
    queued = queue->queue().size();
    return 3.0;
  }

  MWOperationQueue* queue = nullptr;
  mutable bool hadDataSource = false;
  mutable std::size_t queued = 0;
};

TEST_F(OperationQueue, AnEstimateIsAskedAfterTheDataSourceIsSetAndTheOperationIsAppended) {
  const auto operation = std::make_shared<CuriousOperation>();
  operation->queue = queue.get();
  queue->addOperation(operation);
  EXPECT_TRUE(operation->hadDataSource);
  EXPECT_EQ(operation->queued, 1U);
}

TEST_F(OperationQueue, TheSameOperationMayBeAddedTwice) {
  const auto operation = add("MWStep", 2.0);
  queue->addOperation(operation);
  EXPECT_EQ(queue->totalEstimatedTime(), 4.0);
  EXPECT_TRUE(run());
  EXPECT_EQ(operation->runs(), 2);
}

TEST_F(OperationQueue, TheQueueDoesNotKeepTheDelegateAlive) {
  delegate.reset();
  EXPECT_EQ(queue->delegate(), nullptr);
}

TEST_F(OperationQueue, TheQueueKeepsTheDataSourceAlive) {
  const auto operation = add("MWStep");
  dataSource.reset();
  EXPECT_NE(operation->operationQueueDataSource(), nullptr);
  queue.reset();
  EXPECT_EQ(operation->operationQueueDataSource(), nullptr);
}

// ---- Running.

TEST_F(OperationQueue, RunsTheOperationsInTheOrderInWhichTheyWereAdded) {
  add("MWFirst");
  add("MWSecond");
  add("MWThird");
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWSecond", "MWThird"));
}

TEST_F(OperationQueue, LogsEachOperationBeforeItRuns) {
  add("MWUnmountContainerOperation", 1.0, [&](TestOperation&) {
    EXPECT_TRUE(machine.log.has(LogLevel::standard, "Operations",
                                "MWOperationQueue: Performing (MWUnmountContainerOperation)..."));
    return true;
  });
  add("MWBlessVolumeOperation");
  run();
  EXPECT_THAT(machine.log.texts(),
              ElementsAre("MWOperationQueue: Performing (MWUnmountContainerOperation)...",
                          "MWOperationQueue: Performing (MWBlessVolumeOperation)..."));
  EXPECT_THAT(machine.log.textsOf("Operations"), SizeIs(2));
  EXPECT_THAT(machine.log.texts(LogLevel::standard), SizeIs(2));
}

TEST_F(OperationQueue, AnEmptyQueueSucceedsWithoutAnErrorAndWithoutAReport) {
  error = someError(7);
  EXPECT_TRUE(run());
  EXPECT_EQ(error, nullptr);
  machine.clock.advance(5.0);
  EXPECT_THAT(reports, IsEmpty());
  EXPECT_THAT(machine.log.texts(), IsEmpty());
}

TEST_F(OperationQueue, StopsAtTheFirstFailure) {
  add("MWFirst", 1.0);
  add("MWSecond", 2.0);
  const ErrorRef third = someError(3);
  add("MWThird", 4.0, failWith(third));
  const auto fourth = add("MWFourth", 8.0);
  const auto fifth = add("MWFifth", 16.0);
  EXPECT_FALSE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWSecond", "MWThird"));
  EXPECT_FALSE(fourth->isFinished());
  EXPECT_FALSE(fifth->isFinished());
  EXPECT_EQ(error, third);
  EXPECT_EQ(queue->trackedElapsedTime(), 7.0);
  EXPECT_EQ(queue->currentOperation(), nullptr);
}

TEST_F(OperationQueue, ACancelledOperationFailsTheRunWithoutAnError) {
  const auto operation = add("MWFirst");
  add("MWSecond");
  operation->cancel();
  error = someError(7);
  EXPECT_FALSE(run());
  EXPECT_EQ(error, nullptr);
  EXPECT_THAT(executions(), IsEmpty());
}

TEST_F(OperationQueue, TheRunningOperationIsTheCurrentOne) {
  std::vector<std::shared_ptr<MWOperation>> current;
  const auto look = [&](TestOperation&) {
    current.push_back(queue->currentOperation());
    return true;
  };
  const auto first = add("MWFirst", 1.0, look);
  const auto second = add("MWSecond", 1.0, look);
  run();
  EXPECT_THAT(current, ElementsAre(first, second));
  EXPECT_EQ(queue->currentOperation(), nullptr);
}

TEST_F(OperationQueue, EstimatesAreAskedWhenAddedWhenReportedAndWhenDone) {
  add("MWFirst", 10.0, [&](TestOperation&) {
    machine.clock.advance(0.0);  // the report that is due at once
    return true;
  });
  add("MWSecond", 20.0);
  run();
  EXPECT_THAT(events, ElementsAre("MWFirst.estimate", "MWSecond.estimate",    // added
                                  "MWFirst.execute",                          //
                                  "MWFirst.estimate", "MWFirst.progress",     // its share
                                  "MWFirst.estimate", "MWSecond.estimate",    // time remaining
                                  "MWFirst.estimate",                         // done
                                  "MWSecond.execute", "MWSecond.estimate"));  // done
}

TEST_F(OperationQueue, EstimatedTimeRemainingAsksEveryOperationAgain) {
  add("MWFirst", 10.0);
  add("MWSecond", 20.0);
  events.clear();
  EXPECT_EQ(queue->estimatedTimeRemaining(), 30.0);
  EXPECT_THAT(events, ElementsAre("MWFirst.estimate", "MWSecond.estimate"));
}

TEST_F(OperationQueue, AnEstimateThatChangedCountsAsItIsWhenTheOperationIsDone) {
  add("MWFirst", 10.0, [](TestOperation& operation) {
    operation.setEstimate(25.0);
    return true;
  });
  run();
  EXPECT_EQ(queue->totalEstimatedTime(), 10.0);
  EXPECT_EQ(queue->trackedElapsedTime(), 25.0);
}

TEST_F(OperationQueue, AnOperationThatIsAddedDuringTheRunRunsToo) {
  add("MWFirst", 1.0, [&](TestOperation&) {
    add("MWSecond");
    return true;
  });
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWSecond"));
}

TEST_F(OperationQueue, ARunMayBeStartedAgain) {
  add("MWFirst", 10.0);
  add("MWSecond", 20.0);
  EXPECT_TRUE(run());
  machine.clock.advance(100.0);
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWSecond", "MWFirst", "MWSecond"));
  EXPECT_EQ(queue->trackedElapsedTime(), 30.0);
  EXPECT_EQ(queue->totalEstimatedTime(), 30.0);
  EXPECT_EQ(queue->startTime(), machine.clock.now());
}

TEST_F(OperationQueue, ARunAfterAFailureBeginsWithTheFirstOperation) {
  add("MWFirst");
  add("MWSecond", 1.0, [](TestOperation& operation) { return operation.runs() > 1; });
  EXPECT_FALSE(run());
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWSecond", "MWFirst", "MWSecond"));
}

TEST_F(OperationQueue, AnExceptionOfAnOperationIsNotCaught) {
  add("MWFirst", 1.0, [](TestOperation&) -> bool { throw MWOperationException("mistake"); });
  EXPECT_THROW(run(), MWOperationException);
}

TEST_F(OperationQueue, AnExceptionOfAnOperationLeavesNoTimer) {
  add("MWFirst", 1.0, [](TestOperation&) -> bool { throw MWOperationException("mistake"); });
  EXPECT_THROW(run(), MWOperationException);
  EXPECT_EQ(machine.queues.activeTimers(), 0U);
}

}  // namespace
}  // namespace marrow
