#include "tests/operations/boot_objects_test.h"

#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

using MWCommitBootObjectsOperationTest = BootObjectsTest;

TEST_F(MWCommitBootObjectsOperationTest, GivesItsClassName) {
  EXPECT_EQ(operation->className(), "MWCommitBootObjectsOperation");
}

TEST_F(MWCommitBootObjectsOperationTest, ExpectsToTakeTenSeconds) {
  EXPECT_EQ(operation->estimatedExecutionTime(), 10.0);
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightSucceedsWhenBothVolumesAreMounted) {
  EXPECT_TRUE(operation->preflight());
  EXPECT_FALSE(operation->error());
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightMountsVolumesThatAreNotMounted) {
  machine.partitions.unmountAll();
  EXPECT_TRUE(operation->preflight());
  EXPECT_TRUE(machine.partitions.isMounted(kPrebootVolume));
  EXPECT_TRUE(machine.partitions.isMounted(kRecoveryVolume));
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightWithoutPrebootFailsWithCodeOne) {
  machine.partitions.removeVolume(kPrebootVolume);
  EXPECT_FALSE(operation->preflight());
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 1);
  EXPECT_EQ(operation->error()->localizedDescription(), "failed to mount preboot");
  EXPECT_FALSE(underlying(operation->error()));
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightWithoutRecoveryFailsWithCodeTwo) {
  machine.partitions.removeVolume(kRecoveryVolume);
  EXPECT_FALSE(operation->preflight());
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 2);
  EXPECT_EQ(operation->error()->localizedDescription(), "failed to mount recovery");
  EXPECT_FALSE(underlying(operation->error()));
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightWithoutBothFailsWithCodeOne) {
  machine.partitions.removeVolume(kPrebootVolume);
  machine.partitions.removeVolume(kRecoveryVolume);
  EXPECT_FALSE(operation->preflight());
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 1);
  EXPECT_EQ(operation->error()->localizedDescription(), "failed to mount preboot");
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightAsksForRecoveryAlsoWithoutPreboot) {
  machine.partitions.unmountAll();
  machine.partitions.removeVolume(kPrebootVolume);
  operation->preflight();
  EXPECT_TRUE(machine.partitions.isMounted(kRecoveryVolume));
}

TEST_F(MWCommitBootObjectsOperationTest, PreflightWithoutADataSourceFailsWithCodeOne) {
  MWCommitBootObjectsOperation alone(machine.files, machine.trees);
  EXPECT_FALSE(alone.preflight());
  expectError(alone.error(), "MWCommitBootObjectsOperationErrorDomain", 1);
}

TEST_F(MWCommitBootObjectsOperationTest, AFailedPreflightChangesNothing) {
  machine.partitions.removeVolume(kRecoveryVolume);
  setCookie(true);
  const auto before = machine.fileSystem.tree("/@disk0s3");
  operation->start();
  EXPECT_FALSE(operation->success());
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 2);
  EXPECT_EQ(machine.fileSystem.tree("/@disk0s3"), before);
  EXPECT_FALSE(machine.journal.contains("FileTrees."));
}

TEST_F(MWCommitBootObjectsOperationTest, AVolumeThatGoesAfterThePreflightFailsLikeThePreflight) {
  class Vanishing : public MWCommitBootObjectsOperation {
   public:
    Vanishing(InMemoryHost& machine)
        : MWCommitBootObjectsOperation(machine.files, machine.trees), _machine(machine) {}
    bool preflight() override {
      const bool ready = MWCommitBootObjectsOperation::preflight();
      _machine.partitions.removeVolume(kRecoveryVolume);
      return ready;
    }

   private:
    InMemoryHost& _machine;
  };
  const auto vanishing = create<Vanishing>(machine);
  vanishing->start();
  EXPECT_FALSE(vanishing->success());
  expectError(vanishing->error(), "MWCommitBootObjectsOperationErrorDomain", 2);
  EXPECT_FALSE(machine.journal.contains("FileTrees."));
}

TEST_F(MWCommitBootObjectsOperationTest, PutsEverythingStagedIntoItsPlace) {
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "new image");
  EXPECT_EQ(contents(preboot + "/restore/manifest"), "new manifest");
  EXPECT_EQ(contents(groupImage), "new image");
  EXPECT_EQ(contents(bootImage), "new image");
}

TEST_F(MWCommitBootObjectsOperationTest, LeavesNothingStagedAndNothingOld) {
  operation->start();
  EXPECT_FALSE(machine.fileSystem.exists(preboot + "/morrel1/proposed"));
  EXPECT_FALSE(machine.fileSystem.exists(preboot + "/restore-staged"));
  EXPECT_FALSE(machine.fileSystem.exists(groupImage + ".staged"));
  EXPECT_FALSE(machine.fileSystem.exists(bootImage + ".staged"));
}

