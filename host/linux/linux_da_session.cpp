#include "host/linux/linux_da_session.h"

#include <algorithm>
#include <utility>

namespace marrow {

namespace {

class LinuxDADisk : public DADisk {
 public:
  LinuxDADisk(const BlockDevices& devices, LinuxDeviceRegistry& registry, const BlockDevice& device)
      : _devices(devices), _registry(registry), _device(device) {}

  std::string bsdName() const override { return _device.name; }

  RegistryEntry copyMediaEntry() override {
    return _devices.current(_device) ? _registry.entryOf(_device) : RegistryEntry();
  }

 private:
  const BlockDevices& _devices;
  LinuxDeviceRegistry& _registry;
  const BlockDevice& _device;
};

}  // namespace

LinuxDASession::LinuxDASession(const LinuxDiskArbitration::Services& services,
                               const std::string& procfs)
    : _services(services), _events(procfs, services.log) {}

LinuxDASession::~LinuxDASession() { unschedule(); }

void LinuxDASession::registerMountApproval(DAMountApproval callback) {
  _callback = std::move(callback);
}

void LinuxDASession::setQueue(std::shared_ptr<SerialTaskQueue> queue) {
  unschedule();
  _queue = std::move(queue);
  if (_queue && _callback) {
    schedule();
  }
}

// Events are collected before the devices are listed, so that none falls in between.
void LinuxDASession::schedule() {
  _events.open();
  _queue->sync([this] { askAboutAll(); });
  _events.start({[this](const BlockDeviceEvent& event) { deviceChanged(event); },
                 [this] { return claimFreedDevices(); }});
}

void LinuxDASession::unschedule() {
  if (!_queue) {
    return;
  }
  _events.stop();
  _queue->sync([] {});
  _services.claims.giveBack(this);
  _queue.reset();
}

void LinuxDASession::askAboutAll() {
  const auto devices = _services.devices.all();
  for (const auto& device : devices) {
    ask(device);
  }
  // A second look, for a device may be listed before the one that it stands on.
  for (const auto& device : devices) {
    claimIfStacked(device);
  }
}

void LinuxDASession::deviceChanged(const BlockDeviceEvent& event) {
  switch (event.kind) {
    case BlockDeviceEvent::Kind::gone:
      _services.claims.forget(event.name);
      break;
    case BlockDeviceEvent::Kind::present:
      if (const auto device = _services.devices.find(event.name)) {
        claimIfStacked(*device);
        askLater(*device);
      }
      break;
    case BlockDeviceEvent::Kind::lost:
      _queue->async([this] { askAboutAll(); });
      break;
  }
}

// A device that is refused already is not put to the callback again with each of its events.
void LinuxDASession::askLater(const BlockDevice& device) {
  if (!_services.claims.refuses(device)) {
    _queue->async([this, device] { ask(device); });
  }
}

// A whole disk is never claimed: that would refuse our own mounts of its partitions.
void LinuxDASession::ask(const BlockDevice& device) {
  LinuxDADisk disk(_services.devices, _services.registry, device);
  if (_callback(disk) && !device.isDisk()) {
    _services.claims.refuse(this, device);
  }
}

// A mount through a loop or mapped device would not meet the claim of the device below.
void LinuxDASession::claimIfStacked(const BlockDevice& device) {
  if (device.isDisk() && !_services.claims.refuses(device) && standsOnRefused(device)) {
    _services.log.log(LogLevel::standard, device.name + " stands on a refused device");
    _services.claims.refuse(this, device);
  }
}

bool LinuxDASession::standsOnRefused(const BlockDevice& device) const {
  const auto below = _services.stack.below(device);
  return std::any_of(below.begin(), below.end(), [this](const BlockDevice& lower) {
    return _services.claims.refuses(lower) || standsOnRefused(lower);
  });
}

bool LinuxDASession::claimFreedDevices() {
  const auto open = _services.claims.retry();
  return std::any_of(open.begin(), open.end(),
                     [this](const BlockDevice& device) { return canBecomeFreeUnseen(device); });
}

// The end of a mount that we see, and of a device on top, is an event.
bool LinuxDASession::canBecomeFreeUnseen(const BlockDevice& device) const {
  return _services.mountTable.ofDevice(device.number).empty() &&
         _services.stack.above(device).empty();
}

}  // namespace marrow
