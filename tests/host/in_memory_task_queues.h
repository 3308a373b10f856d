// Task queues without threads: tasks run when the test, or something that waits, lets them run. One
// thread alone may use them.
#pragma once

#include "host/task_queues.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_clock.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace marrow {

class InMemoryQueue;
struct QueueState;
struct TimerState;

class InMemoryTaskQueues : public TaskQueues, private InMemoryClock::Timers {
 public:
  InMemoryTaskQueues(Calls& calls, InMemoryClock& clock);
  ~InMemoryTaskQueues() override;

  // A queue's `sync` runs inline what was submitted before, then the task; on a queue that is
  // running it fails the test (on a real machine it would never return). A timer's first firing is
  // due when it is activated, and takes place at the next moment at which anything can run:
  // clock.advance (also by 0), runUntilIdle, a sync of its queue. The later ones follow at whole
  // intervals after that.
  std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) override;
  SerialTaskQueue& mainQueue() override;

  // Runs until idle, then returns.
  void runMainLoop() override;

  // Runs what was submitted to any queue, and what that submits, until nothing is left. The time
  // stands still, so a timer fires only where it is due now.
  void runUntilIdle();

  // The label of the queue that is running (the innermost), "main" for the main queue, empty when
  // none is.
  std::string currentLabel() const;

  // Something that runs on a thread of its own, outside of all queues, for currentLabel.
  void runElsewhere(const std::string& label, const Task& task);

  // The labels of the queues that were created, in order.
  std::vector<std::string> createdLabels() const { return _createdLabels; }

  // How many tasks are waiting, on all queues.
  std::size_t pendingTasks() const;

  // How many timers are active.
  std::size_t activeTimers() const;

  // Forgets every task and timer, as the end of the process does.
  void dropEverything();

 private:
  friend class InMemoryQueue;
  friend class InMemoryTimer;

  void runIdleQueues() override;
  double nextFiring(double until) override;
  void fireDueTimers() override;
  bool runOneTask();
  void runFirstTask(const std::shared_ptr<QueueState>& queue);
  void runSynchronously(const std::shared_ptr<QueueState>& queue, Task task);
  void submit(const std::shared_ptr<TimerState>& timer, QueueState& queue);

  Calls& _calls;
  InMemoryClock& _clock;
  std::vector<std::shared_ptr<QueueState>> _queues;
  std::vector<std::weak_ptr<TimerState>> _timers;
  std::unique_ptr<InMemoryQueue> _main;
  mutable std::mutex _mutex;  // guards _running, which the journal reads on any thread
  std::vector<std::string> _running;
  std::vector<std::string> _createdLabels;
};

}  // namespace marrow
