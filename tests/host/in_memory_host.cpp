#include "tests/host/in_memory_host.h"

namespace marrow {

InMemoryHost::InMemoryHost() {
  journal.setQueueSource([this] { return queues.currentLabel(); });
  setUpDefaultMachine(*this);
}

// What waits on the queues may hold objects of the daemon, which still use the services.
InMemoryHost::~InMemoryHost() {
  queues.dropEverything();
  journal.setQueueSource(nullptr);
}

Host InMemoryHost::host() {
  return {osVariant,   process,  log,        clock,       queues,        kernelVariables,
          firmware,    registry, partitions, arbitration, power,         display,
          display,     keyStore, installer,  bootPolicy,  reboot,        launcher,
          fileHandles, files,    trees,      deviceNames, propertyLists, temporaryDirectory};
}

void InMemoryHost::restart() {
  queues.dropEverything();
  files.closeAll();
  power.releaseAll();
  partitions.unmountAll();
  for (const std::string folder : {"/run", "/private/tmp", "/Volumes"}) {
    fileSystem.remove(folder);
    fileSystem.makeFolder(folder);
  }
  log.dropHook();
  firmware.restart(faults.powerIsCut());
  installer.restart();
  reboot.forget();
  faults.clear();
}

}  // namespace marrow
