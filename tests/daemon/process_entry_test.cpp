#include "tests/daemon/manager_test.h"

namespace marrow {
namespace {

using ProcessEntryTest = ManagerTest;

TEST_F(ProcessEntryTest, OutsideTheBaseSystemItReturns77AndTouchesNothing) {
  machine.osVariant.setBaseSystem(false);
  machine.journal.clear();
  EXPECT_EQ(processEntry(machine.host()), 77);
  EXPECT_EQ(machine.journal.calls(),
            std::vector<std::string>{"OSVariant.isBaseSystem com.corvane.marrowd"});
  EXPECT_TRUE(machine.log.messages().empty());
}

TEST_F(ProcessEntryTest, TheFirstMessageIsTheStartAndItIsOnTheConsoleBeforeAnythingElseHappens) {
  machine.fileSystem.makeFolder("/dev");
  runDaemon();
  ASSERT_FALSE(machine.log.messages().empty());
  const LogMessage first = machine.log.messages().front();
  EXPECT_EQ(first.level, LogLevel::standard);
  EXPECT_EQ(first.subsystem, "com.corvane.Marrow");
  EXPECT_EQ(first.category, "");
  EXPECT_EQ(first.text, "Daemon starting up...");
  EXPECT_TRUE(machine.journal.calls("Files.write")
                  .front()
                  .ends_with("com.corvane.Marrow: Daemon starting up...\n"));
  EXPECT_TRUE(machine.journal.inOrder("Files.write", "Process.setIsDaemon"));
  EXPECT_TRUE(machine.journal.inOrder("Process.setIsDaemon", "TaskQueues.createSerialQueue"));
}

TEST_F(ProcessEntryTest, DeclaresItselfADaemon) {
  runDaemon();
  EXPECT_TRUE(machine.process.isDaemon());
}

TEST_F(ProcessEntryTest, ReturnsZeroWhenTheMainLoopEnds) {
  // Nothing waits on the daemon's queue when it has been cut off, so the loop runs dry.
  machine.faults.before("TaskQueues.runMainLoop", [this] { machine.queues.dropEverything(); });
  EXPECT_EQ(processEntry(machine.host()), 0);
}

}  // namespace
}  // namespace marrow
