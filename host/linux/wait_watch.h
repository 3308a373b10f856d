// Tells the log of waits that have no limit: what is waited for, again and again, so that whoever
// looks can see to it.
#pragma once

#include "host/log.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace marrow {

// Any thread. Its own thread starts with the first wait and looks at them every so often; a wait
// itself costs no call of the system.
class WaitWatch {
 public:
  // What is waited for, as "udev (/run/udev/queue)". Asked on the watch's thread, as long as the
  // wait goes on; must not itself wait.
  using Subject = std::function<std::string()>;

  static constexpr std::chrono::milliseconds kLookEvery{10'000};

  // The log outlives this object.
  explicit WaitWatch(LogHandle& log, std::chrono::milliseconds lookEvery = kLookEvery);
  WaitWatch(const WaitWatch&) = delete;
  WaitWatch& operator=(const WaitWatch&) = delete;
  ~WaitWatch();

  // A wait that goes on while this lives. The watch tells of it once it was seen twice, after twice
  // as many looks, and so on; and that it is over, if it was told of. Leaves errno as it was.
  class Wait;

 private:
  struct Entry {
    Subject subject;
    std::chrono::steady_clock::time_point since;
    std::uint64_t looks = 0;
    std::uint64_t tellAt = 2;  // looks
    std::string told;          // the subject that the log was last told of
  };

  std::list<Entry>::iterator add(Subject subject);
  void start();
  void remove(std::list<Entry>::iterator entry);
  void run();
  void look(Entry& entry);

  LogHandle& _log;
  const std::chrono::milliseconds _lookEvery;
  std::mutex _mutex;
  std::condition_variable _ending;
  std::list<Entry> _entries;  // under _mutex, as what follows
  bool _ends = false;
  bool _isTold = false;  // that there is no thread
  std::thread _thread;
};

class WaitWatch::Wait {
 public:
  Wait(WaitWatch& watch, Subject subject) : _watch(watch), _entry(watch.add(std::move(subject))) {}
  Wait(const Wait&) = delete;
  Wait& operator=(const Wait&) = delete;
  ~Wait() { _watch.remove(_entry); }

 private:
  WaitWatch& _watch;
  const std::list<Entry>::iterator _entry;
};

}  // namespace marrow
