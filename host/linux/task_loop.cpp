#include "host/linux/task_loop.h"

#include "host/linux/loop_timer.h"
#include "host/linux/retry.h"

#include <array>
#include <cerrno>
#include <future>
#include <stdexcept>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <system_error>
#include <utility>

namespace marrow {

namespace {

constexpr std::uint64_t kWakeupKey = 0;  // timers have keys above it
constexpr int kEventsAtOnce = 16;

Descriptor required(int descriptor, const char* call) {
  if (descriptor < 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
  return Descriptor(descriptor);
}

void require(int result, const char* call) {
  if (result != 0) {
    throw std::system_error(errno, std::generic_category(), call);
  }
}

int watchDescriptor(int events, int descriptor, std::uint64_t key) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.u64 = key;
  return ::epoll_ctl(events, EPOLL_CTL_ADD, descriptor, &event);
}

}  // namespace

TaskLoop::TaskLoop()
    : _events(required(::epoll_create1(EPOLL_CLOEXEC), "epoll_create1")),
      _wakeup(required(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK), "eventfd")) {
  require(watchDescriptor(_events.number(), _wakeup.number(), kWakeupKey), "epoll_ctl");
}

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
  require(watchDescriptor(_events.number(), timer->descriptor(), timer->key()), "epoll_ctl");
  _timers.emplace(timer->key(), timer);
}

void TaskLoop::remove(const LoopTimer& timer) {
  std::shared_ptr<LoopTimer> removed;  // its handler is released without the lock
  const std::lock_guard lock(_mutex);
  const auto found = _timers.find(timer.key());
  if (found != _timers.end()) {
    ::epoll_ctl(_events.number(), EPOLL_CTL_DEL, timer.descriptor(), nullptr);
    removed = std::move(found->second);
    _timers.erase(found);
  }
}

void TaskLoop::run() {
  {
    const std::lock_guard lock(_mutex);
    _thread = std::this_thread::get_id();
  }
  std::array<epoll_event, kEventsAtOnce> events{};
  do {
    const int count = retryInterrupted(
        [&] { return ::epoll_wait(_events.number(), events.data(), kEventsAtOnce, -1); });
    for (int index = 0; index < count; ++index) {
      serve(events[static_cast<std::size_t>(index)].data.u64);
    }
  } while (!isFinished());
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

void TaskLoop::serve(std::uint64_t key) {
  if (key == kWakeupKey) {
    runTasks();
  } else {
    fire(key);
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
