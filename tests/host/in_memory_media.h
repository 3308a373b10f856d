// What the partition library hands out: a name and the library, which is asked at each call.
#pragma once

#include "tests/host/in_memory_partitions.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

class InMemoryContainer : public DVStaticLoamContainer {
 public:
  InMemoryContainer(InMemoryPartitions& library, std::string disk);

  std::string description() const override { return "/dev/" + _disk; }
  std::shared_ptr<DVStaticLoamContainer> asContainer() override;
  std::vector<std::shared_ptr<DVStaticLoamVolume>> volumes() override;
  std::vector<std::shared_ptr<DVStaticLoamVolume>> volumesWithRole(std::int32_t role) override;
  std::shared_ptr<DVStaticLoamVolume> prebootVolume() override;
  std::shared_ptr<DVStaticLoamVolume> recoveryVolume() override;
  std::shared_ptr<DVStaticLoamVolume> updateVolume() override;
  bool isEqual(const DVStaticLoamContainer& other) const override;

 private:
  using Volumes = std::vector<std::shared_ptr<DVStaticLoamVolume>>;
  Volumes volumesWhere(const std::function<bool(const VolumeDescription&)>& wanted);
  std::shared_ptr<DVStaticLoamVolume> first(VolumeRole role, const std::string& call);

  InMemoryPartitions& _library;
  const std::string _disk;
};

class InMemoryVolume : public DVStaticLoamVolume {
 public:
  InMemoryVolume(InMemoryPartitions& library, std::string name);

  std::string description() const override { return "/dev/" + _name; }
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
  std::optional<Failure> made(const std::string& method, const std::string& arguments = {});

  InMemoryPartitions& _library;
  const std::string _name;
};

// Media that is neither.
class InMemoryPlainDisk : public DVStaticMediaObject {
 public:
  explicit InMemoryPlainDisk(std::string disk) : _disk(std::move(disk)) {}
  std::string description() const override { return "/dev/" + _disk; }

 private:
  const std::string _disk;
};

}  // namespace marrow
