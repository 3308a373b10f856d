#include "host/linux/linux_task_queues.h"

#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <gtest/gtest.h>
#include <iterator>
#include <memory>
#include <pthread.h>
#include <sched.h>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace marrow {

namespace {

using namespace std::chrono_literals;

double now() {
  return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

std::size_t runningThreads() {
  const std::filesystem::directory_iterator threads("/proc/self/task");
  return static_cast<std::size_t>(std::distance(begin(threads), end(threads)));
}

class LinuxTaskQueuesTest : public testing::Test {
 protected:
  LinuxTaskQueues queues;
};

TEST_F(LinuxTaskQueuesTest, NamesTheThreadAfterTheLabel) {
  const auto queue = queues.createSerialQueue("com.corvane.marrowd.DaemonManager");
  std::array<char, 16> name{};
  queue->sync([&] { ::pthread_getname_np(::pthread_self(), name.data(), name.size()); });
  EXPECT_STREQ(name.data(), "com.corvane.mar");
}

TEST_F(LinuxTaskQueuesTest, RunsEachQueueOnOneThreadOfItsOwn) {
  const auto first = queues.createSerialQueue("first");
  const auto second = queues.createSerialQueue("second");
  std::vector<std::thread::id> threads;
  for (const auto& queue : {first, second, first}) {
    queue->sync([&] { threads.push_back(std::this_thread::get_id()); });
  }
  EXPECT_EQ(threads[0], threads[2]);
  EXPECT_NE(threads[0], threads[1]);
  EXPECT_NE(threads[0], std::this_thread::get_id());
}

TEST_F(LinuxTaskQueuesTest, GivesTheThreadTheSchedulingOfTheOneThatMadeTheQueue) {
  int nice = 0;
  std::thread([&] {
    ASSERT_EQ(::setpriority(PRIO_PROCESS, static_cast<id_t>(::gettid()), 7), 0);
    const auto queue = queues.createSerialQueue("nice");
    queue->sync([&] { nice = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::gettid())); });
  }).join();
  EXPECT_EQ(nice, 7);
}

TEST_F(LinuxTaskQueuesTest, RefusesToWaitForItself) {
  const auto queue = queues.createSerialQueue("test");
  bool refused = false;
  queue->sync([&] {
    try {
      queue->sync([] {});
    } catch (const std::logic_error&) {
      refused = true;
    }
  });
  EXPECT_TRUE(refused);
}

TEST_F(LinuxTaskQueuesTest, RunsEveryTaskOfManyThreadsInTheOrderOfEach) {
  const auto queue = queues.createSerialQueue("test");
  constexpr int kThreads = 8;
  constexpr int kTasks = 5000;
  std::array<int, kThreads> next{};
  int outOfOrder = 0;
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    threads.emplace_back([&, thread] {
      for (int number = 0; number < kTasks; ++number) {
        queue->async([&, thread, number] { outOfOrder += next[thread]++ == number ? 0 : 1; });
        if (number % 1000 == 0) {
          queue->sync([] {});
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  queue->sync([] {});
  EXPECT_EQ(outOfOrder, 0);
  for (const int count : next) {
    EXPECT_EQ(count, kTasks);
  }
}

TEST_F(LinuxTaskQueuesTest, MayBeReleasedByATaskOfItsOwn) {
  auto queue = queues.createSerialQueue("test");
  std::atomic<bool> ran = false;
  auto* const raw = queue.get();
  raw->async([&ran, held = std::move(queue)]() mutable {
    held.reset();
    ran = true;
  });
  while (!ran) {
    std::this_thread::sleep_for(1ms);
  }
}

TEST_F(LinuxTaskQueuesTest, EndsTheThreadOfEachReleasedQueue) {
  std::thread([] {}).join();  // with the first one, the thread checker starts one of its own
  const std::size_t before = runningThreads();
  {
    LinuxTaskQueues own;
    for (int number = 0; number < 200; ++number) {
      own.createSerialQueue("short")->async([] {});
    }
  }
  const double start = now();
  while (runningThreads() > before && now() - start < 20.0) {
    std::this_thread::sleep_for(1ms);
  }
  // That of before may have ended and not been gone yet.
  EXPECT_LE(runningThreads(), before);
}

TEST_F(LinuxTaskQueuesTest, FiresFirstAtOnceThenEachSecondWithoutDrift) {
  const auto queue = queues.createSerialQueue("test");
  std::vector<double> firings;
  std::atomic<int> count = 0;
  const double start = now();
  const auto timer = queue->createTimer(1.0, 0.5, [&] {
    firings.push_back(now() - start);
    std::this_thread::sleep_for(150ms);  // work that must not put the next firing off
    ++count;
  });
  timer->activate();
  while (count < 4) {
    std::this_thread::sleep_for(5ms);
  }
  timer->cancel();
  queue->sync([] {});
  ASSERT_GE(firings.size(), 4U);
  for (std::size_t index = 0; index < 4; ++index) {
    EXPECT_NEAR(firings[index], static_cast<double>(index), 0.1);
  }
}

TEST_F(LinuxTaskQueuesTest, MakesNoFiringUpThatItMissed) {
  const auto queue = queues.createSerialQueue("test");
  std::atomic<int> firings = 0;
  const auto timer = queue->createTimer(0.02, 0.0, [&] { ++firings; });
  queue->sync([&] {
    timer->activate();
    std::this_thread::sleep_for(300ms);
  });
  queue->sync([] {});
  EXPECT_LE(firings, 3);
}

TEST_F(LinuxTaskQueuesTest, LetsManyThreadsCancelTimersThatFire) {
  const auto queue = queues.createSerialQueue("test");
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&] {
      for (int round = 0; round < 200; ++round) {
        const auto fired = std::make_shared<std::atomic<int>>(0);
        const auto timer = queue->createTimer(0.0001, 0.0, [fired] { ++*fired; });
        timer->activate();
        while (round % 4 == 0 && *fired == 0) {
          std::this_thread::yield();
        }
        timer->cancel();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
}

TEST_F(LinuxTaskQueuesTest, GivesTimersTheirTurnBesideTasksThatKeepComing) {
  const auto queue = queues.createSerialQueue("test");
  std::atomic<bool> done = false;
  std::atomic<int> firings = 0;
  const Task again = [&] {
    if (!done) {
      queue->async(again);
    }
  };
  queue->async(again);
  const auto timer = queue->createTimer(0.01, 0.0, [&] { ++firings; });
  timer->activate();
  const double start = now();
  while (firings < 5 && now() - start < 20.0) {
    std::this_thread::sleep_for(1ms);
  }
  EXPECT_GE(firings, 5);
  done = true;
  // The task that was running may have put itself behind the first of these.
  queue->sync([] {});
  queue->sync([] {});
}

TEST_F(LinuxTaskQueuesTest, ServesTheMainLoopUntilTheProcessEnds) {
  const auto serve = [this] {
    queues.mainQueue().async([] { ::_exit(7); });
    queues.runMainLoop();
  };
  EXPECT_EXIT(serve(), testing::ExitedWithCode(7), "");
}

}  // namespace

}  // namespace marrow
