#include "tests/host/in_memory_task_queues.h"

#include <algorithm>
#include <cmath>
#include <deque>
#include <gtest/gtest.h>
#include <limits>
#include <sstream>
#include <utility>

namespace marrow {

struct QueueState {
  std::string label;
  std::deque<Task> tasks;
  bool running = false;
};

struct TimerState {
  std::weak_ptr<QueueState> queue;
  double interval = 0.0;
  Task handler;
  double next = 0.0;
  bool active = false;
  bool submitted = false;
};

namespace {

// Marks what runs, also when it ends by an exception.
class Running {
 public:
  Running(std::mutex& mutex, std::vector<std::string>& labels, const std::string& label)
      : _mutex(mutex), _labels(labels) {
    const std::lock_guard lock(_mutex);
    _labels.push_back(label);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;
  ~Running() {
    const std::lock_guard lock(_mutex);
    _labels.pop_back();
  }

 private:
  std::mutex& _mutex;
  std::vector<std::string>& _labels;
};

class Flag {
 public:
  explicit Flag(bool& flag) : _flag(flag), _before(std::exchange(flag, true)) {}
  Flag(const Flag&) = delete;
  Flag& operator=(const Flag&) = delete;
  ~Flag() { _flag = _before; }

 private:
  bool& _flag;
  const bool _before;
};

std::string secondsText(double seconds) {
  std::ostringstream text;
  text << seconds;
  return text.str();
}

}  // namespace

class InMemoryTimer : public QueueTimer {
 public:
  InMemoryTimer(InMemoryTaskQueues& owner, std::shared_ptr<TimerState> state, std::string label)
      : _owner(owner), _state(std::move(state)), _label(std::move(label)) {}
  ~InMemoryTimer() override { _state->active = false; }

  void activate() override {
    _owner._calls.note("QueueTimer.activate", _label);
    _state->active = true;
    _state->next = _owner._clock.now();
  }

  void cancel() override {
    _owner._calls.note("QueueTimer.cancel", _label);
    _state->active = false;
  }

 private:
  InMemoryTaskQueues& _owner;
  const std::shared_ptr<TimerState> _state;
  const std::string _label;
};

class InMemoryQueue : public SerialTaskQueue {
 public:
  InMemoryQueue(InMemoryTaskQueues& owner, std::shared_ptr<QueueState> state)
      : _owner(owner), _state(std::move(state)) {}

  const std::string& label() const override { return _state->label; }

  void async(Task task) override {
    _owner._calls.note("SerialTaskQueue.async", _state->label);
    _state->tasks.push_back(std::move(task));
  }

  void sync(Task task) override {
    _owner._calls.note("SerialTaskQueue.sync", _state->label);
    _owner.runSynchronously(_state, std::move(task));
  }

  std::unique_ptr<QueueTimer> createTimer(double interval, double leeway, Task handler) override {
    _owner._calls.note("SerialTaskQueue.createTimer",
                       _state->label + " " + secondsText(interval) + " " + secondsText(leeway));
    EXPECT_GT(interval, 0.0) << "a timer without a period";
    auto timer = std::make_shared<TimerState>();
    timer->queue = _state;
    timer->interval = interval;
    timer->handler = std::move(handler);
    _owner._timers.push_back(timer);
    return std::make_unique<InMemoryTimer>(_owner, std::move(timer), _state->label);
  }

