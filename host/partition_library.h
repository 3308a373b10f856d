// The partition library: containers, their volumes with roles, and mounting and unmounting of a
// volume. Objects are shared and immutable; what they tell is asked of the machine at each call.
// Any thread may call, but the mount and unmount calls of one volume must take turns.
#pragma once

#include "host/device_registry.h"
#include "host/error_record.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

// Role codes of volumes.
inline constexpr std::int32_t kSystemVolumeRole = 1;
inline constexpr std::int32_t kDataVolumeRole = 3;

// Options of a mount or an unmount, each a truth value; a call reads the keys that concern it.
using VolumeOptions = std::map<std::string, bool>;
inline constexpr char DVLoamVolumeMountOptionReadOnly[] = "DVLoamVolumeMountOptionReadOnly";
// Leaves an encrypted volume open.
inline constexpr char DVLoamVolumeUnmountOptionDoNotLock[] = "DVLoamVolumeUnmountOptionDoNotLock";
// Ends the processes that keep the volume busy.
inline constexpr char DVLoamVolumeUnmountOptionForce[] = "DVLoamVolumeUnmountOptionForce";
// Every mount of the volume, not only the library's own.
inline constexpr char DVLoamVolumeUnmountOptionAll[] = "DVLoamVolumeUnmountOptionAll";

class DVStaticLoamContainer;
class DVStaticLoamVolume;

// Some media: a container, a volume, or (both casts null) something else.
class DVStaticMediaObject : public std::enable_shared_from_this<DVStaticMediaObject> {
 public:
  virtual ~DVStaticMediaObject() = default;

  // The device node of a volume, the disk node of a container.
  virtual std::string description() const = 0;

  virtual std::shared_ptr<DVStaticLoamContainer> asContainer() { return nullptr; }
  virtual std::shared_ptr<DVStaticLoamVolume> asVolume() { return nullptr; }
};

class DVStaticLoamContainer : public DVStaticMediaObject {
 public:
  // Every volume, and those with a role code, in the library's order. Empty when the container
  // cannot be read.
  virtual std::vector<std::shared_ptr<DVStaticLoamVolume>> volumes() = 0;
  virtual std::vector<std::shared_ptr<DVStaticLoamVolume>> volumesWithRole(std::int32_t role) = 0;

  // Null when the container has none.
  virtual std::shared_ptr<DVStaticLoamVolume> prebootVolume() = 0;
  virtual std::shared_ptr<DVStaticLoamVolume> recoveryVolume() = 0;
  virtual std::shared_ptr<DVStaticLoamVolume> updateVolume() = 0;

  // True when both are the same container of the machine.
  virtual bool isEqual(const DVStaticLoamContainer& other) const = 0;
};

class DVStaticLoamVolume : public DVStaticMediaObject {
 public:
  // The UUID of the group that the volume belongs to; empty when it belongs to none.
  virtual std::string volumeGroupUUID() = 0;

  // A path below /dev.
  virtual std::string deviceNode() = 0;

  // The volume's entry in the device registry; the entry is null when it has none.
  virtual RegistryEntry mediaEntry() = 0;

  // Where the volume's root can be written; absent when it is not mounted that way.
  virtual std::optional<std::string> mountPoint() = 0;

  // True while anything has the volume mounted, also where this process does not see it.
  virtual bool isMounted() = 0;

  // Mounts at a path of the library's choice and returns that path; it stays mounted until it is
  // unmounted. Absent with an error record when it cannot be mounted; then nothing is left mounted.
  virtual std::optional<std::string> mountAtTemporaryPath(const VolumeOptions& options,
                                                          ErrorSlot error) = 0;

  // False with an error record when the volume is still mounted afterwards. What was written
  // before has reached the volume when this returns true.
  virtual bool unmount(const VolumeOptions& options, ErrorSlot error) = 0;

  // Null when the container has gone.
  virtual std::shared_ptr<DVStaticLoamContainer> container() = 0;
};

// The media factory.
class DVStaticMedia {
 public:
  virtual ~DVStaticMedia() = default;

  // `name` is a BSD name ("vda") or a device node ("/dev/vda"). Null when there is no such media.
  virtual std::shared_ptr<DVStaticMediaObject> mediaForBSDName(const std::string& name) = 0;

  // Null when the entry is no media.
  virtual std::shared_ptr<DVStaticMediaObject> mediaForRegistryEntry(RegistryHandle entry) = 0;
};

}  // namespace marrow
