#include "host/linux/linux_task_queues.h"

#include "host/linux/loop_timer.h"

#include <condition_variable>
#include <pthread.h>
#include <utility>

namespace marrow {

// Counts the threads of queues: none is joined, since a queue may be released on its own thread.
class QueueThreads {
 public:
  void begin() {
    const std::lock_guard lock(_mutex);
    ++_running;
  }
  void end() {
    const std::lock_guard lock(_mutex);
    --_running;
    _ended.notify_all();
  }
  void waitUntilAllEnded() {
    std::unique_lock lock(_mutex);
    _ended.wait(lock, [this] { return _running == 0; });
  }

 private:
  std::mutex _mutex;
  std::condition_variable _ended;
  int _running = 0;  // under _mutex
};

namespace {

class Timer final : public QueueTimer {
 public:
  Timer(std::shared_ptr<TaskLoop> loop, double interval, Task handler)
      : _loop(std::move(loop)), _timer(std::make_shared<LoopTimer>(interval, std::move(handler))) {
    _loop->add(_timer);
  }
  ~Timer() override { Timer::cancel(); }

  void activate() override { _timer->activate(); }
  void cancel() override {
    _timer->cancel();
    _loop->remove(*_timer);
  }

 private:
  const std::shared_ptr<TaskLoop> _loop;
  const std::shared_ptr<LoopTimer> _timer;
};

std::string threadName(const std::string& label) {
  constexpr std::size_t kLongestName = 15;  // pthread_setname_np(3)
  return label.substr(0, kLongestName);
}

}  // namespace

class LinuxTaskQueues::Queue final : public SerialTaskQueue {
 public:
  explicit Queue(std::string label)
      : _label(std::move(label)), _loop(std::make_shared<TaskLoop>()) {}
  ~Queue() override { _loop->finish(); }

  // A thread inherits the scheduling of the one that makes it (pthread_attr_setinheritsched(3)).
  void startThread(const std::shared_ptr<QueueThreads>& threads) {
    threads->begin();
    try {
      std::thread([loop = _loop, name = threadName(_label), threads]() mutable {
        ::pthread_setname_np(::pthread_self(), name.c_str());
        loop->run();
        loop.reset();
        threads->end();
      }).detach();
    } catch (...) {
      threads->end();
      throw;
    }
  }

  void run() { _loop->run(); }

  const std::string& label() const override { return _label; }
  void async(Task task) override { _loop->submit(std::move(task)); }
  void sync(Task task) override { _loop->submitAndWait(std::move(task)); }

  // Firings are never put off, whatever the leeway.
  std::unique_ptr<QueueTimer> createTimer(double interval, double /*leeway*/,
                                          Task handler) override {
    return std::make_unique<Timer>(_loop, interval, std::move(handler));
  }

 private:
  const std::string _label;
  const std::shared_ptr<TaskLoop> _loop;
};

LinuxTaskQueues::LinuxTaskQueues() : _threads(std::make_shared<QueueThreads>()) {}

LinuxTaskQueues::~LinuxTaskQueues() { _threads->waitUntilAllEnded(); }

std::shared_ptr<SerialTaskQueue> LinuxTaskQueues::createSerialQueue(const std::string& label) {
  auto queue = std::make_shared<Queue>(label);
  queue->startThread(_threads);
  return queue;
}

SerialTaskQueue& LinuxTaskQueues::mainQueue() { return mainLoopQueue(); }

void LinuxTaskQueues::runMainLoop() {
  for (;;) {
    mainLoopQueue().run();
  }
}

LinuxTaskQueues::Queue& LinuxTaskQueues::mainLoopQueue() {
  std::call_once(_mainMade, [this] { _main = std::make_unique<Queue>("main"); });
  return *_main;
}

}  // namespace marrow
