#include "host/linux/readiness_thread.h"

#include "host/error_record.h"
#include "host/linux/retry.h"
#include "host/text_format.h"

#include <array>
#include <cerrno>
#include <pthread.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <utility>

namespace marrow {

namespace {

constexpr std::uint64_t kStopKey = 0;  // handles have keys above it
constexpr int kFilesAtOnce = 16;
constexpr std::size_t kNameLimit = 15;  // pthread_setname_np(3)

epoll_event interestIn(std::uint64_t key, std::uint32_t events) {
  epoll_event event{};
  event.events = events;
  event.data.u64 = key;
  return event;
}

}  // namespace

ReadinessThread::~ReadinessThread() {
  if (_thread.joinable()) {
    const std::uint64_t one = 1;
    retryInterrupted([&] { return ::write(_stop.number(), &one, sizeof(one)); });
    _thread.join();
  }
}

void ReadinessThread::watch(std::uint64_t key, int descriptor, Callback callback) {
  const std::lock_guard lock(_mutex);
  epoll_event interest = interestIn(key, EPOLLIN | EPOLLET);
  if (!ensureRunning() ||
      ::epoll_ctl(_events.number(), EPOLL_CTL_ADD, descriptor, &interest) != 0) {
    _log.log(LogLevel::error,
             formatText("A descriptor cannot be watched for data: %s", errorNumberText(errno)));
    return;
  }
  _callbacks[key] = std::make_shared<const Callback>(std::move(callback));
}

// Changing the interest has the kernel look anew at what is there (epoll_ctl(2)).
void ReadinessThread::reportAgain(std::uint64_t key, int descriptor) {
  const std::lock_guard lock(_mutex);
  epoll_event interest = interestIn(key, EPOLLIN | EPOLLET);
  if (_callbacks.contains(key)) {
    ::epoll_ctl(_events.number(), EPOLL_CTL_MOD, descriptor, &interest);
  }
}

void ReadinessThread::unwatch(std::uint64_t key, int descriptor) {
  std::shared_ptr<const Callback> removed;  // released without the lock
  const std::lock_guard lock(_mutex);
  const auto found = _callbacks.find(key);
  if (found != _callbacks.end()) {
    ::epoll_ctl(_events.number(), EPOLL_CTL_DEL, descriptor, nullptr);
    removed = std::move(found->second);
    _callbacks.erase(found);
  }
}

bool ReadinessThread::isCurrentThread() const {
  const std::lock_guard lock(_mutex);
  return _thread.get_id() == std::this_thread::get_id();
}

// Under _mutex.
bool ReadinessThread::ensureRunning() {
  if (_thread.joinable()) {
    return true;
  }
  _events = Descriptor(::epoll_create1(EPOLL_CLOEXEC));
  _stop = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  epoll_event interest = interestIn(kStopKey, EPOLLIN);
  if (!_events || !_stop ||
      ::epoll_ctl(_events.number(), EPOLL_CTL_ADD, _stop.number(), &interest) != 0) {
    return false;
  }
  _thread = std::thread([this, events = _events.number()] { run(events); });
  return true;
}

void ReadinessThread::run(int events) {
  ::pthread_setname_np(::pthread_self(), _name.substr(0, kNameLimit).c_str());
  std::array<epoll_event, kFilesAtOnce> ready{};
  for (;;) {
    const int count =
        retryInterrupted([&] { return ::epoll_wait(events, ready.data(), kFilesAtOnce, -1); });
    for (int index = 0; index < count; ++index) {
      const epoll_event& event = ready[static_cast<std::size_t>(index)];
      if (event.data.u64 == kStopKey) {
        return;
      }
      serve(event.data.u64, event.events);
    }
  }
}

// A hang-up without data is a FIFO that its last writer has left: there is nothing to read.
void ReadinessThread::serve(std::uint64_t key, std::uint32_t events) {
  if ((events & EPOLLIN) == 0) {
    return;
  }
  std::shared_ptr<const Callback> callback;
  {
    const std::lock_guard lock(_mutex);
    const auto found = _callbacks.find(key);
    callback = found == _callbacks.end() ? nullptr : found->second;
  }
  if (callback) {
    (*callback)();
  }
}

}  // namespace marrow
