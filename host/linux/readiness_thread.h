// The one thread that waits for descriptors to become readable.
#pragma once

#include "host/linux/descriptor.h"
#include "host/log.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

namespace marrow {

// Any thread. Each watched descriptor has a key of the caller's, never used twice.
class ReadinessThread {
 public:
  using Callback = std::function<void()>;

  // The thread has this name, cut to 15 bytes by the kernel.
  explicit ReadinessThread(LogHandle& log, std::string name = "file-handles")
      : _log(log), _name(std::move(name)) {}
  ~ReadinessThread();

  // Runs the callback on the thread whenever something new can be read. Starts the thread when it
  // does not run yet.
  void watch(std::uint64_t key, int descriptor, Callback callback);

  // Reports once more what is still there to be read.
  void reportAgain(std::uint64_t key, int descriptor);

  // No further callback begins.
  void unwatch(std::uint64_t key, int descriptor);

  bool isCurrentThread() const;

 private:
  bool ensureRunning();
  void run(int events);
  void serve(std::uint64_t key, std::uint32_t events);

  LogHandle& _log;
  const std::string _name;
  mutable std::mutex _mutex;  // of what follows
  std::map<std::uint64_t, std::shared_ptr<const Callback>> _callbacks;
  Descriptor _events;  // epoll(7)
  Descriptor _stop;    // eventfd(2)
  std::thread _thread;
};

}  // namespace marrow
