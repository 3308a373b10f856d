// The run's one error slot: what each operation finds in it and leaves there.
#include "tests/engine/queue_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace marrow {
namespace {

class ErrorSlotTest : public QueueTest {
 protected:
  // Replaces the run of the operation of this class, and keeps what the slot held before.
  void simulate(const std::string& name, bool success, ErrorRef* found) {
    queue->setSimulateOperationName(name);
    queue->setSimulateAction([success, found](MWOperation&, ErrorSlot slot) {
      *found = *slot;
      return success;
    });
  }
};

TEST_F(ErrorSlotTest, MayBeNull) {
  add("MWFirst", 1.0, failSilently);
  EXPECT_FALSE(queue->startAndReturnError(nullptr));
}

TEST_F(ErrorSlotTest, IsEmptyAfterASuccess) {
  add("MWFirst");
  error = someError(7);
  EXPECT_TRUE(run());
  EXPECT_EQ(error, nullptr);
}

TEST_F(ErrorSlotTest, HasTheDefaultErrorOfAnOperationThatSetNone) {
  add("MWFirst", 1.0, failSilently);
  EXPECT_FALSE(run());
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), "MWOperationErrorDomain");
  EXPECT_EQ(error->code(), -1);
}

TEST_F(ErrorSlotTest, HasTheErrorThatTheLastOperationLeftAlthoughItSucceeded) {
  add("MWFirst");
  const ErrorRef left = someError(7);
  add("MWSecond", 1.0, succeedWith(left));
  EXPECT_TRUE(run());
  EXPECT_EQ(error, left);
}

TEST_F(ErrorSlotTest, ASuccessWithoutAnErrorClearsWhatTheOperationBeforeLeft) {
  add("MWFirst", 1.0, succeedWith(someError(7)));
  add("MWSecond");
  EXPECT_TRUE(run());
  EXPECT_EQ(error, nullptr);
}

TEST_F(ErrorSlotTest, BeginsEmptyWhateverTheCallerHadThere) {
  add("MWFirst");
  ErrorRef found = someError(1);
  simulate("MWFirst", true, &found);
  error = someError(7);
  run();
  EXPECT_EQ(found, nullptr);
  EXPECT_EQ(error, nullptr);
}

TEST_F(ErrorSlotTest, AnActionFindsTheErrorOfTheOperationBefore) {
  const ErrorRef left = someError(7);
  add("MWFirst", 1.0, succeedWith(left));
  add("MWSecond");
  ErrorRef found;
  simulate("MWSecond", true, &found);
  EXPECT_TRUE(run());
  EXPECT_EQ(found, left);
  EXPECT_EQ(error, left);
}

TEST_F(ErrorSlotTest, ASkippedOperationLeavesTheSlotAsItWas) {
  const ErrorRef left = someError(7);
  add("MWFirst", 1.0, succeedWith(left));
  add("MWSecond", 1.0, failSilently);
  queue->setSimulatedAction("skip", "MWSecond", 0);
  EXPECT_TRUE(run());
  EXPECT_EQ(error, left);
}

TEST_F(ErrorSlotTest, AnExercisedOperationLeavesTheErrorOfItsLastRun) {
  add("MWFirst", 1.0, [](TestOperation& operation) {
    operation.setError(someError(operation.runs()));
    return true;
  });
  queue->setSimulatedAction("exercise", "MWFirst", 3);
  EXPECT_TRUE(run());
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->code(), 3);
}

TEST_F(ErrorSlotTest, AnErrorOfAnEarlierRunComesBackWithALaterSuccess) {
  add("MWFirst", 1.0, [](TestOperation& operation) { return operation.runs() > 1; });
  EXPECT_FALSE(run());
  const ErrorRef old = error;
  EXPECT_TRUE(run());
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error, old);
}

TEST_F(ErrorSlotTest, RunningOneOperationOverwritesIt) {
  const auto operation = make("MWStep", 1.0, succeed);
  error = someError(7);
  EXPECT_TRUE(queue->_runOperation(*operation, &error));
  EXPECT_EQ(error, nullptr);
}

TEST_F(ErrorSlotTest, RunningOneOperationLeavesItsErrorThere) {
  const ErrorRef own = someError(3);
  const auto operation = make("MWStep", 1.0, failWith(own));
  EXPECT_FALSE(queue->_runOperation(*operation, &error));
  EXPECT_EQ(error, own);
}

}  // namespace
}  // namespace marrow
