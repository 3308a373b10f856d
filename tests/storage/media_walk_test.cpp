// How the container is found: from a volume of the group upwards through the registry.
#include "tests/storage/storage_test.h"

namespace marrow {
namespace {

const std::string kStrayGroup = "11111111-2222-4333-8444-555555555555";

class MediaWalk : public StorageTest {
 protected:
  RegistryHandle addEntry(const std::string& registryClass, RegistryHandle parent,
                          const std::string& bsdName) {
    RegistryEntryDescription entry{registryClass, {}, parent, {}, ""};
    if (!bsdName.empty()) {
      entry.properties.set("BSD Name", bsdName);
    }
    return machine.registry.add(entry);
  }

  RegistryHandle addVolumeBelow(RegistryHandle parent) {
    const RegistryHandle volume = addEntry("CorvaneLoamVolume", parent, "disk9s1");
    machine.registry.setProperty(volume, "VolGroupUUID", kStrayGroup);
    return volume;
  }

  std::shared_ptr<DVStaticLoamContainer> found() {
    auto container = MWStorageController::_loamContainerForVolumeGroup(
        machine.registry, machine.partitions, kStrayGroup);
    EXPECT_EQ(machine.registry.references(), 0);
    return container;
  }
};

TEST_F(MediaWalk, PassesOverWhatLiesBetweenTheVolumeAndItsMedia) {
  const RegistryHandle media = addEntry("CorvaneLoamMedia", kNoRegistryHandle, kExternalDisk);
  const RegistryHandle scheme = addEntry("CorvaneLoamScheme", media, "disk9");
  addVolumeBelow(addEntry("CorvaneLoamDriver", scheme, ""));
  EXPECT_EQ(describe(found()), node(kExternalDisk));
}

TEST_F(MediaWalk, StopsAtTheFirstMediaAboveTheVolume) {
  const RegistryHandle upper = addEntry("CorvaneLoamMedia", kNoRegistryHandle, kContainer);
  addVolumeBelow(addEntry("CorvaneLoamMedia", upper, kExternalDisk));
  EXPECT_EQ(describe(found()), node(kExternalDisk));
}

TEST_F(MediaWalk, AcceptsAClassThatIsDerivedFromTheMedias) {
  RegistryEntryDescription media{
      "CorvaneLoamSnapshotMedia", {"CorvaneLoamMedia"}, kNoRegistryHandle, {}, ""};
  media.properties.set("BSD Name", kExternalDisk);
  addVolumeBelow(machine.registry.add(media));
  EXPECT_EQ(describe(found()), node(kExternalDisk));
}

TEST_F(MediaWalk, BeginsAboveTheVolumeEvenWhereThatConformsToMedia) {
  RegistryEntryDescription volume{"CorvaneLoamVolume",
                                  {"CorvaneLoamMedia"},
                                  addEntry("CorvaneLoamMedia", kNoRegistryHandle, kExternalDisk),
                                  {},
                                  ""};
  volume.properties.set("BSD Name", kContainer);
  volume.properties.set("VolGroupUUID", kStrayGroup);
  machine.registry.add(volume);
  EXPECT_EQ(describe(found()), node(kExternalDisk));
}

TEST_F(MediaWalk, ThatRunsOutOfParentsEndsOnWhatIsNoContainer) {
  const RegistryHandle root = addEntry("CorvaneRoot", kNoRegistryHandle, kPlainDisk);
  addVolumeBelow(addEntry("CorvaneLoamDriver", root, kContainer));
  EXPECT_EQ(found(), nullptr);
  EXPECT_TRUE(machine.journal.contains("DVStaticMedia.mediaForBSDName " + kPlainDisk));
}

TEST_F(MediaWalk, OfAVolumeWithoutAParentEndsOnTheVolumeItself) {
  addVolumeBelow(kNoRegistryHandle);
  EXPECT_EQ(found(), nullptr);
  EXPECT_TRUE(machine.journal.contains("DVStaticMedia.mediaForBSDName disk9s1"));
}

TEST_F(MediaWalk, ThatEndsOnAVolumeFindsNoContainer) {
  addVolumeBelow(addEntry("CorvaneLoamMedia", kNoRegistryHandle, kSystemVolume));
  EXPECT_EQ(found(), nullptr);
}

TEST_F(MediaWalk, FindsNothingWhenTheMediaIsUnknown) {
  addVolumeBelow(addEntry("CorvaneLoamMedia", kNoRegistryHandle, "disk77"));
  EXPECT_EQ(found(), nullptr);
}

TEST_F(MediaWalk, FindsNothingWhenTheMediaHasNoName) {
  addVolumeBelow(addEntry("CorvaneLoamMedia", kNoRegistryHandle, ""));
  EXPECT_EQ(found(), nullptr);
  EXPECT_FALSE(machine.journal.contains("DVStaticMedia."));
}

TEST_F(MediaWalk, FindsNothingWhenTheNameIsNoText) {
  const RegistryHandle media = addEntry("CorvaneLoamMedia", kNoRegistryHandle, "");
  machine.registry.setProperty(media, "BSD Name", std::int64_t{0});
  addVolumeBelow(media);
  EXPECT_EQ(found(), nullptr);
  EXPECT_FALSE(machine.journal.contains("DVStaticMedia."));
}

TEST_F(MediaWalk, FindsNothingWhenNoServiceMatches) {
  EXPECT_EQ(found(), nullptr);
  EXPECT_FALSE(machine.journal.contains("DeviceRegistry.parent"));
}

TEST_F(MediaWalk, TakesTheFirstVolumeThatMatches) {
  addVolumeBelow(addEntry("CorvaneLoamMedia", kNoRegistryHandle, kExternalDisk));
  addVolumeBelow(addEntry("CorvaneLoamMedia", kNoRegistryHandle, kContainer));
  EXPECT_EQ(describe(found()), node(kExternalDisk));
}

}  // namespace
}  // namespace marrow
