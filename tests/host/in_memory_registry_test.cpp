#include "tests/host/in_memory_host.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

namespace marrow {
namespace {

class RegistryTest : public testing::Test {
 protected:
  RegistryEntry volumeOfGroup(const std::string& group) {
    PropertyListDictionary properties;
    properties.set("VolGroupUUID", group);
    return {registry, registry.firstMatchingService({"CorvaneLoamVolume", properties})};
  }

  std::string nameOf(const RegistryEntry& entry) {
    const auto name = registry.property(entry.handle(), "BSD Name");
    return name ? *name->as<std::string>() : "";
  }

  InMemoryHost machine;
  InMemoryRegistry& registry = machine.registry;
};

TEST_F(RegistryTest, TheFirstMatchIsFound) {
  EXPECT_EQ(nameOf(volumeOfGroup(kBootedGroup)), kSystemVolume);
  EXPECT_EQ(nameOf(volumeOfGroup(kOtherGroup)), kOtherSystemVolume);
  EXPECT_FALSE(volumeOfGroup("none"));
}

TEST_F(RegistryTest, TheWayUpEndsAtTheRoot) {
  RegistryEntry entry = volumeOfGroup(kBootedGroup);
  entry = {registry, registry.parent(entry.handle(), "IOService")};
  EXPECT_EQ(nameOf(entry), kContainer);
  EXPECT_TRUE(registry.conformsTo(entry.handle(), "CorvaneLoamMedia"));
  EXPECT_FALSE(registry.conformsTo(entry.handle(), "CorvaneLoamVolume"));
  int steps = 0;
  while (entry) {
    entry = {registry, registry.parent(entry.handle(), "IOService")};
    ++steps;
  }
  EXPECT_EQ(steps, 3);
}

TEST_F(RegistryTest, ReferencesAreCounted) {
  const RegistryHandle handle = registry.named(kSystemVolume);
  {
    const RegistryEntry entry = volumeOfGroup(kBootedGroup);
    EXPECT_EQ(registry.references(handle), 1);
    registry.retain(handle);
    EXPECT_EQ(registry.references(handle), 2);
  }
  EXPECT_EQ(registry.references(), 1);
  registry.release(handle);
  EXPECT_EQ(registry.references(), 0);
}

TEST_F(RegistryTest, AnEntryWithoutAReferenceCannotBeUsed) {
  const RegistryHandle handle = registry.named(kSystemVolume);
  EXPECT_NONFATAL_FAILURE(registry.release(handle), "without a reference");
  EXPECT_NONFATAL_FAILURE(registry.property(handle, "BSD Name"), "without a reference");
}

TEST_F(RegistryTest, NoEntryIsIgnored) {
  registry.retain(kNoRegistryHandle);
  registry.release(kNoRegistryHandle);
  EXPECT_FALSE(registry.property(kNoRegistryHandle, "BSD Name"));
}

TEST_F(RegistryTest, AnEntryOfTheDeviceTreeIsFoundByItsPath) {
  const RegistryEntry entry(registry, registry.entryFromPath(kBootNonceEntry));
  const auto property = registry.property(entry.handle(), "lp-lpnh");
  ASSERT_TRUE(property);
  EXPECT_EQ(*property->as<PropertyListData>(), InMemoryBootPolicy::digestData(kProposedNonce));
  EXPECT_EQ(registry.entryFromPath("IODeviceTree:/missing"), kNoRegistryHandle);
}

TEST_F(RegistryTest, PropertiesAndEntriesCanBeTakenAway) {
  registry.removeProperty(registry.named(kSystemVolume), "VolGroupUUID");
  EXPECT_EQ(nameOf(volumeOfGroup(kBootedGroup)), kDataVolume);
  registry.remove(registry.named(kContainer));
  EXPECT_FALSE(volumeOfGroup(kBootedGroup));
}

}  // namespace
}  // namespace marrow
