#include "host/linux/linux_partition_library.h"

#include "host/linux/linux_loam_container.h"
#include "host/linux/linux_loam_volume.h"

namespace marrow {

namespace {

// A block device that is neither container nor volume.
class OtherMedia : public DVStaticMediaObject {
 public:
  explicit OtherMedia(std::string node) : _node(std::move(node)) {}

  std::string description() const override { return _node; }

 private:
  std::string _node;
};

}  // namespace

std::shared_ptr<DVStaticMediaObject> LinuxStaticMedia::mediaForBSDName(const std::string& name) {
  const auto device = _services.devices.findNamed(name);
  return device ? mediaOn(*device) : nullptr;
}

std::shared_ptr<DVStaticMediaObject> LinuxStaticMedia::mediaForRegistryEntry(RegistryHandle entry) {
  const auto device = _services.registry.deviceOf(entry);
  return device ? mediaOn(*device) : nullptr;
}

std::shared_ptr<DVStaticMediaObject> LinuxStaticMedia::mediaOn(const BlockDevice& device) const {
  if (device.isDisk() && _services.containers.onDisk(device)) {
    return std::make_shared<LinuxLoamContainer>(_services, device);
  }
  if (!device.isDisk() && _services.containers.volumeOn(device)) {
    return std::make_shared<LinuxLoamVolume>(_services, device);
  }
  return std::make_shared<OtherMedia>(_services.devices.node(device));
}

}  // namespace marrow
