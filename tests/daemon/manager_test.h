// A test with a machine and a daemon manager on it.
#pragma once

#include "daemon/daemon_manager.h"
#include "daemon/process_entry.h"
#include "tests/host/host_test.h"
#include "tests/host/run_ended.h"

#include <memory>
#include <string>

namespace marrow {

class ManagerTest : public HostTest {
 protected:
  // The manager, built but not started.
  std::shared_ptr<MWDaemonManager> makeManager() {
    return MWDaemonManager::init(daemonServices(machine.host()));
  }

  // The daemon from its start to its end, which a reboot or an exit must bring.
  RunEnded runDaemon() {
    return endOf([this] { processEntry(machine.host()); });
  }

  // The class names of the operations that were performed, in order.
  std::vector<std::string> performed() const {
    std::vector<std::string> names;
    for (const std::string& text : machine.log.texts()) {
      const std::string begin = "MWOperationQueue: Performing (";
      if (text.starts_with(begin)) {
        names.push_back(text.substr(begin.size(), text.find(')') - begin.size()));
      }
    }
    return names;
  }
};

}  // namespace marrow
