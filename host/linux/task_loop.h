// What a task queue's thread does: runs the tasks that were submitted, in order, and the timers
// that are due, one after another.
#pragma once

#include "host/linux/descriptor.h"
#include "host/task_queues.h"

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <poll.h>
#include <thread>
#include <vector>

namespace marrow {

class LoopTimer;

// Any thread, except where it says otherwise. The constructor throws std::system_error when the
// machine has no descriptor left.
class TaskLoop {
 public:
  TaskLoop();
  ~TaskLoop();

  void submit(Task task);
  void submitAndWait(Task task);

  // The timer fires from its activation on until it is removed. The handler is released when the
  // timer is gone and the last firing has ended.
  void add(const std::shared_ptr<LoopTimer>& timer);
  void remove(const LoopTimer& timer);

  // Serves the calling thread until finish() was called and no task is left.
  void run();
  void finish();

 private:
  void wake();
  bool isFinished();
  void listen();
  void serve();
  void runTasks();
  void fire(std::uint64_t key);

  Descriptor _wakeup;  // eventfd(2): something was submitted
  std::mutex _mutex;   // of what follows
  std::deque<Task> _tasks;
  std::map<std::uint64_t, std::shared_ptr<LoopTimer>> _timers;
  bool _finishing = false;
  std::thread::id _thread;  // that serves

  // Of that thread alone: what poll(2) waits for, the wakeup and then the timers of these keys.
  std::vector<pollfd> _awaited;
  std::vector<std::uint64_t> _keys;
};

}  // namespace marrow
