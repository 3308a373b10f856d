#include "host/linux/device_events.h"

#include "host/error_record.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

constexpr int kNoLimit = -1;
constexpr int kFirstPause = 1;       // milliseconds
constexpr int kLongestPause = 1000;  // milliseconds

}  // namespace

DeviceEvents::DeviceEvents(const std::string& procfs, LogHandle& log)
    : _mountTable(procfs + "/self/mountinfo"), _log(log) {}

DeviceEvents::~DeviceEvents() { stop(); }

void DeviceEvents::open() {
  _wake = Descriptor(::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  if (!_wake) {
    _log.log(LogLevel::error, "Devices are not watched: " + errorNumberText(errno));
  }
  if (!_kernelEvents.open()) {
    _log.log(LogLevel::error,
             "Devices that appear later will not be seen: " + errorNumberText(errno));
  }
  _mounts = Descriptor(::open(_mountTable.c_str(), O_RDONLY | O_CLOEXEC));
  if (!_mounts) {
    _log.log(LogLevel::error, "Changes of the mount table will not be seen: " + _mountTable + ": " +
                                  errorNumberText(errno));
  }
}

void DeviceEvents::start(Listener listener) {
  _listener = std::move(listener);
  if (!_wake) {
    return;
  }
  _ending = false;
  _thread = std::thread([this] { run(); });
  ::pthread_setname_np(_thread.native_handle(), "marrow-devices");
}

void DeviceEvents::stop() {
  if (_thread.joinable()) {
    _ending = true;
    lookAgain();
    _thread.join();
  }
  _kernelEvents = KernelEvents();
  _mounts.reset();
}

void DeviceEvents::lookAgain() const { ::eventfd_write(_wake.number(), 1); }

// A device that leaves the mount table is free only when its file system has been closed, and no
// event tells of that; neither does one tell of an unmount in another namespace. Only for as long
// as such a device is waited for does the thread wake up by itself.
void DeviceEvents::run() {
  int pause = kFirstPause;
  bool again = _listener.lookAgain();
  bool changed = false;
  while (wait(again ? pause : kNoLimit, changed)) {
    pause = changed ? kFirstPause : std::min(pause * 2, kLongestPause);
    again = _listener.lookAgain();
  }
}

// False when the thread is to end. `changed` is false when only time has passed.
bool DeviceEvents::wait(int milliseconds, bool& changed) {
  // The mount table reports a change as an exceptional condition (proc(5)).
  std::array<pollfd, 4> events = {
      pollfd{_wake.number(), POLLIN, 0}, pollfd{_kernelEvents.descriptor(), POLLIN, 0},
      pollfd{_mounts.number(), POLLPRI, 0}, pollfd{_listener.reports, POLLIN, 0}};
  if (::poll(events.data(), events.size(), milliseconds) < 0) {
    return errno == EINTR;
  }
  eventfd_t asked = 0;
  const bool isAsked = events[0].revents != 0 && ::eventfd_read(_wake.number(), &asked) == 0;
  const bool devices = events[1].revents != 0 && tellOfDevices();
  changed = isAsked || devices || events[2].revents != 0;
  if (events[3].revents != 0) {
    _listener.readReports();
  }
  return !_ending;
}

bool DeviceEvents::tellOfDevices() {
  bool any = false;
  while (const auto event = _kernelEvents.next()) {
    _listener.deviceChanged(*event);
    any = true;
  }
  return any;
}

}  // namespace marrow
