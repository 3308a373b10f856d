// What each simulated action does, and when it is armed.
#include "tests/engine/queue_test.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <limits>
#include <memory>
#include <string>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

class SimulatedActions : public QueueTest {
 protected:
  void expectSimulatedError(bool success, const ErrorRef& underlying) const {
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->domain(), kPOSIXErrorDomain);
    EXPECT_EQ(error->code(), 89);
    UserInfo userInfo = {{"MWOperationSuccess", success}};
    if (underlying) {
      userInfo.emplace(kUnderlyingErrorKey, underlying);
    }
    EXPECT_EQ(error->userInfo(), userInfo);
  }

  void expectUnarmed() const {
    EXPECT_EQ(queue->simulateOperationName(), "");
    EXPECT_EQ(queue->simulateAction(), nullptr);
  }
};

// ---- error

TEST_F(SimulatedActions, ErrorRunsTheOperationAndThenFailsTheRun) {
  add("MWFirst");
  add("MWBlessVolumeOperation");
  add("MWLast");
  queue->setSimulatedAction("error", "MWBlessVolumeOperation", 0);
  EXPECT_FALSE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWBlessVolumeOperation"));
  expectSimulatedError(true, nullptr);
  EXPECT_EQ(error->localizedDescription(), std::nullopt);
}

TEST_F(SimulatedActions, ErrorCarriesTheFailureOfTheOperation) {
  const ErrorRef own = someError(7);
  add("MWFirst", 1.0, failWith(own));
  queue->setSimulatedAction("error", "MWFirst", 0);
  EXPECT_FALSE(run());
  expectSimulatedError(false, own);
}

TEST_F(SimulatedActions, ErrorCarriesAnErrorThatASuccessLeft) {
  const ErrorRef own = someError(7);
  add("MWFirst", 1.0, succeedWith(own));
  queue->setSimulatedAction("error", "MWFirst", 0);
  EXPECT_FALSE(run());
  expectSimulatedError(true, own);
}

TEST_F(SimulatedActions, ErrorIsLoggedAfterTheRunOfTheOperation) {
  add("MWFirst");
  queue->setSimulatedAction("error", "MWFirst", 0);
  run();
  EXPECT_THAT(machine.journal.calls("Log."),
              ElementsAre("Log.default[Operations] MWOperationQueue: Performing (MWFirst)...",
                          "Log.default[Operations] MWOperationQueue: Simulating error (MWFirst)"));
}

TEST_F(SimulatedActions, ErrorBehindAnUnderscoreDoesNotRunTheOperation) {
  const auto operation = add("MWFirst");
  queue->setSimulatedAction("_error", "MWFirst", 0);
  EXPECT_FALSE(run());
  EXPECT_THAT(executions(), IsEmpty());
  EXPECT_FALSE(operation->isFinished());
  expectSimulatedError(false, nullptr);
  EXPECT_THAT(machine.log.texts(), ElementsAre("MWOperationQueue: Simulating error (MWFirst)"));
}

TEST_F(SimulatedActions, AFailedSimulationCountsTheEstimateOfItsOperation) {
  add("MWFirst", 10.0);
  queue->setSimulatedAction("_error", "MWFirst", 0);
  run();
  EXPECT_EQ(queue->trackedElapsedTime(), 10.0);
}

// ---- panic

TEST_F(SimulatedActions, PanicRunsTheOperationAndThenCrashesTheMachine) {
  add("MWFirst");
  queue->setSimulatedAction("panic", "MWFirst", 0);
  const RunEnded end = endOf([&] { run(); });
  EXPECT_EQ(end.kind, RunEnded::Kind::panic);
  EXPECT_EQ(end.text, "MWOperationQueue simulated panic");
  EXPECT_THAT(executions(), ElementsAre("MWFirst"));
  EXPECT_THAT(machine.journal.calls({"Log.", "Reboot."}),
              ElementsAre("Log.default[Operations] MWOperationQueue: Performing (MWFirst)...",
                          "Log.default[Operations] MWOperationQueue: Simulating panic (MWFirst)...",
                          "Reboot.rebootWithMessage 0xc00 MWOperationQueue simulated panic"));
}

TEST_F(SimulatedActions, PanicBehindAnUnderscoreDoesNotRunTheOperation) {
  add("MWFirst");
  queue->setSimulatedAction("_panic", "MWFirst", 0);
  EXPECT_EQ(endOf([&] { run(); }).kind, RunEnded::Kind::panic);
  EXPECT_THAT(executions(), IsEmpty());
}

TEST_F(SimulatedActions, PanicFailsLikeAnErrorWhereTheMachineDoesNotCrash) {
  const ErrorRef own = someError(7);
  add("MWFirst", 1.0, failWith(own));
  add("MWSecond");
  queue->setSimulatedAction("panic", "MWFirst", 0);
  machine.faults.fail("Reboot.rebootWithMessage", EPERM);
  EXPECT_FALSE(run());
  expectSimulatedError(false, own);
  EXPECT_THAT(machine.log.textsOf("Operations"),
              ElementsAre("MWOperationQueue: Performing (MWFirst)...",
                          "MWOperationQueue: Simulating panic (MWFirst)...",
                          "MWOperationQueue: Simulating error (MWFirst)"));
  EXPECT_THAT(machine.log.texts(LogLevel::standard), SizeIs(3));
}

