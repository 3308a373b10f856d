#include "host/linux/removal_helper.h"

#include <system_error>
#include <utility>

namespace marrow {

RemovalHelper::~RemovalHelper() {
  if (_thread.joinable()) {
    {
      const std::lock_guard lock(_mutex);
      _ending = true;
    }
    _changed.notify_all();
    _thread.join();
  }
}

bool RemovalHelper::share(std::shared_ptr<Descriptor> folder, std::shared_ptr<SharedNames> names) {
  {
    const std::lock_guard lock(_mutex);
    if (_busy || !start()) {
      return false;
    }
    _folder = std::move(folder);
    _names = std::move(names);
    _busy = true;
  }
  _changed.notify_all();
  return true;
}

int RemovalHelper::wait() {
  std::unique_lock lock(_mutex);
  _changed.wait(lock, [this] { return !_busy; });
  return std::exchange(_error, 0);
}

bool RemovalHelper::start() {
  if (_thread.joinable()) {
    return true;
  }
  try {
    _thread = std::thread([this] { run(); });
  } catch (const std::system_error&) {
    return false;
  }
  return true;
}

void RemovalHelper::run() {
  std::unique_lock lock(_mutex);
  while (true) {
    _changed.wait(lock, [this] { return _busy || _ending; });
    if (!_busy) {
      return;
    }
    lock.unlock();
    const int error = removeShared();
    _folder.reset();
    _names.reset();
    lock.lock();
    _error = _error == 0 ? error : _error;
    _busy = false;
    _changed.notify_all();
  }
}

int RemovalHelper::removeShared() const {
  int first = 0;
  while (const auto name = _names->take()) {
    const int error = _remove(_folder->number(), *name);
    first = first == 0 ? error : first;
  }
  return first;
}

}  // namespace marrow
