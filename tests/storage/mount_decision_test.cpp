// The decision about one disk, and what becomes of the reference to its registry entry.
#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

class MountDecision : public StorageTest {};

// A disk on its own, which the service is not asked for.
class LooseDisk : public DADisk {
 public:
  explicit LooseDisk(InMemoryRegistry& registry, RegistryHandle entry = kNoRegistryHandle)
      : _registry(registry), _entry(entry) {}
  std::string bsdName() const override { return "loose"; }
  RegistryEntry copyMediaEntry() override {
    return _entry == kNoRegistryHandle ? RegistryEntry()
                                       : RegistryEntry(_registry, _registry.reference(_entry));
  }

 private:
  InMemoryRegistry& _registry;
  RegistryHandle _entry;
};

TEST_F(MountDecision, KeepsTheReferenceOfEachRefusedDisk) {
  const auto controller = createController();
  LooseDisk disk(machine.registry, machine.registry.named(kUpdateVolume));
  EXPECT_TRUE(controller->_checkDiskMount(disk));
  EXPECT_TRUE(controller->_checkDiskMount(disk));
  EXPECT_EQ(machine.registry.references(machine.registry.named(kUpdateVolume)), 2);
  EXPECT_EQ(machine.registry.references(), 2);
}

TEST_F(MountDecision, GivesTheReferenceOfAnApprovedDiskBack) {
  const auto controller = createController();
  for (const auto& name : {kExternalVolume, kContainer, kPlainDisk}) {
    LooseDisk disk(machine.registry, machine.registry.named(name));
    EXPECT_FALSE(controller->_checkDiskMount(disk)) << name;
  }
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(MountDecision, ApprovesADiskWithoutARegistryEntryAndAsksNothingAboutIt) {
  const auto controller = createController();
  LooseDisk disk(machine.registry);
  EXPECT_FALSE(controller->_checkDiskMount(disk));
  EXPECT_EQ(machine.journal.calls(), Texts{});
}

TEST_F(MountDecision, ApprovesADiskWhoseEntryIsNoMediaAndGivesTheEntryBack) {
  const auto controller = createController();
  LooseDisk disk(machine.registry, machine.registry.add({"CorvaneController", {}, 0, {}, ""}));
  EXPECT_FALSE(controller->_checkDiskMount(disk));
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(MountDecision, ApprovesAVolumeWhoseContainerHasGoneAndGivesItsEntryBack) {
  const auto controller = createController();
  machine.faults.fail("DVStaticLoamVolume.container", ENXIO);
  LooseDisk disk(machine.registry, machine.registry.named(kUpdateVolume));
  EXPECT_FALSE(controller->_checkDiskMount(disk));
  EXPECT_EQ(machine.registry.references(), 0);
}

TEST_F(MountDecision, GivesTheEntryBackBeforeAnApprovalIsAnswered) {
  const auto controller = createController();
  LooseDisk disk(machine.registry, machine.registry.named(kExternalVolume));
  controller->_checkDiskMount(disk);
  EXPECT_TRUE(machine.journal.inOrder("DVStaticMedia.mediaForRegistryEntry",
                                      "DeviceRegistry.release disk1s1"));
}

}  // namespace
}  // namespace marrow
