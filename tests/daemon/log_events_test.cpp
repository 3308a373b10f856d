// Which messages of a run are events, and which ones: each is known by how its text begins.
#include "tests/daemon/manager_test.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <vector>

namespace marrow {
namespace {

using testing::ElementsAre;

const std::map<std::string, LogEvent> kEvents = {
    {"Daemon starting up", LogEvent::daemonStarted},
    {"Failed to initialize MWStorageController", LogEvent::storageNotFound},
    {"All Marrow operations have completed", LogEvent::allOperationsSucceeded},
    {"One of the Marrow operations has failed", LogEvent::operationFailed},
    {"Brume stash and system reboot", LogEvent::rebootBegun},
    {"cks_br_commit_stashed_kek() returned", LogEvent::stashedKeyNotCommitted},
    {"Failed to perform a full system reboot", LogEvent::rebootFailed},
    {"MWOperationQueue: Performing", LogEvent::operationStarted},
    {"MWOperationQueue: Skipping", LogEvent::operationSkipped},
    {"MWOperationQueue: Simulating error", LogEvent::errorSimulated},
    {"MWOperationQueue: Simulating panic", LogEvent::panicSimulated},
    {"MWOperationQueue: Exercising", LogEvent::operationRepeated},
    {"Unable to cache data volume keys", LogEvent::volumeKeysNotCached},
    {"Unable to take container offline", LogEvent::containerNotOffline},
    {"Skipping MWLoamMigratorOperation", LogEvent::migrationNotNeeded},
    {"Failed to stat(", LogEvent::dataVolumeNotReadable},
    {"Running Loam Migrator", LogEvent::migratorStarted},
    {"Failed to launch Loam migrator", LogEvent::migratorNotLaunched},
    {"Failed to read Loam migrator", LogEvent::migratorOutputNotRead},
    {"Loam Migrator Output", LogEvent::migratorOutput},
    {"Loam Migrator exited", LogEvent::migratorFailed},
    {"bootpolicy_update_local_policy_nonce_end", LogEvent::bootPolicyNotCommitted},
    {"Updated ", LogEvent::bootObjectsInstalled},
    {"Template Migration cookie contains", LogEvent::blessSkipped},
    {"Failed to bless", LogEvent::blessFailed},
};

LogEvent eventOf(const std::string& text) {
  for (const auto& [beginning, event] : kEvents) {
    if (text.starts_with(beginning)) {
      return event;
    }
  }
  return LogEvent::none;
}

// The events of the log, in order.
std::vector<LogEvent> eventsOf(const InMemoryLog& log) {
  std::vector<LogEvent> events;
  for (const LogMessage& message : log.messages()) {
    EXPECT_EQ(message.origin.event, eventOf(message.text)) << message.text;
    EXPECT_GT(message.origin.place.line, 0U) << message.text;
    if (message.origin.event != LogEvent::none) {
      events.push_back(message.origin.event);
    }
  }
  return events;
}

class LogEventsTest : public ManagerTest {
 protected:
  std::vector<LogEvent> run() {
    runDaemon();
    return eventsOf(machine.log);
  }

  std::vector<LogEvent> simulate(const std::string& command) {
    machine.osVariant.setInternalContent(true);
    machine.firmware.set("postota-sim-step", "MWUnmountContainerOperation");
    machine.firmware.set("postota-sim-command", command);
    return run();
  }
};

TEST_F(LogEventsTest, AreTheStartOfEachStepAndTheEndOfARun) {
  EXPECT_THAT(run(), ElementsAre(LogEvent::daemonStarted, LogEvent::operationStarted,
                                 LogEvent::operationStarted, LogEvent::migratorStarted,
                                 LogEvent::migratorOutput, LogEvent::operationStarted,
                                 LogEvent::operationStarted, LogEvent::bootObjectsInstalled,
                                 LogEvent::operationStarted, LogEvent::allOperationsSucceeded,
                                 LogEvent::rebootBegun));
}

TEST_F(LogEventsTest, ASimulationSaysWhatItDoes) {
  EXPECT_THAT(simulate("error"), ElementsAre(LogEvent::daemonStarted, LogEvent::operationStarted,
                                             LogEvent::errorSimulated, LogEvent::operationFailed,
                                             LogEvent::rebootBegun));
}

TEST_F(LogEventsTest, ASimulatedPanicIsTheLastOne) {
  EXPECT_THAT(simulate("_panic"), ElementsAre(LogEvent::daemonStarted, LogEvent::panicSimulated));
}

TEST_F(LogEventsTest, AStepThatIsLeftOutSaysSo) {
  EXPECT_THAT(simulate("skip"), testing::Contains(LogEvent::operationSkipped));
}

TEST_F(LogEventsTest, AStepThatIsRepeatedSaysSo) {
  machine.firmware.set("postota-sim-repeat", "2");
  EXPECT_THAT(simulate("exercise"), testing::Contains(LogEvent::operationRepeated));
}

TEST_F(LogEventsTest, EachFailureOfACallIsTheEventThatItsTextTells) {
  run();
  const std::size_t calls = machine.journal.calls().size();
  std::set<LogEvent> seen;
  for (std::size_t number = 1; number <= calls; ++number) {
    InMemoryHost failing;
    useLogService(&failing.log);
    failing.faults.failCallNumber(number, EIO);
    try {
      processEntry(failing.host());
    } catch (const RunEnded&) {
    }
    const auto events = eventsOf(failing.log);
    seen.insert(events.begin(), events.end());
  }
  for (const LogEvent failure :
       {LogEvent::storageNotFound, LogEvent::stashedKeyNotCommitted, LogEvent::rebootFailed,
        LogEvent::volumeKeysNotCached, LogEvent::containerNotOffline,
        LogEvent::dataVolumeNotReadable, LogEvent::migratorNotLaunched,
        LogEvent::migratorOutputNotRead, LogEvent::bootPolicyNotCommitted, LogEvent::blessFailed}) {
    EXPECT_TRUE(seen.contains(failure)) << static_cast<int>(failure);
  }
}

}  // namespace
}  // namespace marrow
