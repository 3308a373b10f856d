#include "tests/contract/system/system_world.h"

#include <atomic>

namespace marrow {

namespace {

using TaskQueuesContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, TaskQueuesContract, bothWorlds(), nameOfWorld);

TEST_P(TaskQueuesContract, RunsTasksInTheOrderOfTheirSubmission) {
  const auto queue = world->queues().createSerialQueue("com.corvane.test");
  std::vector<int> order;
  for (int number = 0; number < 100; ++number) {
    queue->async([&order, number] { order.push_back(number); });
  }
  queue->sync([&order] { order.push_back(100); });
  ASSERT_EQ(order.size(), 101U);
  for (int number = 0; number <= 100; ++number) {
    EXPECT_EQ(order[static_cast<std::size_t>(number)], number);
  }
}

TEST_P(TaskQueuesContract, KeepsItsLabel) {
  const std::string label = "com.corvane.marrowd.DaemonManager";
  EXPECT_EQ(world->queues().createSerialQueue(label)->label(), label);
}

TEST_P(TaskQueuesContract, LetsATaskSubmitToItsOwnQueue) {
  const auto queue = world->queues().createSerialQueue("test");
  std::atomic<int> ran = 0;
  queue->async([&] {
    queue->async([&] { ++ran; });
    ++ran;
  });
  EXPECT_TRUE(world->waitUntil([&] { return ran == 2; }));
  queue->sync([] {});
}

TEST_P(TaskQueuesContract, LetsATaskWaitForAnotherQueue) {
  const auto first = world->queues().createSerialQueue("first");
  const auto second = world->queues().createSerialQueue("second");
  bool ran = false;
  first->sync([&] { second->sync([&] { ran = true; }); });
  EXPECT_TRUE(ran);
}

TEST_P(TaskQueuesContract, RunsWhatWasSubmittedAfterTheQueueIsReleased) {
  auto queue = world->queues().createSerialQueue("test");
  std::atomic<int> ran = 0;
  for (int number = 0; number < 10; ++number) {
    queue->async([&] { ++ran; });
  }
  queue.reset();
  EXPECT_TRUE(world->waitUntil([&] { return ran == 10; }));
}

TEST_P(TaskQueuesContract, ServesTheMainQueueInTheMainLoop) {
  bool ran = false;
  world->runOnMainLoop([&] { ran = true; });
  EXPECT_TRUE(ran);
}

TEST_P(TaskQueuesContract, FiresATimerAtOnceAndThenAtEachInterval) {
  const auto queue = world->queues().createSerialQueue("test");
  std::vector<double> firings;
  const double start = world->clock().now();
  const auto timer =
      queue->createTimer(0.05, 0.0, [&] { firings.push_back(world->clock().now() - start); });
  timer->activate();
  EXPECT_TRUE(world->waitUntil([&] { return world->clock().now() - start > 0.28; }));
  timer->cancel();
  queue->sync([] {});
  ASSERT_FALSE(firings.empty());
  EXPECT_LT(firings.front(), 0.04);
  EXPECT_LE(firings.size(), 6U);
  for (std::size_t index = 1; index < firings.size(); ++index) {
    EXPECT_GT(firings[index], 0.05 * static_cast<double>(index) - 0.001);
  }
}

TEST_P(TaskQueuesContract, FiresNoTimerThatWasNotActivated) {
  const auto queue = world->queues().createSerialQueue("test");
  bool fired = false;
  const auto timer = queue->createTimer(0.01, 0.0, [&] { fired = true; });
  const double start = world->clock().now();
  EXPECT_TRUE(world->waitUntil([&] { return world->clock().now() - start > 0.05; }));
  queue->sync([] {});
  EXPECT_FALSE(fired);
}

TEST_P(TaskQueuesContract, FiresNoMoreOnceATimerIsCancelledOnItsQueue) {
  const auto queue = world->queues().createSerialQueue("test");
  int firings = 0;
  std::unique_ptr<QueueTimer> timer;
  queue->sync([&] {
    timer = queue->createTimer(0.01, 0.0, [&] {
      ++firings;
      timer->cancel();
    });
    timer->activate();
  });
  const double start = world->clock().now();
  EXPECT_TRUE(world->waitUntil([&] { return world->clock().now() - start > 0.1; }));
  queue->sync([&] { timer->cancel(); });
  EXPECT_EQ(firings, 1);
}

TEST_P(TaskQueuesContract, CancelsATimerThatIsDestroyed) {
  const auto queue = world->queues().createSerialQueue("test");
  std::atomic<int> firings = 0;
  auto timer = queue->createTimer(0.01, 0.0, [&] { ++firings; });
  timer->activate();
  EXPECT_TRUE(world->waitUntil([&] { return firings >= 2; }));
  timer.reset();
  queue->sync([] {});
  const int last = firings;
  const double start = world->clock().now();
  EXPECT_TRUE(world->waitUntil([&] { return world->clock().now() - start > 0.05; }));
  EXPECT_EQ(firings, last);
}

TEST_P(TaskQueuesContract, HasAClockThatNeverGoesBack) {
  const double first = world->clock().now();
  EXPECT_GE(world->clock().now(), first);
}

}  // namespace

}  // namespace marrow
