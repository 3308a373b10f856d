// Waits until udev has dealt with every event that it knows of: it keeps a file for as long as
// events are pending (systemd-udevd.service(8), udevadm(8) "settle"). Where udev was killed the
// file stays behind, and so does its socket: what counts is whether somebody listens there. Any
// thread.
#pragma once

#include "host/linux/wait_watch.h"

#include <string>

namespace marrow {

class UdevQueue {
 public:
  // The watch is told of the waits.
  UdevQueue(const std::string& run, const std::string& procfs, WaitWatch& waits);

  // True when nothing is pending, and where no udev listens.
  bool isEmpty() const;

  // Returns as soon as it is empty, at most a second after udev was killed; waits without a limit.
  void waitUntilEmpty() const;

 private:
  bool isListening() const;

  std::string _directory;
  std::string _sockets;
  WaitWatch& _waits;
};

}  // namespace marrow
