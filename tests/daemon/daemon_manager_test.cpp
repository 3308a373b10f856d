#include "operations/commit_boot_objects_operation.h"
#include "operations/commit_boot_policy_operation.h"
#include "tests/daemon/manager_test.h"

#include <cerrno>

namespace marrow {
namespace {

class DaemonManagerTest : public ManagerTest {
 protected:
  // Runs the started manager to its end and gives back what the queue then holds.
  std::vector<std::string> queueAfterRun(const std::shared_ptr<MWDaemonManager>& manager) {
    manager->start();
    endOf([this] { machine.queues.runUntilIdle(); });
    std::vector<std::string> names;
    for (const auto& operation : manager->operationQueue()->queue()) {
      names.push_back(operation->className());
    }
    return names;
  }
};

TEST_F(DaemonManagerTest, QueuesUnmountMigrateAndBlessWhenNotBootedFromTheProposedNonce) {
  machine.registry.remove(machine.registry.atPath(kBootNonceEntry));
  const auto manager = makeManager();
  EXPECT_EQ(queueAfterRun(manager),
            (std::vector<std::string>{"MWUnmountContainerOperation", "MWLoamMigratorOperation",
                                      "MWBlessVolumeOperation"}));
}

TEST_F(DaemonManagerTest, QueuesThreeWhenTheBootedDigestIsUnknown) {
  machine.registry.removeProperty(machine.registry.atPath(kBootNonceEntry), "lp-lpnh");
  EXPECT_EQ(queueAfterRun(makeManager()).size(), 3U);
}

TEST_F(DaemonManagerTest, QueuesThreeWhenTheProposedDigestIsUnknown) {
  machine.faults.fail("BootPolicy.proposedNonceDigest", ENOENT);
  EXPECT_EQ(queueAfterRun(makeManager()).size(), 3U);
}

TEST_F(DaemonManagerTest, QueuesAllFiveWhenBootedFromTheProposedNonce) {
  const auto manager = makeManager();
  EXPECT_EQ(queueAfterRun(manager),
            (std::vector<std::string>{"MWUnmountContainerOperation", "MWLoamMigratorOperation",
                                      "MWCommitBootPolicyOperation", "MWCommitBootObjectsOperation",
                                      "MWBlessVolumeOperation"}));
}

TEST_F(DaemonManagerTest, LinksThePolicyOperationToTheObjectsOperationQueuedRightAfterIt) {
  const auto manager = makeManager();
  queueAfterRun(manager);
  const auto queue = manager->operationQueue()->queue();
  ASSERT_EQ(queue.size(), 5U);
  const auto policy = std::dynamic_pointer_cast<MWCommitBootPolicyOperation>(queue[2]);
  ASSERT_NE(policy, nullptr);
  EXPECT_EQ(policy->bootObjectsOperation(), queue[3]);
}

TEST_F(DaemonManagerTest, ShowsAHalfAsFiftyPercentAnimated) {
  const auto manager = makeManager();
  manager->operationQueueReceivedEstimatedTimeRemaining(*manager->operationQueue(), 10, 0.5F);
  machine.queues.runUntilIdle();
  EXPECT_EQ(machine.display.steps(),
            (std::vector<InMemoryDisplay::Step>{{.percentage = 50.0F, .animated = true}}));
}

TEST_F(DaemonManagerTest, TheTimeRemainingHasNoEffectOnTheProgressShown) {
  const auto manager = makeManager();
  manager->operationQueueReceivedEstimatedTimeRemaining(*manager->operationQueue(), 0, 0.25F);
  manager->operationQueueReceivedEstimatedTimeRemaining(*manager->operationQueue(), ~0ULL, 0.25F);
  machine.queues.runUntilIdle();
  const InMemoryDisplay::Step quarter = {.percentage = 25.0F, .animated = true};
  EXPECT_EQ(machine.display.steps(), (std::vector<InMemoryDisplay::Step>{quarter, quarter}));
}

TEST_F(DaemonManagerTest, ProgressIsShownOnTheMainQueueAfterTheReportHasReturned) {
  const auto manager = makeManager();
  manager->operationQueueReceivedEstimatedTimeRemaining(*manager->operationQueue(), 0, 0.5F);
  EXPECT_TRUE(machine.display.steps().empty());
  machine.queues.runUntilIdle();
  EXPECT_EQ(machine.journal.queuesOf("KQUnifiedProgressClient.setProgress"),
            std::vector<std::string>{"main"});
}

TEST_F(DaemonManagerTest, AFailedQueueStillHandsTelemetryOverAndReboots) {
  machine.faults.fail("DVStaticLoamVolume.unmount", EBUSY);
  const RunEnded end = runDaemon();
  EXPECT_EQ(end.kind, RunEnded::Kind::exit);
  EXPECT_EQ(end.status, 0);
  EXPECT_TRUE(machine.reboot.wasAccepted());
  EXPECT_TRUE(machine.journal.inOrder("Files.fullSync", "Reboot.reboot"));
  ASSERT_EQ(machine.log.texts(LogLevel::error).size(), 2U);
  EXPECT_TRUE(machine.log.texts(LogLevel::error)[1].starts_with(
      "One of the Marrow operations has failed: POSIXErrorDomain code 16"));
  EXPECT_TRUE(machine.journal.inOrder("Log.error One of the Marrow operations", "Files.fullSync"));
}

TEST_F(DaemonManagerTest, AFailedKeyCommitIsLoggedAndStillLeadsToTheReboot) {
  machine.faults.fail("KeyStore.cks_br_commit_stashed_kek", 5);
  EXPECT_EQ(runDaemon().status, 0);
  EXPECT_TRUE(machine.log.has(LogLevel::error, "", "cks_br_commit_stashed_kek() returned 5"));
  EXPECT_FALSE(machine.log.has(LogLevel::standard, "Brume stash commit was successful."));
  EXPECT_TRUE(machine.reboot.wasAccepted());
}

TEST_F(DaemonManagerTest, ARefusedRebootIsLoggedAndItsStatusIsTheExitStatus) {
  machine.faults.fail("Reboot.reboot", 13);
  const RunEnded end = runDaemon();
  EXPECT_EQ(end.kind, RunEnded::Kind::exit);
  EXPECT_EQ(end.status, 13);
  EXPECT_TRUE(machine.log.has(LogLevel::error, "", "Failed to perform a full system reboot. 13"));
}

TEST_F(DaemonManagerTest, StashesMutesDarkensAndRebootsInThisOrderWithBit63Alone) {
  const auto manager = makeManager();
  machine.journal.clear();
  endOf([&] { manager->_stashAndReboot(); });
  EXPECT_EQ(
      machine.journal.calls(),
      (std::vector<std::string>{
          "Log.default Brume stash and system reboot is being performed...",
          "KeyStore.cks_br_commit_stashed_kek", "Log.default Brume stash commit was successful.",
          "KWUtilities.muteBootChimeForNextReboot", "KWUtilities.enableDarkReboot",
          "Reboot.reboot 0x8000000000000000", "Process.exit 0"}));
}

TEST_F(DaemonManagerTest, FailuresOfTheStashAndOfTheRebootAreLoggedWhereTheyHappen) {
  const auto manager = makeManager();
  machine.faults.fail("KeyStore.cks_br_commit_stashed_kek", 5);
  machine.faults.fail("Reboot.reboot", 13);
  machine.journal.clear();
  endOf([&] { manager->_stashAndReboot(); });
  EXPECT_EQ(
      machine.journal.calls({"Log.", "KeyStore.", "KWUtilities.", "Reboot.", "Process."}),
      (std::vector<std::string>{
          "Log.default Brume stash and system reboot is being performed...",
          "KeyStore.cks_br_commit_stashed_kek", "Log.error cks_br_commit_stashed_kek() returned 5",
          "KWUtilities.muteBootChimeForNextReboot", "KWUtilities.enableDarkReboot",
          "Reboot.reboot 0x8000000000000000",
          "Log.error Failed to perform a full system reboot. 13", "Process.exit 13"}));
}

TEST_F(DaemonManagerTest, TheRunGoesInAFixedOrder) {
  const auto manager = makeManager();
  manager->start();
  machine.journal.clear();
  endOf([this] { machine.queues.runUntilIdle(); });
  EXPECT_EQ(machine.journal.calls({"FirmwareVariables.setString postota-sim-repeat",
                                   "BootPolicy.proposedNonceDigest", "TaskQueues.createSerialQueue",
                                   "Log.default All Marrow", "Files.open /private/tmp",
                                   "FileTrees.moveFile", "Log.default Brume stash and"}),
            (std::vector<std::string>{
                "FirmwareVariables.setString postota-sim-repeat deleted",
                "BootPolicy.proposedNonceDigest",
                "TaskQueues.createSerialQueue com.corvane.MWOperationQueue.Progress",
                "Log.default All Marrow operations have completed successfully!",
                "Files.open /private/tmp/loam_migrator_metrics.dat readOnly|nonBlocking|noFollow",
                "FileTrees.moveFile /private/tmp/loam_migrator.log -> " +
                    machine.partitions.mountPaths(kUpdateVolume).front() + "/loam_migrator.log",
                "Log.default Brume stash and system reboot is being performed..."}));
}

TEST_F(DaemonManagerTest, LogsTheStashAndItsSuccess) {
  runDaemon();
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "",
                              "Brume stash and system reboot is being performed..."));
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "", "Brume stash commit was successful."));
}

