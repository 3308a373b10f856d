#include "tests/host/in_memory_host.h"

#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

using testing::ElementsAre;

class TaskQueuesTest : public testing::Test {
 protected:
  Task note(const std::string& text) {
    return [this, text] { notes.push_back(text); };
  }
  double seconds() { return machine.clock.now() - start; }

  InMemoryHost machine;
  std::vector<std::string> notes;
  std::vector<double> times;
  const double start = machine.clock.now();
};

TEST_F(TaskQueuesTest, TasksRunInOrderOnceTheyMay) {
  const auto queue = machine.queues.createSerialQueue("worker");
  queue->async(note("1"));
  queue->async(note("2"));
  EXPECT_TRUE(notes.empty());
  machine.queues.runUntilIdle();
  EXPECT_THAT(notes, ElementsAre("1", "2"));
}

TEST_F(TaskQueuesTest, SyncRunsWhatWaitsThenTheTask) {
  const auto queue = machine.queues.createSerialQueue("worker");
  queue->async(note("before"));
  queue->sync(note("synchronous"));
  EXPECT_THAT(notes, ElementsAre("before", "synchronous"));
}

TEST_F(TaskQueuesTest, SyncOnTheRunningQueueFailsTheTest) {
  const auto queue = machine.queues.createSerialQueue("worker");
  EXPECT_NONFATAL_FAILURE(queue->sync([&] { queue->sync([] {}); }), "would wait for ever");
}

TEST_F(TaskQueuesTest, AReleasedQueueStillRunsWhatWasSubmitted) {
  machine.queues.createSerialQueue("worker")->async(note("ran"));
  machine.queues.runUntilIdle();
  EXPECT_THAT(notes, ElementsAre("ran"));
}

TEST_F(TaskQueuesTest, TheRunningQueueIsKnown) {
  const auto queue = machine.queues.createSerialQueue("worker");
  queue->sync([&] { notes.push_back(machine.queues.currentLabel()); });
  EXPECT_THAT(notes, ElementsAre("worker"));
  EXPECT_EQ(machine.queues.currentLabel(), "");
}

TEST_F(TaskQueuesTest, ATimerFiresAtOnceAndThenAtWholeIntervals) {
  const auto queue = machine.queues.createSerialQueue("worker");
  const auto timer = queue->createTimer(1.0, 0.5, [&] { times.push_back(seconds()); });
  machine.clock.advance(0.5);
  EXPECT_TRUE(times.empty());
  timer->activate();
  machine.clock.advance(2.25);
  EXPECT_THAT(times, ElementsAre(0.5, 1.5, 2.5));
  EXPECT_EQ(seconds(), 2.75);
}

TEST_F(TaskQueuesTest, ACancelledTimerFiresNoMore) {
  const auto queue = machine.queues.createSerialQueue("worker");
  const auto timer = queue->createTimer(1.0, 0.5, note("fired"));
  timer->activate();
  timer->cancel();
  machine.clock.advance(3.0);
  machine.queues.runUntilIdle();
  EXPECT_TRUE(notes.empty());
  EXPECT_EQ(machine.queues.activeTimers(), 0U);
}

TEST_F(TaskQueuesTest, ADestroyedTimerFiresNoMore) {
  const auto queue = machine.queues.createSerialQueue("worker");
  auto timer = queue->createTimer(1.0, 0.5, note("fired"));
  timer->activate();
  machine.clock.advance(0.0);
  timer.reset();
  machine.clock.advance(3.0);
  EXPECT_THAT(notes, ElementsAre("fired"));
}

TEST_F(TaskQueuesTest, ATimerFiresWhileAnotherQueueLetsTimePass) {
  const auto timerQueue = machine.queues.createSerialQueue("timer");
  const auto worker = machine.queues.createSerialQueue("worker");
  const auto timer =
      timerQueue->createTimer(1.0, 0.5, [&] { notes.push_back(machine.queues.currentLabel()); });
  worker->sync([&] {
    timer->activate();
    machine.clock.advance(1.0);
    notes.push_back(machine.queues.currentLabel());
  });
  EXPECT_THAT(notes, ElementsAre("timer", "timer", "worker"));
}

TEST_F(TaskQueuesTest, FiringsMissedWhileTheQueueIsBusyAreNotMadeUpFor) {
  const auto queue = machine.queues.createSerialQueue("worker");
  const auto timer = queue->createTimer(1.0, 0.5, [&] { times.push_back(seconds()); });
  timer->activate();
  queue->sync([&] { machine.clock.advance(5.5); });
  machine.clock.advance(1.0);
  EXPECT_THAT(times, ElementsAre(0.0, 5.5, 6.0));
}

TEST_F(TaskQueuesTest, WhatATimerSubmitsElsewhereRunsBeforeTheNextFiring) {
  const auto queue = machine.queues.createSerialQueue("worker");
  const auto timer = queue->createTimer(1.0, 0.5, [&] {
    notes.push_back("timer");
    machine.queues.mainQueue().async(note("main"));
  });
  timer->activate();
  machine.clock.advance(1.0);
  EXPECT_THAT(notes, ElementsAre("timer", "main", "timer", "main"));
}

TEST_F(TaskQueuesTest, TheEndOfARunPassesThroughTheQueue) {
  const auto queue = machine.queues.createSerialQueue("worker");
  queue->async([&] { machine.process.exit(0x103); });
  const RunEnded end = endOf([&] { machine.queues.runMainLoop(); });
  EXPECT_EQ(end.kind, RunEnded::Kind::exit);
  EXPECT_EQ(end.status, 3);
  EXPECT_EQ(machine.queues.currentLabel(), "");
  queue->sync(note("usable"));
  EXPECT_THAT(notes, ElementsAre("usable"));
}

TEST_F(TaskQueuesTest, ARunThatDoesNotEndFailsTheTest) {
  EXPECT_NONFATAL_FAILURE(endOf([] {}), "did not end");
}

}  // namespace
}  // namespace marrow
