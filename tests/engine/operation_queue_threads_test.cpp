// Reports that come from another thread than the run's, and after it.
#include "tests/engine/queue_test.h"

#include <atomic>
#include <chrono>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace marrow {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class SteadyClock : public Clock {
 public:
  double now() override {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
  }
};

// Timers that fire again and again, without a pause, each on a thread of its own.
class RestlessTaskQueues : public TaskQueues {
 public:
  ~RestlessTaskQueues() override {
    for (std::thread& thread : _threads) {
      thread.join();
    }
  }

  std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) override {
    return std::make_shared<Queue>(*this, label);
  }
  SerialTaskQueue& mainQueue() override { return _main; }
  void runMainLoop() override {}

 private:
  using Cancelled = std::shared_ptr<std::atomic<bool>>;

  class Timer : public QueueTimer {
   public:
    Timer(RestlessTaskQueues& owner, Task handler) : _owner(owner), _handler(std::move(handler)) {}
    ~Timer() override { *_cancelled = true; }
    void activate() override {
      _owner._threads.emplace_back([handler = _handler, cancelled = _cancelled] {
        while (!*cancelled) {
          handler();
        }
      });
    }
    void cancel() override { *_cancelled = true; }

   private:
    RestlessTaskQueues& _owner;
    const Task _handler;
    const Cancelled _cancelled = std::make_shared<std::atomic<bool>>(false);
  };

  class Queue : public SerialTaskQueue {
   public:
    Queue(RestlessTaskQueues& owner, std::string label) : _owner(owner), _label(std::move(label)) {}
    const std::string& label() const override { return _label; }
    void async(Task /*task*/) override { ADD_FAILURE() << "the engine submits no tasks"; }
    void sync(Task /*task*/) override { ADD_FAILURE() << "the engine submits no tasks"; }
    std::unique_ptr<QueueTimer> createTimer(double /*interval*/, double /*leeway*/,
                                            Task handler) override {
      return std::make_unique<Timer>(_owner, std::move(handler));
    }

   private:
    RestlessTaskQueues& _owner;
    const std::string _label;
  };

  std::vector<std::thread> _threads;
  Queue _main{*this, "main"};
};

// Counts the reports, and those that are less than the one before or more than everything.
class MonotoneDelegate : public MWOperationQueueDelegate {
 public:
  void operationQueueReceivedEstimatedTimeRemaining(MWOperationQueue& /*queue*/,
                                                    std::uint64_t secondsRemaining,
                                                    float percentage) override {
    if (percentage < _last || percentage > 1.0F || secondsRemaining > _lastRemaining) {
      ++wrong;
    }
    _last = percentage;
    _lastRemaining = secondsRemaining;
    ++reports;
    reports.notify_all();
  }

  std::atomic<int> reports = 0;
  std::atomic<int> wrong = 0;

 private:
  float _last = 0.0F;  // both on the thread of the timer alone
  std::uint64_t _lastRemaining = 100;
};

// An operation that is done to the last unit before it ends.
class MeasuredOperation : public MWOperation {
 public:
  explicit MeasuredOperation(MonotoneDelegate& delegate) : _delegate(delegate) {}

  std::string className() const override { return "MWMeasuredOperation"; }
  double estimatedExecutionTime() const override { return 25.0; }
  std::shared_ptr<Progress> progress() override { return _progress; }

  // Ends when a report of the whole of it has begun at least.
  bool execute() override {
    _progress->setCompletedUnitCount(1);
    const int before = _delegate.reports;
    _delegate.reports.wait(before);
    return true;
  }

 private:
  MonotoneDelegate& _delegate;
  const std::shared_ptr<Progress> _progress = std::make_shared<Progress>(1);
};

class ReportsOnThreads : public QueueTest {};

TEST_F(ReportsOnThreads, NoReportCountsAnOperationTwice) {
  constexpr int kRuns = 25;
  for (int count = 0; count < kRuns; ++count) {
    const auto receiver = std::make_shared<MonotoneDelegate>();
    SteadyClock clock;
    RestlessTaskQueues queues;
    const auto running = std::make_shared<MWOperationQueue>(
        dataSource, receiver,
        MWOperationQueue::Services{queues, clock, machine.firmware, machine.osVariant,
                                   machine.reboot});
    for (int index = 0; index < 4; ++index) {
      running->addOperation(std::make_shared<MeasuredOperation>(*receiver));
    }
    EXPECT_TRUE(running->startAndReturnError(nullptr));
    EXPECT_EQ(receiver->wrong, 0);
    EXPECT_GE(receiver->reports, 4);
  }
}

TEST_F(ReportsOnThreads, AQueueMayGoWhileItsTimerFires) {
  constexpr int kRuns = 25;
  const auto receiver = std::make_shared<MonotoneDelegate>();
  SteadyClock clock;
  for (int count = 0; count < kRuns; ++count) {
    RestlessTaskQueues queues;
    auto running = std::make_shared<MWOperationQueue>(
        dataSource, receiver,
        MWOperationQueue::Services{queues, clock, machine.firmware, machine.osVariant,
                                   machine.reboot});
    running->addOperation(std::make_shared<MeasuredOperation>(*receiver));
    EXPECT_TRUE(running->startAndReturnError(nullptr));
    running.reset();
  }
}

