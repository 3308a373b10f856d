// Waits until udev has dealt with every event that it knows of: it keeps a file for as long as
// events are pending (systemd-udevd.service(8), udevadm(8) "settle"). Any thread.
#pragma once

#include <string>

namespace marrow {

class UdevQueue {
 public:
  explicit UdevQueue(const std::string& run);

  // True when nothing is pending, and where no udev listens.
  bool isEmpty() const;

  // Returns as soon as it is empty; waits without a limit.
  void waitUntilEmpty() const;

 private:
  std::string _directory;
};

}  // namespace marrow
