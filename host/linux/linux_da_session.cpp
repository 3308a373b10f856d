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
                               const std::string& procfs, const MountGatePlaces& gate,
                               MissingGate missingGate)
    : _services(services),
      _events(procfs, services.log),
      _gate(services.devices, procfs, gate, services.log),
      _missingGate(std::move(missingGate)) {}

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

// Events and mount attempts are collected before the devices are listed, so that none falls in
// between.
void LinuxDASession::schedule() {
  _events.open();
  _services.claims.watch(this, [this] { _events.lookAgain(); });
  openGate();
  _queue->sync([this] { askAboutAll(); });
  _gate.setListener([this](const MountAttempt& attempt) { mountAttempted(attempt); });
  _events.start({[this](const BlockDeviceEvent& event) { deviceChanged(event); },
                 [this] { return claimFreedDevices(); }, _gate.reports(),
                 [this] { _gate.readReports(); }});
}

void LinuxDASession::openGate() {
  if (const auto reason = _gate.open()) {
    _missingGate(*reason);
  }
}

void LinuxDASession::unschedule() {
  if (!_queue) {
    return;
  }
  _events.stop();
  _queue->sync([] {});
  _gate.close();
  _services.claims.giveBack(this);
  _queue.reset();
}

void LinuxDASession::askAboutAll() {
  for (const auto& device : _services.devices.all()) {
    ask(device);
  }
  claimAllStacked();
}

void LinuxDASession::deviceChanged(const BlockDeviceEvent& event) {
  switch (event.kind) {
    case BlockDeviceEvent::Kind::gone:
      _services.claims.forget(event.name);
      _gate.allow(event.name);
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
    _queue->async([this, device] {
      if (ask(device)) {
        claimAllStacked();
      }
    });
  }
}

// True when the device is refused.
bool LinuxDASession::ask(const BlockDevice& device) {
  const bool isRefused = dissents(device);
  if (isRefused) {
    refuse(device);
  } else if (!_services.claims.refuses(device)) {
    _gate.allow(device.name);
  }
  return isRefused;
}

// A whole disk is never claimed: that would refuse our own mounts of its partitions.
bool LinuxDASession::dissents(const BlockDevice& device) {
  LinuxDADisk disk(_services.devices, _services.registry, device);
  return _callback(disk) && !device.isDisk();
}

void LinuxDASession::refuse(const BlockDevice& device) {
  _services.claims.refuse(this, device);
  _gate.refuse(device);
}

// Waiting for the answer leaves further attempts where the kernel keeps them, which is no more than
// it has room for.
void LinuxDASession::mountAttempted(const MountAttempt& attempt) {
  _queue->sync([&] { answer(attempt); });
}

// What stands on a refused device is refused without the callback.
void LinuxDASession::answer(const MountAttempt& attempt) {
  const BlockDevice& device = attempt.device;
  if (dissents(device) && !_services.claims.refuses(device)) {
    refuse(device);
  }
  if (_services.claims.refuses(device)) {
    _services.log.log(LogLevel::standard,
                      attempt.process + " tried to mount " + device.name + ", which is refused");
  }
}

// A device may be listed before the one that it stands on, and may have appeared before that one
// was refused.
void LinuxDASession::claimAllStacked() {
  for (const auto& device : _services.devices.all()) {
    claimIfStacked(device);
  }
}

// A mount through a loop or mapped device would not meet the claim of the device below.
void LinuxDASession::claimIfStacked(const BlockDevice& device) {
  if (!isCovered(device) && standsOnRefused(device)) {
    _services.log.log(LogLevel::standard, device.name + " stands on a refused device");
    refuse(device);
  }
}

// The claim of a disk and those of its partitions shut each other out, and either refuses the
// mounts of both.
bool LinuxDASession::isCovered(const BlockDevice& device) const {
  if (_services.claims.refuses(device)) {
    return true;
  }
  if (device.isDisk()) {
    return !_services.devices.partitionsOf(device.name).empty();
  }
  const auto disk = _services.devices.find(device.disk);
  return disk && _services.claims.refuses(*disk);
}

// A device over the whole of a disk shows the partitions of that disk too.
bool LinuxDASession::standsOnRefused(const BlockDevice& device) const {
  const auto below = _services.stack.below(device);
  return std::any_of(below.begin(), below.end(), [this](const BlockDevice& lower) {
    return _services.claims.refuses(lower) ||
           (lower.isDisk() && _services.claims.refusesPartOf(lower)) || standsOnRefused(lower);
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