TEST_F(MWCommitBootObjectsOperationTest, WorksInAFixedOrder) {
  setCookie(true);
  operation->start();
  const std::string proposed = preboot + "/morrel1/proposed";
  const std::string staged = preboot + "/restore-staged";
  const std::string active = preboot + "/boot/active";
  EXPECT_THAT(
      machine.journal.calls({"FileTrees.", "Files.", "PropertyListFiles.", "Log.info[Operations]"}),
      ElementsAre(
          StartsWith("PropertyListFiles.readDictionary"),
          "FileTrees.removeRecursively " + preboot + "/downlevel",
          "Log.info[Operations] Removed downlevel at " + preboot + "/downlevel",
          "Files.exists " + proposed, "Files.exists " + preboot + "/morrel1/current",
          "Log.info[Operations] Swapping " + proposed + " -> " + preboot + "/morrel1/current",
          "FileTrees.swap " + proposed + " -> " + preboot + "/morrel1/current",
          "FileTrees.removeRecursively " + proposed,  //
          "Files.exists " + staged, "Files.exists " + preboot + "/restore",
          "Log.info[Operations] Swapping " + staged + " -> " + preboot + "/restore",
          "FileTrees.swap " + staged + " -> " + preboot + "/restore",
          "FileTrees.removeRecursively " + staged,  //
          "Files.exists " + groupImage + ".staged",
          "Log.info[Operations] Renaming " + groupImage + ".staged -> " + groupImage,
          "FileTrees.rename " + groupImage + ".staged -> " + groupImage,
          "Files.exists " + bootImage + ".staged",
          "Log.info[Operations] Renaming " + bootImage + ".staged -> " + bootImage,
          "FileTrees.rename " + bootImage + ".staged -> " + bootImage,
          "Files.open " + active + " writeOnly|nonBlocking|create|truncate|noLinks",
          "Files.write " + active + " " + kNSIH, "Files.close " + active,
          "Log.info[Operations] Updated " + active + " with NSIH = " + kNSIH,
          "Files.open " + preboot + " readOnly|nonBlocking|noLinks", "Files.fullSync " + preboot,
          "Files.close " + preboot, "Files.open " + recovery + " readOnly|nonBlocking|noLinks",
          "Files.fullSync " + recovery, "Files.close " + recovery));
}

TEST_F(MWCommitBootObjectsOperationTest, LogsNothingAboveInfoWhenAllGoesWell) {
  setCookie(true);
  operation->start();
  EXPECT_THAT(machine.log.texts(LogLevel::error), IsEmpty());
  EXPECT_THAT(machine.log.texts(LogLevel::standard), IsEmpty());
}

// ---- The downlevel tree

TEST_F(MWCommitBootObjectsOperationTest, WithoutACookieTheDownlevelTreeStays) {
  operation->start();
  EXPECT_TRUE(machine.fileSystem.exists(preboot + "/downlevel/kernel"));
  EXPECT_THAT(operationsLog(), Not(Contains(HasSubstr("downlevel"))));
}

TEST_F(MWCommitBootObjectsOperationTest, WithoutTheFullUpgradeKeyTheDownlevelTreeStays) {
  PropertyListDictionary cookie;
  cookie.set("AnotherKey", true);
  machine.fileSystem.writeDictionary(kCookiePath, cookie);
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(machine.fileSystem.exists(preboot + "/downlevel/kernel"));
}

TEST_F(MWCommitBootObjectsOperationTest, AFullUpgradeRemovesTheDownlevelTree) {
  setCookie(true);
  operation->start();
  EXPECT_FALSE(machine.fileSystem.exists(preboot + "/downlevel"));
  EXPECT_TRUE(hasLogged(LogLevel::info, "Removed downlevel at " + preboot + "/downlevel"));
}

struct TruthValue {
  const char* name;
  PropertyListValue value;
  bool isTrue;
};

class FullUpgradeValueTest : public BootObjectsTest,
                             public testing::WithParamInterface<TruthValue> {};

TEST_P(FullUpgradeValueTest, DecidesByItsTruth) {
  setCookie(GetParam().value);
  operation->start();
  EXPECT_NE(machine.fileSystem.exists(preboot + "/downlevel"), GetParam().isTrue);
}

INSTANTIATE_TEST_SUITE_P(
    Values, FullUpgradeValueTest,
    testing::Values(TruthValue{"True", true, true}, TruthValue{"False", false, false},
                    TruthValue{"One", std::int64_t{1}, true},
                    TruthValue{"Zero", std::int64_t{0}, false},
                    TruthValue{"Yes", std::string("YES"), true},
                    TruthValue{"No", std::string("NO"), false},
                    TruthValue{"EmptyText", std::string(), false},
                    TruthValue{"EmptyDictionary", PropertyListDictionary(), false}),
    [](const auto& value) { return std::string(value.param.name); });

TEST_F(MWCommitBootObjectsOperationTest, ADownlevelTreeThatIsNotThereIsToldApart) {
  setCookie(true);
  machine.fileSystem.remove(preboot + "/downlevel");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(hasLogged(LogLevel::info, "No downlevel present at " + preboot + "/downlevel"));
}