// ---- skip

TEST_F(SimulatedActions, SkipLeavesTheOperationOutAndRunsTheRest) {
  const auto skipped = add("MWFirst", 10.0, failSilently);
  add("MWSecond", 20.0);
  queue->setSimulatedAction("skip", "MWFirst", 0);
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWSecond"));
  EXPECT_FALSE(skipped->success());
  EXPECT_FALSE(skipped->isFinished());
  EXPECT_EQ(queue->trackedElapsedTime(), 30.0);
}

TEST_F(SimulatedActions, SkipIsLogged) {
  add("MWFirst");
  queue->setSimulatedAction("skip", "MWFirst", 0);
  run();
  EXPECT_THAT(machine.journal.calls("Log."),
              ElementsAre("Log.default[Operations] MWOperationQueue: Skipping (MWFirst)..."));
}

TEST_F(SimulatedActions, SkipBehindAnUnderscoreIsTheSame) {
  add("MWFirst", 1.0, failSilently);
  queue->setSimulatedAction("_skip", "MWFirst", 0);
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), IsEmpty());
  EXPECT_EQ(error, nullptr);
}

// ---- exercise

TEST_F(SimulatedActions, ExerciseRunsTheOperationSeveralTimes) {
  const auto operation = add("MWFirst");
  add("MWSecond");
  queue->setSimulatedAction("exercise", "MWFirst", 3);
  EXPECT_TRUE(run());
  EXPECT_EQ(operation->runs(), 3);
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWFirst", "MWFirst", "MWSecond"));
}

TEST_F(SimulatedActions, ExerciseIsLoggedAndSoIsEachRun) {
  add("MWFirst");
  queue->setSimulatedAction("exercise", "MWFirst", 2);
  run();
  EXPECT_THAT(machine.journal.calls("Log."),
              ElementsAre("Log.default[Operations] MWOperationQueue: Exercising 2 times (MWFirst)",
                          "Log.default[Operations] MWOperationQueue: Performing (MWFirst)...",
                          "Log.default[Operations] MWOperationQueue: Performing (MWFirst)..."));
}

TEST_F(SimulatedActions, ExerciseStopsAtTheFirstFailure) {
  const ErrorRef own = someError(7);
  const auto operation = add("MWFirst", 1.0, [&](TestOperation& running) {
    return running.runs() < 2 ? true : failWith(own)(running);
  });
  add("MWSecond");
  queue->setSimulatedAction("exercise", "MWFirst", 3);
  EXPECT_FALSE(run());
  EXPECT_EQ(operation->runs(), 2);
  EXPECT_EQ(error, own);
  EXPECT_THAT(executions(), ElementsAre("MWFirst", "MWFirst"));
}

TEST_F(SimulatedActions, ExerciseWithoutACountRunsOnce) {
  const auto operation = add("MWFirst");
  queue->setSimulatedAction("exercise", "MWFirst", 0);
  EXPECT_TRUE(run());
  EXPECT_EQ(operation->runs(), 1);
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "Operations",
                              "MWOperationQueue: Exercising 1 times (MWFirst)"));
}

TEST_F(SimulatedActions, ExerciseBehindAnUnderscoreIsTheSame) {
  const auto operation = add("MWFirst");
  queue->setSimulatedAction("_exercise", "MWFirst", 3);
  EXPECT_TRUE(run());
  EXPECT_EQ(operation->runs(), 3);
}

TEST_F(SimulatedActions, AnExerciseOfNoRunsSucceedsAtOnce) {
  const auto operation = make("MWFirst", 1.0, failSilently);
  const ErrorRef held = error = someError(7);
  EXPECT_TRUE(queue->_simExercise(*operation, 0, &error));
  EXPECT_EQ(operation->runs(), 0);
  EXPECT_EQ(error, held);
  EXPECT_THAT(machine.log.textsOf("Operations"),
              ElementsAre("MWOperationQueue: Exercising 0 times (MWFirst)"));
}

TEST_F(SimulatedActions, AnExerciseCountsToTheLargestNumber) {
  const auto operation =
      add("MWFirst", 1.0, [](TestOperation& running) { return running.runs() < 50; });
  queue->setSimulatedAction("exercise", "MWFirst", std::numeric_limits<std::uint64_t>::max());
  EXPECT_FALSE(run());
  EXPECT_EQ(operation->runs(), 50);
  EXPECT_EQ(machine.log.texts().front(),
            "MWOperationQueue: Exercising 18446744073709551615 times (MWFirst)");
}

