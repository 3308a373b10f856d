// A real system bus and a real logind of a test's own, in mounts of their own.
#pragma once

#include "tests/linux/firmware/started_program.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

class LogindMachine {
 public:
  LogindMachine();

  std::string bus() const { return _folder.path("bus"); }

  // `rules` are more elements of the bus' policy (dbus-daemon(1)).
  void startBus(const std::string& rules = {});
  void startLogind();

  // The programs, once started.
  StartedProgram& busDaemon() { return *_bus; }
  StartedProgram& logind() { return *_logind; }

  // The lines of `systemd-inhibit --list`, without its heading. Fails the test when logind does not
  // tell.
  std::string inhibitors() const;

 private:
  std::string ask() const;

  TemporaryFolder _folder;
  std::unique_ptr<StartedProgram> _bus;
  std::unique_ptr<StartedProgram> _logind;
};

}  // namespace marrow
