#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

class MigrationCookie : public StorageTest {
 protected:
  PropertyListDictionary writeCookie() {
    PropertyListDictionary cookie;
    cookie.set("TemplateMigrationFullUpgradeKey", true);
    machine.fileSystem.writeDictionary(kCookiePath, cookie);
    return cookie;
  }

  // Reads a cookie that has to be absent after this one line.
  void expectAbsent(const std::string& error) {
    const auto controller = createController();
    EXPECT_EQ(controller->templateMigrationCookie(), std::nullopt);
    EXPECT_EQ(logged(),
              Texts{"Log.default[Operations] Failed to load Template Migration cookie: " + error});
  }
};

TEST_F(MigrationCookie, IsReadFromTheBootedGroupsFolderOnThePrebootVolume) {
  const auto cookie = writeCookie();
  EXPECT_EQ(createController()->templateMigrationCookie(), cookie);
  EXPECT_EQ(machine.journal.calls("PropertyListFiles."),
            Texts{"PropertyListFiles.readDictionary /Volumes/preboot/" + kBootedGroup +
                  "/var/db/.com.corvane.templatemigration"});
  EXPECT_EQ(logged(), Texts{});
}

TEST_F(MigrationCookie, MountsThePrebootVolumeWhereItIsNotMounted) {
  const auto cookie = writeCookie();
  machine.partitions.unmountAll();
  EXPECT_EQ(createController()->templateMigrationCookie(), cookie);
  EXPECT_TRUE(machine.partitions.isMounted(kPrebootVolume));
}

TEST_F(MigrationCookie, IsReadBelowAMountPointThatEndsInASlash) {
  const auto cookie = writeCookie();
  machine.partitions.unmountAll();
  const auto controller = createController();
  machine.partitions.mount(kPrebootVolume, "/Volumes/slash/");
  EXPECT_EQ(controller->templateMigrationCookie(), cookie);
  EXPECT_FALSE(machine.journal.contains("PropertyListFiles.readDictionary /Volumes/slash//"));
}

TEST_F(MigrationCookie, IsAbsentAfterOneDefaultLineWhereThereIsNone) {
  ErrorRef error;
  machine.propertyLists.readDictionary(
      "/Volumes/preboot/" + kBootedGroup + "/var/db/.com.corvane.templatemigration", &error);
  ASSERT_EQ(error->code(), ENOENT);
  expectAbsent(error->description());
}

TEST_F(MigrationCookie, IsAbsentWhereTheFileIsMalformed) {
  machine.fileSystem.write(kCookiePath, "no property list");
  const auto controller = createController();
  EXPECT_EQ(controller->templateMigrationCookie(), std::nullopt);
  EXPECT_EQ(machine.log.messages().size(), 1U);
}

TEST_F(MigrationCookie, IsAbsentWhereAFolderHasItsPlace) {
  machine.fileSystem.makeFolder(kCookiePath);
  const auto controller = createController();
  EXPECT_EQ(controller->templateMigrationCookie(), std::nullopt);
  EXPECT_EQ(machine.log.messages().size(), 1U);
}

TEST_F(MigrationCookie, IsAbsentAfterTheReadErrorWasLogged) {
  writeCookie();
  machine.faults.fail("PropertyListFiles.readDictionary",
                      makePOSIXError(EIO, {{kLocalizedDescriptionKey, std::string("bad sector")}}));
  expectAbsent("POSIXErrorDomain code 5: bad sector");
}

TEST_F(MigrationCookie, OfAnotherGroupIsNotTaken) {
  PropertyListDictionary cookie;
  machine.fileSystem.writeDictionary(
      "/@disk0s3/" + kOtherGroup + "/var/db/.com.corvane.templatemigration", cookie);
  EXPECT_EQ(createController()->templateMigrationCookie(), std::nullopt);
}

TEST_F(MigrationCookie, IsAMissingFileWhereThePrebootVolumeIsMissing) {
  const auto controller = createController();
  machine.partitions.removeVolume(kPrebootVolume);
  EXPECT_EQ(controller->templateMigrationCookie(), std::nullopt);
  EXPECT_EQ(logged(), (Texts{"Log.error Failed to find preboot volume for container: /dev/disk0",
                             "Log.default[Operations] Failed to load Template Migration cookie: "
                             "POSIXErrorDomain code 2: No such file or directory"}));
  EXPECT_FALSE(machine.journal.contains("PropertyListFiles."));
}

TEST_F(MigrationCookie, IsReadAnewAtEachCall) {
  const auto controller = createController();
  EXPECT_EQ(controller->templateMigrationCookie(), std::nullopt);
  const auto cookie = writeCookie();
  EXPECT_EQ(controller->templateMigrationCookie(), cookie);
}

TEST_F(MigrationCookie, IsNeitherChangedNorRemoved) {
  const auto cookie = writeCookie();
  createController()->templateMigrationCookie();
  EXPECT_EQ(machine.fileSystem.dictionary(kCookiePath), cookie);
  EXPECT_FALSE(machine.journal.contains("PropertyListFiles.writeDictionary"));
}

}  // namespace
}  // namespace marrow
