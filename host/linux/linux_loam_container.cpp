#include "host/linux/linux_loam_container.h"

#include "host/linux/linux_loam_volume.h"

namespace marrow {

namespace {

// The volumes that are asked for by name have no code.
std::int32_t roleCode(LoamVolumeRole role) {
  switch (role) {
    case LoamVolumeRole::system:
      return kSystemVolumeRole;
    case LoamVolumeRole::data:
      return kDataVolumeRole;
    default:
      return 0;
  }
}

}  // namespace

std::string LinuxLoamContainer::description() const { return _services.devices.node(_disk); }

std::shared_ptr<DVStaticLoamContainer> LinuxLoamContainer::asContainer() {
  return std::static_pointer_cast<DVStaticLoamContainer>(shared_from_this());
}

std::vector<std::shared_ptr<DVStaticLoamVolume>> LinuxLoamContainer::volumes() {
  std::vector<std::shared_ptr<DVStaticLoamVolume>> volumes;
  for (const auto& record : records()) {
    volumes.push_back(std::make_shared<LinuxLoamVolume>(_services, record.device));
  }
  return volumes;
}

std::vector<std::shared_ptr<DVStaticLoamVolume>> LinuxLoamContainer::volumesWithRole(
    std::int32_t role) {
  std::vector<std::shared_ptr<DVStaticLoamVolume>> volumes;
  for (const auto& record : records()) {
    if (role != 0 && roleCode(record.role) == role) {
      volumes.push_back(std::make_shared<LinuxLoamVolume>(_services, record.device));
    }
  }
  return volumes;
}

std::shared_ptr<DVStaticLoamVolume> LinuxLoamContainer::prebootVolume() {
  return firstWithRole(LoamVolumeRole::preboot);
}

std::shared_ptr<DVStaticLoamVolume> LinuxLoamContainer::recoveryVolume() {
  return firstWithRole(LoamVolumeRole::recovery);
}

std::shared_ptr<DVStaticLoamVolume> LinuxLoamContainer::updateVolume() {
  return firstWithRole(LoamVolumeRole::update);
}

bool LinuxLoamContainer::isEqual(const DVStaticLoamContainer& other) const {
  const auto* container = dynamic_cast<const LinuxLoamContainer*>(&other);
  return container != nullptr && _disk.number == container->_disk.number &&
         _disk.sequence == container->_disk.sequence;
}

std::vector<LoamVolumeRecord> LinuxLoamContainer::records() const {
  auto container = _services.containers.onDisk(_disk);
  return container ? std::move(container->volumes) : std::vector<LoamVolumeRecord>();
}

std::shared_ptr<DVStaticLoamVolume> LinuxLoamContainer::firstWithRole(LoamVolumeRole role) const {
  for (const auto& record : records()) {
    if (record.role == role) {
      return std::make_shared<LinuxLoamVolume>(_services, record.device);
    }
  }
  return nullptr;
}

}  // namespace marrow
