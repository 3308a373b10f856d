#include "host/linux/linux_disks.h"

#include "host/linux/linux_device_names.h"
#include "host/linux/linux_disk_arbitration.h"
#include "host/linux/linux_partition_library.h"

namespace marrow {

// In the order in which each is built on those before it.
struct LinuxDisks::Parts {
  Parts(LogHandle& log, const LinuxDiskRoots& roots)
      : devices(roots.sysfs, roots.dev),
        deviceTree(roots.deviceTree, roots.efivars, log),
        waits(log),
        udevQueue(roots.run, roots.procfs, waits),
        mountTable(roots.procfs),
        mountSpaces(roots.procfs),
        holders(roots.procfs),
        kernelHolders(roots.procfs, devices),
        processEnd(roots.procfs, log),
        claims(devices, log),
        registry({devices, containers, deviceTree, udevQueue, log}),
        encryptedVolumes({devices, stack, claims}, roots.cryptLibrary, roots.passphraseKey),
        temporaryMounts({devices, mountTable, encryptedVolumes, claims}, roots.run),
        unmounter({devices, stack, mountTable, mountSpaces, temporaryMounts, encryptedVolumes,
                   holders, kernelHolders, processEnd, claims, log}),
        arbitration({devices, stack, mountTable, registry, claims, log}, roots.procfs,
                    roots.mountGate) {}

  BlockDevices devices;
  DeviceStack stack{devices};
  LoamContainers containers{devices, stack};
  DeviceTree deviceTree;
  WaitWatch waits;
  UdevQueue udevQueue;
  MountTable mountTable;
  MountSpaces mountSpaces;
  MountHolders holders;
  KernelHolders kernelHolders;
  ProcessEnd processEnd;
  Claims claims;
  LinuxDeviceRegistry registry;
  EncryptedVolumes encryptedVolumes;
  TemporaryMounts temporaryMounts;
  VolumeUnmounter unmounter;
  LinuxStaticMedia media{
      {devices, containers, registry, mountTable, temporaryMounts, encryptedVolumes, unmounter}};
  LinuxDiskArbitration arbitration;
  LinuxDeviceNames deviceNames{devices};
};

LinuxDisks::LinuxDisks(LogHandle& log, const LinuxDiskRoots& roots)
    : _parts(std::make_unique<Parts>(log, roots)) {}

LinuxDisks::~LinuxDisks() = default;

DeviceRegistry& LinuxDisks::deviceRegistry() { return _parts->registry; }

DVStaticMedia& LinuxDisks::media() { return _parts->media; }

DiskArbitration& LinuxDisks::diskArbitration() { return _parts->arbitration; }

DeviceNames& LinuxDisks::deviceNames() { return _parts->deviceNames; }

std::optional<std::string> LinuxDisks::dataVolumeNode(const std::string& group) const {
  const auto volume = _parts->containers.dataVolumeOf(group);
  return volume ? std::optional(_parts->devices.node(volume->device)) : std::nullopt;
}

}  // namespace marrow
