// The firmware variables that arm a simulated action.
#include "tests/engine/queue_test.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <optional>
#include <string>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class SimulationVariables : public QueueTest {
 protected:
  void set(const std::string& step, const std::string& command,
           const std::optional<std::string>& repeat = std::nullopt) {
    machine.firmware.set("postota-sim-step", step);
    machine.firmware.set("postota-sim-command", command);
    if (repeat) {
      machine.firmware.set("postota-sim-repeat", *repeat);
    }
  }

  void expectVariablesGone() const {
    for (const char* key : {"postota-sim-step", "postota-sim-command", "postota-sim-repeat"}) {
      EXPECT_EQ(machine.firmware.value(key), std::nullopt) << key;
    }
  }

  bool isArmed() const { return queue->simulateAction() != nullptr; }

  // How often an operation runs that is exercised with this value of the repeat variable, and that
  // fails at its fifth run.
  int runsOfExercise(const std::optional<std::string>& repeat) {
    set("MWExercised", "exercise", repeat);
    queue->setQueue({});
    const auto operation =
        add("MWExercised", 1.0, [](TestOperation& running) { return running.runs() < 5; });
    queue->setSimulatedActionFromNVRAM();
    run();
    return operation->runs();
  }
};

TEST_F(SimulationVariables, ArmTheirActionForTheirStep) {
  set("MWFirst", "error");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_EQ(queue->simulateOperationName(), "MWFirst");
  EXPECT_TRUE(isArmed());
}

TEST_F(SimulationVariables, ErrorForTheBlessStepRunsItAndFailsWithItsResult) {
  set("MWBlessVolumeOperation", "error");
  queue->setSimulatedActionFromNVRAM();
  add("MWUnmountContainerOperation");
  add("MWBlessVolumeOperation");
  EXPECT_FALSE(run());
  EXPECT_THAT(executions(), ElementsAre("MWUnmountContainerOperation", "MWBlessVolumeOperation"));
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), "POSIXErrorDomain");
  EXPECT_EQ(error->code(), 89);
  EXPECT_EQ(error->userInfo(), (UserInfo{{"MWOperationSuccess", true}}));
}

TEST_F(SimulationVariables, SkipForTheFirstStepRunsTheRest) {
  set("MWUnmountContainerOperation", "skip");
  queue->setSimulatedActionFromNVRAM();
  add("MWUnmountContainerOperation", 1.0, failSilently);
  add("MWBlessVolumeOperation");
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWBlessVolumeOperation"));
}

TEST_F(SimulationVariables, AreReadDeletedAndCommittedInThisOrder) {
  set("MWFirst", "exercise", "3");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_THAT(machine.journal.calls({"OSVariant.", "FirmwareVariables."}),
              ElementsAre("OSVariant.hasInternalContent com.corvane.marrowd",
                          "FirmwareVariables.string postota-sim-step",
                          "FirmwareVariables.string postota-sim-command",
                          "FirmwareVariables.string postota-sim-repeat",
                          "FirmwareVariables.setString postota-sim-step deleted",
                          "FirmwareVariables.setString postota-sim-command deleted",
                          "FirmwareVariables.setString postota-sim-repeat deleted",
                          "FirmwareVariables.forceSync"));
  expectVariablesGone();
}

TEST_F(SimulationVariables, AreDeletedWithoutACommitOnOtherBuilds) {
  machine.osVariant.setInternalContent(false);
  set("MWFirst", "error", "3");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_THAT(machine.journal.calls({"OSVariant.", "FirmwareVariables."}),
              ElementsAre("OSVariant.hasInternalContent com.corvane.marrowd",
                          "FirmwareVariables.setString postota-sim-step deleted",
                          "FirmwareVariables.setString postota-sim-command deleted",
                          "FirmwareVariables.setString postota-sim-repeat deleted"));
  expectVariablesGone();
}

TEST_F(SimulationVariables, SimulateNothingOnOtherBuilds) {
  machine.osVariant.setInternalContent(false);
  set("MWFirst", "_error", "3");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  add("MWFirst");
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst"));
}

void expectDeletedWithoutCommit(const Journal& journal) {
  EXPECT_THAT(journal.calls({"FirmwareVariables.setString", "FirmwareVariables.forceSync"}),
              ElementsAre("FirmwareVariables.setString postota-sim-step deleted",
                          "FirmwareVariables.setString postota-sim-command deleted",
                          "FirmwareVariables.setString postota-sim-repeat deleted"));
}

TEST_F(SimulationVariables, WithoutAStepNothingIsArmed) {
  machine.firmware.set("postota-sim-command", "error");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  expectDeletedWithoutCommit(machine.journal);
  expectVariablesGone();
}

TEST_F(SimulationVariables, WithAnEmptyStepNothingIsArmed) {
  set("", "error");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  expectDeletedWithoutCommit(machine.journal);
}

