// Serial task queues, each with a thread of its own, and the main thread's queue. Tasks of a queue
// run one after another, in the order in which they were submitted.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace marrow {

using Task = std::function<void()>;

// A repeating timer. Its handler runs on the queue that made it. Destroying it cancels it.
class QueueTimer {
 public:
  virtual ~QueueTimer() = default;

  // Starts the timer; the first firing is due at once.
  virtual void activate() = 0;

  // No further firing begins; one that runs on the queue already is not waited for. May be called
  // from any thread, and again.
  virtual void cancel() = 0;
};

// Any thread may submit. A queue that is released still runs what was submitted, then ends.
class SerialTaskQueue {
 public:
  virtual ~SerialTaskQueue() = default;

  virtual const std::string& label() const = 0;

  // Returns at once.
  virtual void async(Task task) = 0;

  // Returns when the task has run. Never call it on the queue itself.
  virtual void sync(Task task) = 0;

  // A timer that fires every `interval` seconds of the monotonic clock, each firing at most
  // `leeway` seconds late on purpose. Firings that are missed are not made up for.
  virtual std::unique_ptr<QueueTimer> createTimer(double interval, double leeway, Task handler) = 0;
};

class TaskQueues {
 public:
  virtual ~TaskQueues() = default;

  // A new queue whose thread has the scheduling of the calling one.
  virtual std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) = 0;

  // The queue that the main loop serves.
  virtual SerialTaskQueue& mainQueue() = 0;

  // Serves the main queue on the calling thread, which must be the main one. On a real machine it
  // does not return.
  virtual void runMainLoop() = 0;
};

}  // namespace marrow
