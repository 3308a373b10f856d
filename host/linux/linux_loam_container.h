// A container: a disk, known by its device number and its sequence number.
#pragma once

#include "host/linux/linux_partition_library.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

class LinuxLoamContainer : public DVStaticLoamContainer {
 public:
  LinuxLoamContainer(const LinuxStaticMedia::Services& services, BlockDevice disk)
      : _services(services), _disk(std::move(disk)) {}

  std::string description() const override;
  std::shared_ptr<DVStaticLoamContainer> asContainer() override;
  std::vector<std::shared_ptr<DVStaticLoamVolume>> volumes() override;
  std::vector<std::shared_ptr<DVStaticLoamVolume>> volumesWithRole(std::int32_t role) override;
  std::shared_ptr<DVStaticLoamVolume> prebootVolume() override;
  std::shared_ptr<DVStaticLoamVolume> recoveryVolume() override;
  std::shared_ptr<DVStaticLoamVolume> updateVolume() override;
  bool isEqual(const DVStaticLoamContainer& other) const override;

 private:
  std::vector<LoamVolumeRecord> records() const;
  std::shared_ptr<DVStaticLoamVolume> firstWithRole(LoamVolumeRole role) const;

  LinuxStaticMedia::Services _services;
  BlockDevice _disk;
};

}  // namespace marrow