TEST_F(SimulationVariables, WithoutACommandNothingIsArmed) {
  machine.firmware.set("postota-sim-step", "MWFirst");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  expectDeletedWithoutCommit(machine.journal);
  expectVariablesGone();
}

TEST_F(SimulationVariables, WithAnEmptyCommandNothingIsArmed) {
  set("MWFirst", "");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  expectDeletedWithoutCommit(machine.journal);
}

TEST_F(SimulationVariables, WithoutAnyOfThemNothingIsArmed) {
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  expectDeletedWithoutCommit(machine.journal);
}

TEST_F(SimulationVariables, AnUnknownCommandArmsNothingAndIsStillDeletedAndCommitted) {
  for (const char* command : {"Error", "SKIP", "destroy", "__error"}) {
    machine.journal.clear();
    set("MWFirst", command);
    queue->setSimulatedActionFromNVRAM();
    EXPECT_FALSE(isArmed()) << command;
    EXPECT_TRUE(machine.journal.contains("FirmwareVariables.forceSync")) << command;
    expectVariablesGone();
  }
}

TEST_F(SimulationVariables, AStepThatIsNotThereChangesNothing) {
  set("MWNotThere", "_error");
  queue->setSimulatedActionFromNVRAM();
  add("MWFirst");
  EXPECT_TRUE(run());
  EXPECT_FALSE(isArmed());
}

TEST_F(SimulationVariables, CountForOneStartOnly) {
  set("MWFirst", "_error");
  queue->setSimulatedActionFromNVRAM();
  add("MWFirst");
  EXPECT_FALSE(run());
  queue->setSimulatedActionFromNVRAM();
  EXPECT_TRUE(run());
}

TEST_F(SimulationVariables, AVariableThatCannotBeReadArmsNothing) {
  set("MWFirst", "error");
  machine.faults.fail("FirmwareVariables.string", EIO).when("postota-sim-command");
  queue->setSimulatedActionFromNVRAM();
  EXPECT_FALSE(isArmed());
  expectVariablesGone();
}

TEST_F(SimulationVariables, AVariableThatCannotBeDeletedDoesNotKeepTheOthers) {
  set("MWFirst", "error", "3");
  machine.faults.fail("FirmwareVariables.setString", EIO).once();
  queue->setSimulatedActionFromNVRAM();
  EXPECT_EQ(machine.firmware.value("postota-sim-step"), "MWFirst");
  EXPECT_EQ(machine.firmware.value("postota-sim-command"), std::nullopt);
  EXPECT_EQ(machine.firmware.value("postota-sim-repeat"), std::nullopt);
  EXPECT_TRUE(isArmed());
}

// ---- The repeat variable.

TEST_F(SimulationVariables, WithoutARepeatTheStepRunsOnce) {
  EXPECT_EQ(runsOfExercise(std::nullopt), 1);
}

TEST_F(SimulationVariables, ARepeatOfThreeRunsTheStepThreeTimes) {
  EXPECT_EQ(runsOfExercise("3"), 3);
}

TEST_F(SimulationVariables, ARepeatOfThreeStopsAtTheFirstFailure) {
  set("MWExercised", "exercise", "3");
  queue->setSimulatedActionFromNVRAM();
  const auto operation =
      add("MWExercised", 1.0, [](TestOperation& running) { return running.runs() < 2; });
  EXPECT_FALSE(run());
  EXPECT_EQ(operation->runs(), 2);
}

TEST_F(SimulationVariables, ARepeatThatIsNoNumberRunsTheStepOnce) {
  for (const char* repeat : {"", "three", "0", "-", "x3", "+", "-0"}) {
    EXPECT_EQ(runsOfExercise(repeat), 1) << repeat;
  }
}

TEST_F(SimulationVariables, ARepeatIsReadInDecimalUpToTheFirstOtherCharacter) {
  EXPECT_EQ(runsOfExercise("+2"), 2);
  EXPECT_EQ(runsOfExercise(" 2"), 2);
  EXPECT_EQ(runsOfExercise("2 times"), 2);
  EXPECT_EQ(runsOfExercise("03"), 3);
  EXPECT_EQ(runsOfExercise("2.9"), 2);
  EXPECT_EQ(runsOfExercise("0x3"), 1);
}

TEST_F(SimulationVariables, ANegativeRepeatRunsTheStepUntilItFails) {
  EXPECT_EQ(runsOfExercise("-1"), 5);
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "Operations",
                              "MWOperationQueue: Exercising 18446744073709551615 times "
                              "(MWExercised)"));
}

TEST_F(SimulationVariables, ARepeatBeyondTheLargestNumberIsTheLargest) {
  EXPECT_EQ(runsOfExercise("99999999999999999999"), 5);
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "Operations",
                              "MWOperationQueue: Exercising 9223372036854775807 times "
                              "(MWExercised)"));
}

}  // namespace
}  // namespace marrow