TEST_F(SimulatedActions, ACancelledOperationFailsItsExercise) {
  add("MWFirst")->cancel();
  queue->setSimulatedAction("exercise", "MWFirst", 3);
  EXPECT_FALSE(run());
  EXPECT_THAT(executions(), IsEmpty());
}

// ---- Arming.

TEST_F(SimulatedActions, AnArmedActionHasANameAndACallback) {
  queue->setSimulatedAction("skip", "MWFirst", 0);
  EXPECT_EQ(queue->simulateOperationName(), "MWFirst");
  EXPECT_NE(queue->simulateAction(), nullptr);
}

TEST_F(SimulatedActions, AnUnknownWordDisarms) {
  for (const char* word : {"Error", "ERROR", "PANIC", "Skip", "eXercise", "fail", "", " error",
                           "error ", "errors", "_", "__error", "__skip", "_Error"}) {
    queue->setSimulatedAction("skip", "MWFirst", 0);
    queue->setSimulatedAction(word, "MWFirst", 0);
    SCOPED_TRACE(word);
    expectUnarmed();
  }
}

TEST_F(SimulatedActions, AnUnknownWordSimulatesNothing) {
  add("MWFirst");
  queue->setSimulatedAction("__error", "MWFirst", 0);
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst"));
}

TEST_F(SimulatedActions, ClearingDisarms) {
  add("MWFirst");
  queue->setSimulatedAction("error", "MWFirst", 0);
  queue->clearSimulatedAction();
  expectUnarmed();
  EXPECT_TRUE(run());
}

TEST_F(SimulatedActions, ArmingDoesNotAskTheBuild) {
  machine.osVariant.setInternalContent(false);
  add("MWFirst");
  queue->setSimulatedAction("_error", "MWFirst", 0);
  EXPECT_FALSE(machine.journal.contains("OSVariant."));
  EXPECT_FALSE(run());
}

TEST_F(SimulatedActions, ANameThatMatchesNothingIsClearedAtTheEndOfTheRun) {
  add("MWFirst");
  queue->setSimulatedAction("error", "MWOther", 0);
  EXPECT_TRUE(run());
  EXPECT_THAT(machine.log.texts(), ElementsAre("MWOperationQueue: Performing (MWFirst)..."));
  expectUnarmed();
}

TEST_F(SimulatedActions, ARunThatFailsBeforeTheOperationDisarmsToo) {
  add("MWFirst", 1.0, failSilently);
  add("MWSecond");
  queue->setSimulatedAction("skip", "MWSecond", 0);
  EXPECT_FALSE(run());
  expectUnarmed();
}

TEST_F(SimulatedActions, ANameIsComparedExactly) {
  add("MWFirst");
  for (const char* name : {"mwfirst", "MWFirs", "MWFirstOperation", " MWFirst"}) {
    queue->setSimulatedAction("_error", name, 0);
    EXPECT_TRUE(run()) << name;
  }
}

TEST_F(SimulatedActions, AnEmptyNameNeverMatches) {
  add("");
  queue->setSimulatedAction("_error", "", 0);
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre(""));
}

TEST_F(SimulatedActions, AnActionFiresOnceInARun) {
  add("MWSame", 1.0, failSilently);
  add("MWSame", 1.0, failSilently);
  queue->setSimulatedAction("skip", "MWSame", 0);
  EXPECT_FALSE(run());
  EXPECT_THAT(executions(), ElementsAre("MWSame"));
  EXPECT_THAT(machine.log.texts(), ElementsAre("MWOperationQueue: Skipping (MWSame)...",
                                               "MWOperationQueue: Performing (MWSame)..."));
}

TEST_F(SimulatedActions, AnActionFiresInOneRunOnly) {
  add("MWFirst");
  queue->setSimulatedAction("_error", "MWFirst", 0);
  EXPECT_FALSE(run());
  EXPECT_TRUE(run());
}

TEST_F(SimulatedActions, AnActionIsDisarmedBeforeItRuns) {
  add("MWFirst", 1.0, [&](TestOperation&) {
    expectUnarmed();
    return true;
  });
  queue->setSimulatedAction("exercise", "MWFirst", 2);
  EXPECT_TRUE(run());
}

TEST_F(SimulatedActions, AnOperationMayArmTheNextOne) {
  add("MWFirst", 1.0, [&](TestOperation&) {
    queue->setSimulatedAction("skip", "MWSecond", 0);
    return true;
  });
  add("MWSecond");
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst"));
}

TEST_F(SimulatedActions, ANameWithoutAnActionRunsTheOperation) {
  add("MWFirst");
  queue->setSimulateOperationName("MWFirst");
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst"));
  expectUnarmed();
}

TEST_F(SimulatedActions, TheLatestActionHolds) {
  add("MWFirst");
  add("MWSecond");
  queue->setSimulatedAction("_error", "MWFirst", 0);
  queue->setSimulatedAction("skip", "MWSecond", 0);
  EXPECT_TRUE(run());
  EXPECT_THAT(executions(), ElementsAre("MWFirst"));
}

}  // namespace
}  // namespace marrow
