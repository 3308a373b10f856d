// Task queues of one thread each, which serves the queue's tasks and its timers.
#pragma once

#include "host/linux/task_loop.h"
#include "host/task_queues.h"

#include <memory>
#include <mutex>
#include <string>

namespace marrow {

class QueueThreads;

// Creating a queue or a timer throws std::system_error when the machine has no thread or descriptor
// left. Calling sync on the queue's own thread throws std::logic_error, for it would never return.
class LinuxTaskQueues final : public TaskQueues {
 public:
  LinuxTaskQueues();

  // Waits until every queue has ended: none may be held any more.
  ~LinuxTaskQueues() override;

  // The thread is named after the first 15 bytes of the label (pthread_setname_np(3)).
  std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) override;
  SerialTaskQueue& mainQueue() override;
  [[noreturn]] void runMainLoop() override;

 private:
  class Queue;

  Queue& mainLoopQueue();

  const std::shared_ptr<QueueThreads> _threads;
  std::once_flag _mainMade;
  std::unique_ptr<Queue> _main;
};

}  // namespace marrow