TEST_F(MWCommitBootObjectsOperationTest, ARemovalThatFailsWithoutAnErrorNumberCountsAsDone) {
  setCookie(true);
  machine.faults.fail("FileTrees.removeRecursively", 0).when("downlevel");
  operation->start();
  EXPECT_TRUE(hasLogged(LogLevel::info, "Removed downlevel at " + preboot + "/downlevel"));
}

TEST_F(MWCommitBootObjectsOperationTest, AFailedRemovalOfTheDownlevelTreeIsToldAndNotFatal) {
  setCookie(true);
  machine.faults.fail("FileTrees.removeRecursively", EBUSY).when("downlevel");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(hasLogged(LogLevel::info, "Failed to remove downlevel at " + preboot +
                                            "/downlevel: 16 (Device or resource busy)"));
  EXPECT_EQ(contents(preboot + "/morrel1/current/image"), "new image");
}

// ---- The active file

TEST_F(MWCommitBootObjectsOperationTest, TheActiveFileHoldsTheNameWithoutALineEnd) {
  operation->start();
  EXPECT_EQ(contents(preboot + "/boot/active"), kNSIH);
  EXPECT_TRUE(
      hasLogged(LogLevel::info, "Updated " + preboot + "/boot/active with NSIH = " + kNSIH));
}

TEST_F(MWCommitBootObjectsOperationTest, AMissingActiveFileIsMade) {
  machine.fileSystem.remove(preboot + "/boot/active");
  operation->start();
  EXPECT_EQ(contents(preboot + "/boot/active"), kNSIH);
}

TEST_F(MWCommitBootObjectsOperationTest, AParentNotNamedBootGetsNoActiveFile) {
  controller->setBootObjectsPath(kBootedGroup + "/start/" + kNSIH);
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(machine.fileSystem.exists(preboot + "/start/active"));
  EXPECT_EQ(contents(preboot + "/boot/active"), "OLD");
  EXPECT_THAT(operationsLog(), Not(Contains(StartsWith("Updated "))));
}

TEST_F(MWCommitBootObjectsOperationTest, ATrailingSlashOfTheBootObjectsPathMeansNothing) {
  controller->setBootObjectsPath(kBootObjectsPath + "/");
  operation->start();
  EXPECT_EQ(contents(preboot + "/boot/active"), kNSIH);
}

TEST_F(MWCommitBootObjectsOperationTest, ALeadingSlashOfTheBootObjectsPathMeansNothing) {
  controller->setBootObjectsPath("/" + kBootObjectsPath);
  operation->start();
  EXPECT_EQ(contents(preboot + "/boot/active"), kNSIH);
}

TEST_F(MWCommitBootObjectsOperationTest, AnEmptyBootObjectsPathGetsNoActiveFile) {
  controller->setBootObjectsPath("");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(contents(preboot + "/boot/active"), "OLD");
  EXPECT_FALSE(machine.journal.contains("Files.write"));
}

class ActiveFileFailureTest : public BootObjectsTest,
                              public testing::WithParamInterface<std::string> {};

TEST_P(ActiveFileFailureTest, IsToldAsUpdatedAndNotFatal) {
  machine.faults.fail(GetParam(), ENOSPC).when("active");
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_TRUE(
      hasLogged(LogLevel::info, "Updated " + preboot + "/boot/active with NSIH = " + kNSIH));
  EXPECT_THAT(machine.files.openPaths(), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(Calls, ActiveFileFailureTest, testing::Values("Files.open", "Files.write"),
                         [](const auto& call) { return call.param.substr(6); });

// ---- The flush

TEST_F(MWCommitBootObjectsOperationTest, FailedFlushesAreNotFatalAndDoNotStopEachOther) {
  machine.faults.fail("Files.fullSync", EIO);
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_FALSE(operation->error());
  EXPECT_THAT(machine.journal.calls("Files.fullSync"),
              ElementsAre("Files.fullSync " + preboot, "Files.fullSync " + recovery));
}

// ---- Error records

TEST_F(MWCommitBootObjectsOperationTest, AnErrorWithoutAnErrorNumberHasNoUnderlyingError) {
  operation->_setErrorWithCode(5, 0, "no %s at %d", "place", 3);
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 5);
  EXPECT_EQ(operation->error()->localizedDescription(), "no place at 3");
  EXPECT_EQ(operation->error()->userInfo().size(), 1U);
}

TEST_F(MWCommitBootObjectsOperationTest, AnErrorWithoutAReasonHasNoDescription) {
  operation->_setErrorWithCode(5, EIO);
  expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", 5);
  expectError(underlying(operation->error()), kPOSIXErrorDomain, EIO);
  EXPECT_EQ(operation->error()->userInfo().size(), 1U);
}

}  // namespace
}  // namespace marrow
