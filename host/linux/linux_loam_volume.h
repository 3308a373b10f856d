// A volume: a partition, known by its name, its device number and its disk's sequence number.
#pragma once

#include "host/linux/linux_partition_library.h"

#include <memory>
#include <optional>
#include <string>

namespace marrow {

class LinuxLoamVolume : public DVStaticLoamVolume {
 public:
  LinuxLoamVolume(const LinuxStaticMedia::Services& services, BlockDevice partition)
      : _services(services), _partition(std::move(partition)) {}

  std::string description() const override;
  std::shared_ptr<DVStaticLoamVolume> asVolume() override;
  std::string volumeGroupUUID() override;
  std::string deviceNode() override;
  RegistryEntry mediaEntry() override;
  std::optional<std::string> mountPoint() override;
  bool isMounted() override;
  std::optional<std::string> mountAtTemporaryPath(const VolumeOptions& options,
                                                  ErrorSlot error) override;
  bool unmount(const VolumeOptions& options, ErrorSlot error) override;
  std::shared_ptr<DVStaticLoamContainer> container() override;

 private:
  LinuxStaticMedia::Services _services;
  BlockDevice _partition;
};

}  // namespace marrow
