#include "tests/daemon/manager_test.h"

#include <cerrno>

namespace marrow {
namespace {

class WholeRunTest : public ManagerTest {
 protected:
  void expectNewBootObjects() {
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/morrel1/current/image"), "new image");
    EXPECT_FALSE(machine.fileSystem.exists(kPrebootGroup + "/morrel1/proposed"));
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/restore/manifest"), "new manifest");
    EXPECT_FALSE(machine.fileSystem.exists(kPrebootGroup + "/restore-staged"));
    EXPECT_EQ(machine.fileSystem.contents(kRecoveryGroup + "/" + kBaseSystemImage), "new image");
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/boot/active"), kNSIH);
  }

  void expectOldBootObjects() {
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/morrel1/current/image"), "old image");
    EXPECT_TRUE(machine.fileSystem.exists(kPrebootGroup + "/morrel1/proposed"));
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/restore/manifest"), "old manifest");
    EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/boot/active"), "OLD");
    EXPECT_EQ(machine.bootPolicy.nonce(), kNonceInForce);
  }

  void arm(const std::string& step, const std::string& command) {
    machine.osVariant.setInternalContent(true);
    machine.firmware.set("postota-sim-step", step);
    machine.firmware.set("postota-sim-command", command);
  }
};

TEST_F(WholeRunTest, FinishesTheUpgradeAndReboots) {
  const RunEnded end = runDaemon();
  EXPECT_EQ(end.kind, RunEnded::Kind::exit);
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(machine.reboot.wasAccepted());
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "",
                              "All Marrow operations have completed successfully!"));
  expectNewBootObjects();
  EXPECT_EQ(machine.bootPolicy.nonce(), kProposedNonce);
  EXPECT_EQ(machine.installer.blessed(), "/dev/" + kSystemVolume);
  EXPECT_EQ(machine.firmware.committedValue("OTA-migrator-metrics"), "volumes=7 errors=0");
  EXPECT_EQ(machine.keyStore.stash(), InMemoryKeyStore::Stash::committed);
  EXPECT_EQ(machine.registry.references(), 1 + 1 + 5)
      << "one for each volume whose mount was refused, and none else";
}

TEST_F(WholeRunTest, PerformsTheOperationsInOrder) {
  runDaemon();
  EXPECT_EQ(performed(),
            (std::vector<std::string>{"MWUnmountContainerOperation", "MWLoamMigratorOperation",
                                      "MWCommitBootPolicyOperation", "MWCommitBootObjectsOperation",
                                      "MWBlessVolumeOperation"}));
}

TEST_F(WholeRunTest, WithAnotherNonceTheOldBootObjectsStay) {
  machine.bootPolicy.setProposedNonce("some other nonce");
  runDaemon();
  expectOldBootObjects();
  EXPECT_EQ(machine.installer.blessed(), "/dev/" + kSystemVolume);
}

TEST_F(WholeRunTest, AMigratorThatFailsItsDryRunStopsNothing) {
  machine.launcher.install(kMigratorPath,
                           [](const auto&) { return ProgramResult{.output = "no", .status = 3}; });
  runDaemon();
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "",
                              "All Marrow operations have completed successfully!"));
  EXPECT_TRUE(
      machine.log.has(LogLevel::error, "Operations", "Loam Migrator exited with status: 3"));
  expectNewBootObjects();
}

TEST_F(WholeRunTest, AMissingMigratorEndsTheOperationsBeforeAnythingIsCommitted) {
  machine.launcher.uninstall(kMigratorPath);
  EXPECT_EQ(runDaemon().status, 0);
  expectOldBootObjects();
  EXPECT_EQ(machine.installer.blessed(), std::nullopt);
  EXPECT_TRUE(machine.reboot.wasAccepted());
  EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                              "One of the Marrow operations has failed: "
                              "MWLoamMigratorOperationErrorDomain code 3 (underlying "
                              "POSIXErrorDomain code 2: Cannot start " +
                                  kMigratorPath + ")"));
}

TEST_F(WholeRunTest, WithoutARecoveryVolumeTheNonceIsNotCommitted) {
  machine.partitions.removeVolume(kRecoveryVolume);
  runDaemon();
  expectOldBootObjects();
  EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                              "One of the Marrow operations has failed: "
                              "MWCommitBootObjectsOperationErrorDomain code 2: failed to mount "
                              "recovery"));
}

TEST_F(WholeRunTest, TheRunMakesProgressVisible) {
  machine.launcher.install(kMigratorPath, [this](const std::vector<std::string>& arguments) {
    for (std::size_t index = 0; index + 1 < arguments.size(); ++index) {
      if (arguments[index] == "-g") {
        machine.fileSystem.write(arguments[index + 1], "50\n");
      }
    }
    machine.clock.advance(1.0);
    return ProgramResult{};
  });
  runDaemon();
  const auto& steps = machine.display.steps();
  ASSERT_GE(steps.size(), 2U);
  EXPECT_EQ(steps.front(), (InMemoryDisplay::Step{.percentage = 0.0F, .animated = false}));
  // Five seconds of unmounting are done, and half of the migrator's 300, of 330 in all.
  EXPECT_FLOAT_EQ(steps.back().percentage, (150.0F + 5.0F) / 330.0F * 100.0F);
  EXPECT_TRUE(steps.back().animated);
}

TEST_F(WholeRunTest, ForeignMountsAreRefusedUntilTheMigratorIsThrough) {
  std::optional<DADissent> duringMigration;
  machine.launcher.install(kMigratorPath, [&](const auto&) {
    duringMigration = machine.arbitration.requestMount(kRecoveryVolume);
    return ProgramResult{};
  });
  runDaemon();
  ASSERT_TRUE(duringMigration.has_value());
  EXPECT_EQ(duringMigration->status, 0xF8DA0004U);
  EXPECT_EQ(duringMigration->statusText, "in use by marrowd");
  EXPECT_EQ(machine.arbitration.scheduledSessions(), 0U);
}

TEST_F(WholeRunTest, ASimulatedErrorOfTheLastStepIsWhatTheLogTells) {
  arm("MWBlessVolumeOperation", "error");
  runDaemon();
  EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                              "One of the Marrow operations has failed: POSIXErrorDomain code 89"));
  EXPECT_EQ(machine.installer.blessed(), "/dev/" + kSystemVolume);
  EXPECT_EQ(machine.firmware.value("postota-sim-step"), std::nullopt);
}

TEST_F(WholeRunTest, ASkippedStepLeavesTheRestToRun) {
  arm("MWLoamMigratorOperation", "skip");
  runDaemon();
  EXPECT_TRUE(machine.launcher.launches().empty());
  expectNewBootObjects();
}

TEST_F(WholeRunTest, ASimulatedPanicEndsTheMachine) {
  arm("MWCommitBootPolicyOperation", "_panic");
  const RunEnded end = runDaemon();
  EXPECT_EQ(end.kind, RunEnded::Kind::panic);
  EXPECT_EQ(end.text, "MWOperationQueue simulated panic");
  expectOldBootObjects();
}

TEST_F(WholeRunTest, ASecondRunFindsNothingLeftToDoAndSucceeds) {
  runDaemon();
  machine.restart();
  machine.log.clear();
  EXPECT_EQ(runDaemon().status, 0);
  expectNewBootObjects();
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "",
                              "All Marrow operations have completed successfully!"));
}

}  // namespace
}  // namespace marrow
