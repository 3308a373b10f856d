#include "benchmarks/growth/storage_session.h"

#include <fstream>
#include <stdexcept>

namespace marrow {

namespace {

std::string writeCommandLine(const std::string& folder, const std::string& group) {
  const std::string path = folder + "/cmdline";
  std::ofstream(path) << "kern.bootuuid=" << group << " kern.bootobjectspath=" << group
                      << "/boot/none\n";
  return path;
}

// The second gate takes as long to open for one volume as for many.
LinuxDiskRoots rootsIn(const std::string& folder) {
  LinuxDiskRoots roots;
  roots.sysfs = folder + "/sys";
  roots.dev = folder + "/dev";
  roots.run = folder + "/run";
  roots.efivars = folder + "/efivars";
  roots.deviceTree = folder + "/device-tree";
  roots.mountGate.securityModules = folder + "/lsm";
  return roots;
}

}  // namespace

StorageSession::StorageSession(const std::string& folder, const std::string& group)
    : _kernelVariables(writeCommandLine(folder, group)), _disks(_log, rootsIn(folder)) {}

MWStorageController& StorageSession::start() {
  ErrorRef error;
  _controller = MWStorageController::initWithError(
      {_kernelVariables, _disks.deviceRegistry(), _disks.media(), _disks.diskArbitration(), _queues,
       _files, _propertyLists, _process},
      &error);
  if (!_controller) {
    throw std::runtime_error("No container: " + error->description());
  }
  _controller->startDissentingMounts();
  return *_controller;
}

}  // namespace marrow
