// A thread that sleeps until block devices come or go, a mount of this namespace is made or undone,
// or something else has a report about them, and tells of it.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/kernel_events.h"
#include "host/log.h"

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace marrow {

class DeviceEvents {
 public:
  // Each is called on the thread.
  struct Listener {
    std::function<void(const BlockDeviceEvent&)> deviceChanged;

    // At the start, after a change of devices or mounts, when it is asked for, and again, after
    // pauses that grow from a millisecond to a second, for as long as it returns true.
    std::function<bool()> lookAgain;

    // When this descriptor of the caller's can be read; none is -1.
    int reports = -1;
    std::function<void()> readReports{};
  };

  DeviceEvents(const std::string& procfs, LogHandle& log);
  ~DeviceEvents();
  DeviceEvents(const DeviceEvents&) = delete;
  DeviceEvents& operator=(const DeviceEvents&) = delete;

  // Collects events from here on; they are told of once the thread runs. What is missing is logged.
  void open();
  void start(Listener listener);

  // Has the listener look again. Any thread, between open() and stop().
  void lookAgain() const;

  // Returns when no call of the listener is running and none will come. Not on the thread itself.
  void stop();

 private:
  void run();
  bool wait(int milliseconds, bool& changed);
  bool tellOfDevices();

  std::string _mountTable;
  LogHandle& _log;
  Listener _listener;
  KernelEvents _kernelEvents;
  Descriptor _mounts;
  Descriptor _wake;
  std::atomic<bool> _ending = false;
  std::thread _thread;
};

}  // namespace marrow