TEST_F(DaemonManagerTest, WithoutAStorageControllerItRebootsAndRunsNothing) {
  machine.kernelVariables.remove("kern.bootuuid");
  EXPECT_EQ(runDaemon().status, 0);
  EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                              "Failed to initialize MWStorageController: POSIXErrorDomain code 2: "
                              "Unable to retrieve 'kern.bootuuid'"));
  EXPECT_TRUE(machine.journal.inOrder("Log.error Failed to initialize", "Log.default Brume stash"));
  EXPECT_TRUE(machine.reboot.wasAccepted());
  EXPECT_TRUE(performed().empty());
  EXPECT_TRUE(machine.power.held().empty());
  EXPECT_FALSE(machine.journal.contains("ProgressDisplay."));
}

TEST_F(DaemonManagerTest, CreatesItsPartsInOrder) {
  const auto manager = makeManager();
  EXPECT_TRUE(machine.journal.inOrder("TaskQueues.createSerialQueue", "KernelVariables.string"));
  EXPECT_TRUE(machine.journal.inOrder("KernelVariables.string", "PowerAssertions.create"));
  EXPECT_TRUE(machine.journal.inOrder("PowerAssertions.create", "ProgressDisplay.createClient"));
  EXPECT_EQ(machine.queues.createdLabels(),
            (std::vector<std::string>{"com.corvane.marrowd.DaemonManager",
                                      "MWStorageController.DASession"}));
  EXPECT_EQ(machine.display.phaseNames(), std::vector<std::string>{"Marrow"});
  EXPECT_EQ(machine.power.held().size(), 3U);
  EXPECT_EQ(manager->operationQueue()->delegate(), manager);
  EXPECT_EQ(manager->operationQueue()->dataSource(), manager->stateManager());
}

