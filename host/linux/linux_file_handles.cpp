#include "host/linux/linux_file_handles.h"

#include "host/linux/readiness_thread.h"
#include "host/linux/retry.h"
#include "host/linux/unique_key.h"

#include <algorithm>
#include <array>
#include <condition_variable>
#include <mutex>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// Whether a callback may use its handle: the callback holds it, the handle closes it.
class CallbackGate {
 public:
  bool enter() {
    const std::lock_guard lock(_mutex);
    _inside = !_closed;
    return _inside;
  }
  void leave() {
    const std::lock_guard lock(_mutex);
    _inside = false;
    _left.notify_all();
  }
  void close(bool wait) {
    std::unique_lock lock(_mutex);
    _closed = true;
    if (wait) {
      _left.wait(lock, [this] { return !_inside; });
    }
  }

 private:
  std::mutex _mutex;
  std::condition_variable _left;
  bool _inside = false;  // under _mutex, as _closed
  bool _closed = false;
};

class Handle final : public FileHandle {
 public:
  Handle(ReadinessThread& thread, int descriptor, std::size_t mostAtOnce)
      : _thread(thread), _descriptor(descriptor), _mostAtOnce(mostAtOnce) {}

  // On the service's thread a running callback can only be the one that releases the handle.
  ~Handle() override {
    Handle::setReadabilityHandler(nullptr);
    _gate->close(!_thread.isCurrentThread());
  }

  std::string availableData() override;
  void setReadabilityHandler(ReadabilityHandler handler) override;

 private:
  // Appends one read. False when there is nothing more now.
  bool readOnce(std::string& data) const;

  ReadinessThread& _thread;
  const Descriptor _descriptor;
  const std::size_t _mostAtOnce;
  const std::shared_ptr<CallbackGate> _gate = std::make_shared<CallbackGate>();
  std::mutex _mutex;
  std::uint64_t _key = 0;  // under _mutex; 0 while nothing is watched
};

bool Handle::readOnce(std::string& data) const {
  std::array<char, 16384> buffer;  // NOLINT(cppcoreguidelines-pro-type-member-init)
  const std::size_t wanted = std::min(buffer.size(), _mostAtOnce - data.size());
  const ssize_t count =
      retryInterrupted([&] { return ::read(_descriptor.number(), buffer.data(), wanted); });
  if (count > 0) {
    data.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return count > 0;
}

// Reading until nothing is left is what has the kernel report the next data.
std::string Handle::availableData() {
  std::string data;
  while (data.size() < _mostAtOnce) {
    if (!readOnce(data)) {
      return data;
    }
  }
  const std::lock_guard lock(_mutex);
  _thread.reportAgain(_key, _descriptor.number());
  return data;
}

void Handle::setReadabilityHandler(ReadabilityHandler handler) {
  const std::lock_guard lock(_mutex);
  if (_key != 0) {
    _thread.unwatch(_key, _descriptor.number());
    _key = 0;
  }
  if (!handler) {
    return;
  }
  _key = uniqueKey();
  _thread.watch(_key, _descriptor.number(), [this, gate = _gate, run = std::move(handler)] {
    if (gate->enter()) {
      run(*this);
      gate->leave();
    }
  });
}

}  // namespace

LinuxFileHandles::LinuxFileHandles(LogHandle& log, std::size_t mostAtOnce)
    : _mostAtOnce(mostAtOnce), _thread(std::make_unique<ReadinessThread>(log)) {}

LinuxFileHandles::~LinuxFileHandles() = default;

std::shared_ptr<FileHandle> LinuxFileHandles::createHandle(int descriptor) {
  return std::make_shared<Handle>(*_thread, descriptor, _mostAtOnce);
}

}  // namespace marrow
