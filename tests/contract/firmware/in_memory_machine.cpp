#include "tests/contract/firmware/firmware_machine.h"
#include "tests/host/in_memory_host.h"

#include <cerrno>
#include <map>

namespace marrow {

namespace {

class InMemoryMachine final : public FirmwareMachine {
 public:
  InMemoryMachine() {
    _host.osVariant.setBaseSystem(false);
    _host.bootPolicy.setNonce(std::nullopt);
    _host.bootPolicy.setProposedNonce(std::nullopt);
    _host.keyStore.setStash(InMemoryKeyStore::Stash::none);
  }

  OSVariant& osVariant() override { return _host.osVariant; }
  KernelVariables& kernelVariables() override { return _host.kernelVariables; }
  FirmwareVariables& firmwareVariables() override { return _host.firmware; }
  BootPolicy& bootPolicy() override { return _host.bootPolicy; }
  KWUtilities& installerUtilities() override { return _host.installer; }
  PowerAssertions& powerAssertions() override { return _host.power; }
  ProgressDisplay& progressDisplay() override { return _host.display; }
  GraphicsServer& graphicsServer() override { return _host.display; }
  KeyStore& keyStore() override { return _host.keyStore; }
  Reboot& reboot() override { return _host.reboot; }

  void restart() override { _host.restart(); }

  void makeBaseSystem(bool baseSystem) override { _host.osVariant.setBaseSystem(baseSystem); }
  void makeInternal(bool internal) override { _host.osVariant.setInternalContent(internal); }
  void setKernelVariable(const std::string& name,
                         const std::optional<std::string>& value) override {
    if (value) {
      _host.kernelVariables.set(name, *value);
    } else {
      _host.kernelVariables.remove(name);
    }
  }
  void setNonces(const std::optional<std::string>& inForce,
                 const std::optional<std::string>& proposed) override {
    _host.bootPolicy.setNonce(inForce);
    _host.bootPolicy.setProposedNonce(proposed);
  }
  void refuseVariables() override {
    _host.faults.fail("FirmwareVariables.setString", EROFS);
    _host.faults.fail("KWUtilities.blessDevice", EROFS);
    _host.faults.fail("BootPolicy.updateLocalPolicyNonceEnd", EROFS);
  }
  void stageKey() override { _host.keyStore.setStash(InMemoryKeyStore::Stash::staged); }
  void allowAssertions(bool allowed) override {
    if (!allowed) {
      _host.faults.fail("PowerAssertions.create", ENOSYS);
    }
  }

  std::optional<std::string> nonce() override { return _host.bootPolicy.nonce(); }
  std::optional<std::string> proposedNonce() override { return _host.bootPolicy.proposedNonce(); }
  bool keyIsCommitted() override {
    return _host.keyStore.stash() == InMemoryKeyStore::Stash::committed;
  }
  bool chimeIsMuted() override { return _host.installer.chimeIsMuted(); }
  bool isBlessed(const std::string& group, bool oneTime) override {
    const std::map<std::string, std::string> nodes = {{kBootedGroup, "/dev/" + kSystemVolume},
                                                      {kOtherGroup, "/dev/" + kOtherSystemVolume}};
    return (oneTime ? _host.installer.blessedOnce() : _host.installer.blessed()) == nodes.at(group);
  }
  std::vector<int> shownPercentages() override { return _host.display.shownPercentages(); }
  bool displayUpdatesAreEnabled() override { return _host.display.updatesEnabled(); }
  bool wasRebooted() override { return _host.reboot.wasAccepted(); }
  std::optional<std::string> crash(std::uint32_t flags, const std::string& message) override {
    try {
      _host.reboot.rebootWithMessage(flags, message);
    } catch (const RunEnded& end) {
      return end.text;
    }
    return std::nullopt;
  }

 private:
  InMemoryHost _host;
};

}  // namespace

std::unique_ptr<FirmwareMachine> makeInMemoryFirmwareMachine() {
  return std::make_unique<InMemoryMachine>();
}

}  // namespace marrow