 private:
  InMemoryTaskQueues& _owner;
  const std::shared_ptr<QueueState> _state;
};

InMemoryTaskQueues::InMemoryTaskQueues(Calls& calls, InMemoryClock& clock)
    : _calls(calls), _clock(clock) {
  _queues.push_back(std::make_shared<QueueState>());
  _queues.front()->label = "main";
  _main = std::make_unique<InMemoryQueue>(*this, _queues.front());
  _clock.setTimers(this);
}

InMemoryTaskQueues::~InMemoryTaskQueues() { _clock.setTimers(nullptr); }

std::shared_ptr<SerialTaskQueue> InMemoryTaskQueues::createSerialQueue(const std::string& label) {
  _calls.note("TaskQueues.createSerialQueue", label);
  _createdLabels.push_back(label);
  _queues.push_back(std::make_shared<QueueState>());
  _queues.back()->label = label;
  return std::make_shared<InMemoryQueue>(*this, _queues.back());
}

SerialTaskQueue& InMemoryTaskQueues::mainQueue() { return *_main; }

void InMemoryTaskQueues::runMainLoop() {
  _calls.note("TaskQueues.runMainLoop");
  runUntilIdle();
}

void InMemoryTaskQueues::runUntilIdle() {
  do {
    fireDueTimers();
  } while (runOneTask());
}

std::string InMemoryTaskQueues::currentLabel() const {
  const std::lock_guard lock(_mutex);
  return _running.empty() ? "" : _running.back();
}

void InMemoryTaskQueues::runElsewhere(const std::string& label, const Task& task) {
  const Running running(_mutex, _running, label);
  task();
}

std::size_t InMemoryTaskQueues::pendingTasks() const {
  std::size_t count = 0;
  for (const auto& queue : _queues) {
    count += queue->tasks.size();
  }
  return count;
}

std::size_t InMemoryTaskQueues::activeTimers() const {
  return static_cast<std::size_t>(
      std::count_if(_timers.begin(), _timers.end(), [](const std::weak_ptr<TimerState>& timer) {
        const auto state = timer.lock();
        return state && state->active;
      }));
}

void InMemoryTaskQueues::dropEverything() {
  for (const auto& timer : _timers) {
    if (const auto state = timer.lock()) {
      state->active = false;
    }
  }
  for (std::size_t index = 0; index < _queues.size(); ++index) {
    // Dropping a task may release what it held, and that may submit more.
    const auto queue = _queues[index];
    const auto dropped = std::exchange(queue->tasks, {});
  }
}

void InMemoryTaskQueues::runIdleQueues() {
  while (runOneTask()) {
  }
}

bool InMemoryTaskQueues::runOneTask() {
  const auto ready = std::find_if(_queues.begin(), _queues.end(), [](const auto& queue) {
    return !queue->running && !queue->tasks.empty();
  });
  if (ready == _queues.end()) {
    return false;
  }
  runFirstTask(std::shared_ptr(*ready));
  return true;
}

void InMemoryTaskQueues::runFirstTask(const std::shared_ptr<QueueState>& queue) {
  const Task task = std::move(queue->tasks.front());
  queue->tasks.pop_front();
  const Flag runs(queue->running);
  const Running running(_mutex, _running, queue->label);
  task();
}

void InMemoryTaskQueues::runSynchronously(const std::shared_ptr<QueueState>& queue, Task task) {
  if (queue->running) {
    ADD_FAILURE() << "sync on the running queue '" << queue->label << "' would wait for ever";
    return task();
  }
  fireDueTimers();
  bool done = false;
  queue->tasks.push_back([&] {
    task();
    done = true;
  });
  try {
    while (!done) {
      runFirstTask(queue);
    }
  } catch (...) {
    queue->tasks.clear();  // the process is over, and the task above refers to this call
    throw;
  }
}

double InMemoryTaskQueues::nextFiring(double until) {
  double earliest = std::numeric_limits<double>::infinity();
  for (const auto& timer : _timers) {
    const auto state = timer.lock();
    if (state && state->active && state->next <= until) {
      earliest = std::min(earliest, state->next);
    }
  }
  return earliest;
}

void InMemoryTaskQueues::fireDueTimers() {
  std::erase_if(_timers, [](const auto& timer) { return timer.expired(); });
  for (const auto& timer : _timers) {
    const auto state = timer.lock();
    const auto queue = state->queue.lock();
    if (state->active && queue && state->next <= _clock.now()) {
      submit(state, *queue);
    }
  }
}

void InMemoryTaskQueues::submit(const std::shared_ptr<TimerState>& timer, QueueState& queue) {
  const double late = _clock.now() - timer->next;
  timer->next += timer->interval * (std::floor(late / timer->interval) + 1.0);
  if (std::exchange(timer->submitted, true)) {
    return;
  }
  queue.tasks.emplace_back([timer] {
    timer->submitted = false;
    if (timer->active) {
      timer->handler();
    }
  });
}

}  // namespace marrow
