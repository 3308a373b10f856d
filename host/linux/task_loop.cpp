#include "host/linux/task_loop.h"

#include "host/linux/loop_timer.h"
#include "host/linux/retry.h"

#include <cerrno>
#include <future>
#include <stdexcept>
#include <sys/eventfd.h>
#include <system_error>
#include <utility>

namespace marrow {

namespace {

Descriptor required(int descriptor, const char* call) {
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
  return Descriptor(descriptor);
}

pollfd readable(int descriptor) { return {descriptor, POLLIN, 0}; }

}  // namespace

TaskLoop::TaskLoop() : _wakeup(required(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {}

TaskLoop::~TaskLoop() = default;

void TaskLoop::submit(Task task) {
  const std::lock_guard lock(_mutex);
  _tasks.push_back(std::move(task));
  if (_tasks.size() == 1) {
    wake();
  }
}

void TaskLoop::submitAndWait(Task task) {
  {
    const std::lock_guard lock(_mutex);
    if (_thread == std::this_thread::get_id()) {
      throw std::logic_error("a task waits for its own queue");
    }
  }
  // Shared, so that it outlives the call that wakes this thread.
  const auto done = std::make_shared<std::promise<void>>();
  std::future<void> ran = done->get_future();
  submit([&task, done] {
    task();
    done->set_value();
  });
  ran.wait();
}

void TaskLoop::add(const std::shared_ptr<LoopTimer>& timer) {
  const std::lock_guard lock(_mutex);
  _timers.emplace(timer->key(), timer);
  wake();
}

void TaskLoop::remove(const LoopTimer& timer) {
  std::shared_ptr<LoopTimer> removed;  // its handler is released without the lock
  const std::lock_guard lock(_mutex);
  const auto found = _timers.find(timer.key());
  if (found != _timers.end()) {
    removed = std::move(found->second);
    _timers.erase(found);
  }
}

void TaskLoop::run() {
  {
    const std::lock_guard lock(_mutex);
    _thread = std::this_thread::get_id();
  }
  do {
    listen();
    retryInterrupted([&] { return ::poll(_awaited.data(), _awaited.size(), -1); });
    serve();
  } while (!isFinished());
}

// A timer that is removed meanwhile may still wake this thread, and is not found then.
void TaskLoop::listen() {
  const std::lock_guard lock(_mutex);
  _awaited.assign({readable(_wakeup.number())});
  _keys.clear();
  for (const auto& [key, timer] : _timers) {
    _awaited.push_back(readable(timer->descriptor()));
    _keys.push_back(key);
  }
}

bool TaskLoop::isFinished() {
  const std::lock_guard lock(_mutex);
  return _finishing && _tasks.empty();
}

void TaskLoop::finish() {
  const std::lock_guard lock(_mutex);
  _finishing = true;
  wake();
}

// Under _mutex. The counter of an eventfd cannot come near its limit: it is read before each task.
void TaskLoop::wake() {
  const std::uint64_t one = 1;
  retryInterrupted([&] { return ::write(_wakeup.number(), &one, sizeof(one)); });
}

void TaskLoop::serve() {
  if (_awaited.front().revents != 0) {
    runTasks();
  }
  for (std::size_t index = 0; index < _keys.size(); ++index) {
    if (_awaited[index + 1].revents != 0) {
      fire(_keys[index]);
    }
  }
}

// Those that are there now: what they submit themselves comes after the timers that are due.
void TaskLoop::runTasks() {
  std::uint64_t count = 0;
  retryInterrupted([&] { return ::read(_wakeup.number(), &count, sizeof(count)); });
  std::deque<Task> tasks;
  {
    const std::lock_guard lock(_mutex);
    tasks.swap(_tasks);
  }
  while (!tasks.empty()) {
    tasks.front()();
    tasks.pop_front();
  }
}

void TaskLoop::fire(std::uint64_t key) {
  std::shared_ptr<LoopTimer> timer;
  {
    const std::lock_guard lock(_mutex);
    const auto found = _timers.find(key);
    timer = found == _timers.end() ? nullptr : found->second;
  }
  if (timer) {
    timer->fireIfDue();
  }
}

}  // namespace marrow
