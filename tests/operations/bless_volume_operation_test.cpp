#include "operations/bless_volume_operation.h"

#include "tests/operations/operation_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr char kSkipped[] =
    "Template Migration cookie contains AlternateBlessTargetUUID, skipping bless";

class MWBlessVolumeOperationTest : public OperationTest {
 protected:
  MWBlessVolumeOperationTest() : operation(create<MWBlessVolumeOperation>(machine.installer)) {}

  void putCookie(const std::string& key, PropertyListValue value) {
    PropertyListDictionary cookie;
    cookie.set(key, std::move(value));
    machine.fileSystem.writeDictionary(kCookiePath, cookie);
  }

  void expectSkipped() {
    operation->start();
    EXPECT_TRUE(operation->success());
    EXPECT_FALSE(operation->error());
    EXPECT_FALSE(machine.journal.contains("KWUtilities.blessDevice"));
    EXPECT_TRUE(hasLogged(LogLevel::standard, kSkipped));
  }

  void expectBlessed() {
    operation->start();
    EXPECT_TRUE(operation->success());
    EXPECT_FALSE(operation->error());
    EXPECT_EQ(machine.installer.blessed(), "/dev/disk0s4");
    EXPECT_FALSE(machine.log.has(LogLevel::standard, kSkipped));
  }

  const std::shared_ptr<MWBlessVolumeOperation> operation;
};

TEST_F(MWBlessVolumeOperationTest, GivesItsClassName) {
  EXPECT_EQ(operation->className(), "MWBlessVolumeOperation");
}

TEST_F(MWBlessVolumeOperationTest, ExpectsToTakeFiveSeconds) {
  EXPECT_EQ(operation->estimatedExecutionTime(), 5.0);
}

TEST_F(MWBlessVolumeOperationTest, WithoutACookieItBlessesTheSystemVolume) { expectBlessed(); }

TEST_F(MWBlessVolumeOperationTest, BlessesForGoodNotForOneStart) {
  operation->start();
  EXPECT_THAT(machine.journal.calls("KWUtilities.blessDevice"),
              ElementsAre("KWUtilities.blessDevice /dev/disk0s4 oneTime=false"));
  EXPECT_FALSE(machine.installer.blessedOnce());
}

TEST_F(MWBlessVolumeOperationTest, ReadsTheCookieBeforeItBlesses) {
  operation->start();
  EXPECT_TRUE(machine.journal.inOrder("PropertyListFiles.readDictionary", "KWUtilities.bless"));
}

TEST_F(MWBlessVolumeOperationTest, ACookieWithoutTheKeyLeadsToTheBless) {
  putCookie("TemplateMigrationFullUpgradeKey", true);
  expectBlessed();
}

TEST_F(MWBlessVolumeOperationTest, ACookieWithAnotherCaseOfTheKeyLeadsToTheBless) {
  putCookie("alternateblesstargetuuid", std::string("X"));
  expectBlessed();
}

TEST_F(MWBlessVolumeOperationTest, AnAlternateTargetSkipsTheBless) {
  putCookie("AlternateBlessTargetUUID", kOtherGroup);
  expectSkipped();
}

TEST_F(MWBlessVolumeOperationTest, AnAlternateTargetWithAnEmptyStringSkipsTheBless) {
  putCookie("AlternateBlessTargetUUID", std::string());
  expectSkipped();
}

TEST_F(MWBlessVolumeOperationTest, AnAlternateTargetThatIsFalseSkipsTheBless) {
  putCookie("AlternateBlessTargetUUID", false);
  expectSkipped();
}

TEST_F(MWBlessVolumeOperationTest, ASkippedBlessDoesNotLookForTheSystemVolume) {
  machine.partitions.removeVolume(kSystemVolume);
  putCookie("AlternateBlessTargetUUID", std::string());
  expectSkipped();
}

TEST_F(MWBlessVolumeOperationTest, AFailedBlessIsCodeOneWithoutUserInfo) {
  machine.faults.fail("KWUtilities.blessDevice", EIO);
  operation->start();
  EXPECT_FALSE(operation->success());
  expectError(operation->error(), "MWBlessVolumeOperationErrorDomain", 1);
  EXPECT_THAT(operation->error()->userInfo(), IsEmpty());
}

TEST_F(MWBlessVolumeOperationTest, AFailedBlessIsLoggedOnceAtTheDefaultLevel) {
  machine.faults.fail("KWUtilities.blessDevice", EIO);
  operation->start();
  EXPECT_TRUE(hasLogged(LogLevel::standard, "Failed to bless /dev/disk0s4"));
  EXPECT_THAT(machine.log.texts(LogLevel::error), IsEmpty());
}

TEST_F(MWBlessVolumeOperationTest, AMissingSystemVolumeFailsInTheBless) {
  machine.partitions.removeVolume(kSystemVolume);
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_THAT(machine.journal.calls("KWUtilities.blessDevice"),
              ElementsAre("KWUtilities.blessDevice (null) oneTime=false"));
  EXPECT_TRUE(hasLogged(LogLevel::standard, "Failed to bless (null)"));
  expectError(operation->error(), "MWBlessVolumeOperationErrorDomain", 1);
}

TEST_F(MWBlessVolumeOperationTest, WithoutADataSourceItFailsInTheBless) {
  MWBlessVolumeOperation alone(machine.installer);
  EXPECT_FALSE(alone.execute());
  expectError(alone.error(), "MWBlessVolumeOperationErrorDomain", 1);
}

TEST_F(MWBlessVolumeOperationTest, WhenRunAgainAfterAFailureItBlesses) {
  machine.faults.fail("KWUtilities.blessDevice", EIO).once();
  operation->start();
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(machine.installer.blessed(), "/dev/disk0s4");
}

}  // namespace
}  // namespace marrow
