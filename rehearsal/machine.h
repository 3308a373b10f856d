// A machine: namespaces of its own (processes, mounts, host name, network, message queues) in which
// marrowd runs as a service under a first process, until it reboots them.
#pragma once

#include "rehearsal/descriptor.h"
#include "rehearsal/machine_mounts.h"

#include <filesystem>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow::rehearsal {

struct MachineSettings {
  MachineView view;
  // Takes what the daemon writes to its standard output and standard error.
  std::filesystem::path output;
  // reboot(2) fails inside with EPERM.
  bool refuseReboot = false;
  // Run in the daemon's process before the daemon becomes its program, the machine being complete:
  // where a tracer takes it.
  std::function<void()> beforeDaemon{};
  // "NAME=VALUE": what the daemon finds beside PATH.
  std::vector<std::string> environment{};
};

// How a machine came to its end. The kernel ends the first process of a process namespace with
// SIGHUP when somebody inside asks for a restart, with SIGINT for a halt (reboot(2)).
struct MachineEnd {
  enum class Kind { kReboot, kHalt, kDied, kDaemonEnded };
  Kind kind = Kind::kDied;
  // Exit status of the daemon, 128 and the number when a signal ended it; of use with kDaemonEnded.
  int status = 0;

  std::string describe() const;
};

class Machine {
 public:
  // Starts it; it dies with this process. Throws Problem when it cannot be put together.
  explicit Machine(const MachineSettings& settings);

  // Ends it and everything in it.
  ~Machine();
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  // Its first process, seen from here.
  pid_t process() const { return _process; }

  // Readable when it has come to its end.
  int descriptor() const { return _first.number(); }

  // Stops it dead: nothing in it gets the chance to finish anything.
  void kill() const;

  // As a loss of power would: the file systems on that disk forget what has not reached it.
  // Returns false where a file system cannot do that; the processes are dead all the same.
  bool cutPower(const std::string& diskName) const;

  // Waits for the end; to be called once.
  MachineEnd wait();

 private:
  Descriptor _first;
  pid_t _process = -1;
};

}  // namespace marrow::rehearsal