TEST_F(DaemonManagerTest, StartRefusesMountsThenShowsTheDisplayAtZeroAndReturnsBeforeTheRun) {
  const auto manager = makeManager();
  machine.journal.clear();
  manager->start();
  const auto calls = machine.journal.calls(
      {"DiskArbitration.createSession", "KQUnifiedProgressClient.", "GraphicsServer."});
  ASSERT_EQ(calls.size(), 4U);
  EXPECT_EQ(calls[0], "DiskArbitration.createSession");
  EXPECT_EQ(calls[1], "KQUnifiedProgressClient.showProgressUI");
  EXPECT_TRUE(calls[2].starts_with("KQUnifiedProgressClient.setProgress 0"));
  EXPECT_EQ(calls[3], "GraphicsServer.enableDisplayUpdates");
  EXPECT_EQ(machine.display.steps(),
            (std::vector<InMemoryDisplay::Step>{{.percentage = 0.0F, .animated = false}}));
  EXPECT_TRUE(performed().empty());
  EXPECT_GT(machine.queues.pendingTasks(), 0U);
}

TEST_F(DaemonManagerTest, RunsOnItsOwnQueue) {
  runDaemon();
  EXPECT_EQ(machine.journal.queuesOf("Reboot.reboot"),
            std::vector<std::string>{"com.corvane.marrowd.DaemonManager"});
  EXPECT_EQ(machine.journal.queuesOf("TaskLauncher.launch"),
            std::vector<std::string>{"com.corvane.marrowd.DaemonManager"});
}

TEST_F(DaemonManagerTest, TheRunKeepsTheManagerAlive) {
  auto manager = makeManager();
  const std::weak_ptr<MWDaemonManager> watched = manager;
  manager->start();
  manager.reset();
  EXPECT_FALSE(watched.expired());
  EXPECT_EQ(endOf([this] { machine.queues.runUntilIdle(); }).status, 0);
}

TEST_F(DaemonManagerTest, EveryFieldHasAGetterAndASetter) {
  const auto manager = makeManager();
  manager->setDaemonQueue(nullptr);
  EXPECT_EQ(manager->daemonQueue(), nullptr);
  manager->setStateManager(nullptr);
  EXPECT_EQ(manager->stateManager(), nullptr);
  manager->setOperationQueue(nullptr);
  EXPECT_EQ(manager->operationQueue(), nullptr);
  manager->setProgressClient(nullptr);
  EXPECT_EQ(manager->progressClient(), nullptr);
}

}  // namespace
}  // namespace marrow