// Task queues whose timers fire when the test says so, cancelled or not: as a firing that had begun
// when the timer was cancelled.
class LateTaskQueues : public TaskQueues {
 public:
  std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) override {
    return std::make_shared<Queue>(*this, label);
  }
  SerialTaskQueue& mainQueue() override { return _main; }
  void runMainLoop() override {}
  void fire() { _handler(); }

 private:
  class Timer : public QueueTimer {
   public:
    void activate() override {}
    void cancel() override {}
  };

  class Queue : public SerialTaskQueue {
   public:
    Queue(LateTaskQueues& owner, std::string label) : _owner(owner), _label(std::move(label)) {}
    const std::string& label() const override { return _label; }
    void async(Task /*task*/) override { ADD_FAILURE() << "the engine submits no tasks"; }
    void sync(Task /*task*/) override { ADD_FAILURE() << "the engine submits no tasks"; }
    std::unique_ptr<QueueTimer> createTimer(double /*interval*/, double /*leeway*/,
                                            Task handler) override {
      _owner._handler = std::move(handler);
      return std::make_unique<Timer>();
    }

   private:
    LateTaskQueues& _owner;
    const std::string _label;
  };

  Task _handler;
  Queue _main{*this, "main"};
};

class LateReports : public QueueTest {
 protected:
  LateReports() {
    queue = std::make_shared<MWOperationQueue>(
        dataSource, delegate,
        MWOperationQueue::Services{late, machine.clock, machine.firmware, machine.osVariant,
                                   machine.reboot});
  }

  LateTaskQueues late;
};

TEST_F(LateReports, AReportAfterASuccessfulRunIsComplete) {
  add("MWFirst", 10.0);
  add("MWSecond", 20.0);
  run();
  late.fire();
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports.front().fraction, 1.0F);
  EXPECT_EQ(reports.front().secondsRemaining, 0U);
}

TEST_F(LateReports, AReportAfterAFailureCountsTheFailedOperationAsDone) {
  add("MWFirst", 10.0, failSilently);
  add("MWSecond", 30.0);
  run();
  late.fire();
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports.front().fraction, 0.25F);
  EXPECT_EQ(reports.front().secondsRemaining, 0U);
}

TEST_F(LateReports, AReportAfterTheQueueIsGoneIsNotSent) {
  add("MWFirst", 10.0);
  run();
  queue.reset();
  late.fire();
  EXPECT_THAT(reports, IsEmpty());
}

TEST_F(LateReports, ADelegateMayReleaseTheQueue) {
  class Releasing : public MWOperationQueueDelegate {
   public:
    explicit Releasing(std::shared_ptr<MWOperationQueue>& released) : _released(released) {}
    void operationQueueReceivedEstimatedTimeRemaining(MWOperationQueue& reporting, std::uint64_t,
                                                      float) override {
      _released.reset();
      EXPECT_EQ(reporting.queue().size(), 1U);
    }

   private:
    std::shared_ptr<MWOperationQueue>& _released;
  };
  const auto releasing = std::make_shared<Releasing>(queue);
  queue->setDelegate(releasing);
  add("MWFirst", 10.0);
  run();
  const std::weak_ptr<MWOperationQueue> left = queue;
  late.fire();
  EXPECT_TRUE(left.expired());
}

// The moment in which the last operation is done and the run has not ended yet.
class EndingOperation : public MWOperation {
 public:
  EndingOperation(LateTaskQueues& late, double estimate) : _late(late), _estimate(estimate) {}
  std::string className() const override { return "MWEndingOperation"; }
  double estimatedExecutionTime() const override { return _estimate; }
  bool execute() override {
    _late.fire();
    return true;
  }

 private:
  LateTaskQueues& _late;
  const double _estimate;
};

TEST_F(LateReports, WhileAnOperationRunsOnlyThoseBeforeItAreDone) {
  for (const double estimate : {10.0, 30.0, 60.0}) {
    queue->addOperation(std::make_shared<EndingOperation>(late, estimate));
  }
  EXPECT_TRUE(run());
  ASSERT_THAT(reports, SizeIs(3));
  EXPECT_EQ(reports[0].fraction, 0.0F);
  EXPECT_EQ(reports[1].fraction, 0.1F);
  EXPECT_EQ(reports[2].fraction, 0.4F);
}

// Ends the run's last step with a report: the timer's cancellation.
class CancelReportingTaskQueues : public TaskQueues {
 public:
  std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) override {
    return std::make_shared<Queue>(label);
  }
  SerialTaskQueue& mainQueue() override { return _main; }
  void runMainLoop() override {}

 private:
  class Timer : public QueueTimer {
   public:
    explicit Timer(Task handler) : _handler(std::move(handler)) {}
    void activate() override {}
    void cancel() override { _handler(); }

   private:
    const Task _handler;
  };

  class Queue : public SerialTaskQueue {
   public:
    explicit Queue(std::string label) : _label(std::move(label)) {}
    const std::string& label() const override { return _label; }
    void async(Task /*task*/) override {}
    void sync(Task /*task*/) override {}
    std::unique_ptr<QueueTimer> createTimer(double, double, Task handler) override {
      return std::make_unique<Timer>(std::move(handler));
    }

   private:
    const std::string _label;
  };

  Queue _main{"main"};
};

TEST_F(ReportsOnThreads, AReportBetweenTheLastOperationAndTheEndCountsItOnce) {
  CancelReportingTaskQueues queues;
  queue = std::make_shared<MWOperationQueue>(
      dataSource, delegate,
      MWOperationQueue::Services{queues, machine.clock, machine.firmware, machine.osVariant,
                                 machine.reboot});
  add("MWFirst", 10.0, takeTime(10.0));
  add("MWSecond", 30.0, takeTime(30.0));
  run();
  ASSERT_THAT(reports, SizeIs(1));
  EXPECT_EQ(reports.front().fraction, 1.0F);
  EXPECT_EQ(reports.front().secondsRemaining, 0U);
}

}  // namespace
}  // namespace marrow
