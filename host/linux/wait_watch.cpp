#include "host/linux/wait_watch.h"

#include "host/error_record.h"
#include "host/linux/errno_keeper.h"
#include "host/text_format.h"

#include <pthread.h>
#include <system_error>
#include <utility>

namespace marrow {

namespace {

std::uint64_t secondsSince(std::chrono::steady_clock::time_point begin) {
  const auto passed = std::chrono::steady_clock::now() - begin;
  return static_cast<std::uint64_t>(
      std::chrono::duration_cast<std::chrono::seconds>(passed).count());
}

}  // namespace

WaitWatch::WaitWatch(LogHandle& log, std::chrono::milliseconds lookEvery)
    : _log(log), _lookEvery(lookEvery) {}

WaitWatch::~WaitWatch() {
  {
    const std::lock_guard lock(_mutex);
    _ends = true;
  }
  _ending.notify_all();
  if (_thread.joinable()) {
    _thread.join();
  }
}

std::list<WaitWatch::Entry>::iterator WaitWatch::add(Subject subject) {
  const ErrnoKeeper keeper;
  const std::lock_guard lock(_mutex);
  start();
  return _entries.insert(_entries.end(),
                         {std::move(subject), std::chrono::steady_clock::now(), 0, 2, {}});
}

// Without a thread to be had nobody is told of the wait, which goes on all the same.
void WaitWatch::start() {
  if (_thread.joinable() || _isTold) {
    return;
  }
  try {
    _thread = std::thread([this] { run(); });
  } catch (const std::system_error& error) {
    _isTold = true;
    _log.log(LogLevel::info,
             formatText("Nobody is told of long waits: %s", errorNumberText(error.code().value())));
  }
}

void WaitWatch::remove(std::list<Entry>::iterator entry) {
  const ErrnoKeeper keeper;
  const std::lock_guard lock(_mutex);
  if (!entry->told.empty()) {
    _log.log(LogLevel::standard, formatText("Waited for %s: it took %llu seconds.", entry->told,
                                            secondsSince(entry->since)));
  }
  _entries.erase(entry);
}

void WaitWatch::run() {
  ::pthread_setname_np(::pthread_self(), "wait-watch");
  std::unique_lock lock(_mutex);
  while (!_ending.wait_for(lock, _lookEvery, [this] { return _ends; })) {
    for (Entry& entry : _entries) {
      look(entry);
    }
  }
}

void WaitWatch::look(Entry& entry) {
  if (++entry.looks < entry.tellAt) {
    return;
  }
  entry.tellAt *= 2;
  entry.told = entry.subject();
  _log.log(
      LogLevel::standard,
      formatText("Waiting for %s, for %llu seconds now.", entry.told, secondsSince(entry.since)),
      LogEvent::waitGoesOn);
}

}  // namespace marrow
