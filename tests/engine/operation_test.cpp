#include "engine/operation.h"

#include "tests/engine/queue_test.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace marrow {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Operation : public QueueTest {};

TEST_F(Operation, BeginsNeitherExecutingNorFinishedNorSuccessful) {
  const auto operation = make("MWStep", 1.0, succeed);
  EXPECT_FALSE(operation->isExecuting());
  EXPECT_FALSE(operation->isFinished());
  EXPECT_FALSE(operation->isCancelled());
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), nullptr);
  EXPECT_EQ(operation->operationQueueDataSource(), nullptr);
}

TEST_F(Operation, IsNeverAsynchronous) { EXPECT_FALSE(MWOperation().isAsynchronous()); }

TEST_F(Operation, HasNoProgressOfItsOwn) { EXPECT_EQ(MWOperation().progress(), nullptr); }

TEST_F(Operation, ReportsItsClassName) {
  EXPECT_EQ(MWOperation().className(), "MWOperation");
  EXPECT_EQ(make("MWBlessVolumeOperation", 1.0, succeed)->className(), "MWBlessVolumeOperation");
}

TEST_F(Operation, IsExecutingWhileItsBodyRunsAndFinishedAfterwards) {
  bool executing = false;
  bool finished = true;
  const auto operation = make("MWStep", 1.0, [&](TestOperation& running) {
    executing = running.isExecuting();
    finished = running.isFinished();
    return true;
  });
  operation->start();
  EXPECT_TRUE(executing);
  EXPECT_FALSE(finished);
  EXPECT_FALSE(operation->isExecuting());
  EXPECT_TRUE(operation->isFinished());
}

TEST_F(Operation, RunsOnTheThreadThatStartsIt) {
  std::thread::id thread;
  const auto operation = make("MWStep", 1.0, [&](TestOperation&) {
    thread = std::this_thread::get_id();
    return true;
  });
  operation->start();
  EXPECT_EQ(thread, std::this_thread::get_id());
}

TEST_F(Operation, ThatSucceedsHasNoError) {
  const auto operation = make("MWStep", 1.0, succeed);
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(operation->error(), nullptr);
}

TEST_F(Operation, ThatFailsWithoutAnErrorGetsOne) {
  const auto operation = make("MWStep", 1.0, failSilently);
  operation->start();
  EXPECT_FALSE(operation->success());
  ASSERT_NE(operation->error(), nullptr);
  EXPECT_EQ(operation->error()->domain(), "MWOperationErrorDomain");
  EXPECT_EQ(operation->error()->code(), -1);
  EXPECT_EQ(operation->error()->userInfo(),
            (UserInfo{{kLocalizedDescriptionKey,
                       std::string("Operation failed without specifying an error.")}}));
  EXPECT_TRUE(operation->isFinished());
}

TEST_F(Operation, ThatFailsKeepsExactlyItsOwnError) {
  const ErrorRef own = someError(7);
  const auto operation = make("MWStep", 1.0, failWith(own));
  operation->start();
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), own);
}

TEST_F(Operation, ThatSucceedsKeepsAnErrorThatItLeft) {
  const ErrorRef own = someError(7);
  const auto operation = make("MWStep", 1.0, succeedWith(own));
  operation->start();
  EXPECT_TRUE(operation->success());
  EXPECT_EQ(operation->error(), own);
}

TEST_F(Operation, ThatIsCancelledRunsNoBody) {
  const auto operation = make("MWStep", 1.0, succeed);
  operation->cancel();
  operation->start();
  EXPECT_TRUE(operation->isCancelled());
  EXPECT_THAT(events, IsEmpty());
  EXPECT_TRUE(operation->isFinished());
  EXPECT_FALSE(operation->isExecuting());
  EXPECT_FALSE(operation->success());
  EXPECT_EQ(operation->error(), nullptr);
}

TEST_F(Operation, ThatIsStartedTwiceRunsTwice) {
  const auto operation = make("MWStep", 1.0, succeed);
  operation->start();
  operation->start();
  EXPECT_THAT(executions(), ElementsAre("MWStep", "MWStep"));
  EXPECT_TRUE(operation->isFinished());
}

TEST_F(Operation, IsExecutingAgainWhenItRunsAgain) {
  std::vector<bool> executing;
  const auto operation = make("MWStep", 1.0, [&](TestOperation& running) {
    executing.push_back(running.isExecuting());
    return true;
  });
  operation->start();
  operation->start();
  EXPECT_THAT(executing, ElementsAre(true, true));
  EXPECT_FALSE(operation->isExecuting());
}

TEST_F(Operation, KeepsAnOldErrorThroughALaterSuccess) {
  const auto operation =
      make("MWStep", 1.0, [](TestOperation& running) { return running.runs() > 1; });
  operation->start();
  const ErrorRef old = operation->error();
  operation->start();
  EXPECT_TRUE(operation->success());
  ASSERT_NE(old, nullptr);
  EXPECT_EQ(operation->error(), old);
}

TEST_F(Operation, KeepsAnOldErrorThroughALaterSilentFailure) {
  const ErrorRef own = someError(7);
  const auto operation = make("MWStep", 1.0, [&](TestOperation& running) {
    if (running.runs() == 1) {
      running.setError(own);
    }
    return false;
  });
  operation->start();
  operation->start();
  EXPECT_EQ(operation->error(), own);
}

TEST_F(Operation, ThatFailsAfterASuccessIsNoLongerSuccessful) {
  const auto operation =
      make("MWStep", 1.0, [](TestOperation& running) { return running.runs() == 1; });
  operation->start();
  EXPECT_TRUE(operation->success());
  operation->start();
  EXPECT_FALSE(operation->success());
}

template <typename Call>
void expectException(Call call, const std::string& reason) {
  try {
    call();
    ADD_FAILURE() << "nothing was thrown";
  } catch (const MWOperationException& exception) {
    EXPECT_EQ(exception.name(), "MWOperationException");
    EXPECT_EQ(exception.reason(), reason);
  }
}

TEST_F(Operation, ThatDoesNotOverrideExecuteRaises) {
  MWOperation operation;
  expectException([&] { operation.execute(); }, "Subclasses must override executeOperation.");
  expectException([&] { operation.start(); }, "Subclasses must override executeOperation.");
}

TEST_F(Operation, ThatDoesNotOverrideItsEstimateRaises) {
  const MWOperation operation;
  expectException([&] { operation.estimatedExecutionTime(); },
                  "Subclasses must override estimatedExecutionTime.");
}

TEST_F(Operation, AStoredEstimateHasNoEffect) {
  MWOperation base;
  base.setEstimatedExecutionTime(5.0);
  EXPECT_THROW(base.estimatedExecutionTime(), MWOperationException);
  const auto operation = make("MWStep", 3.0, succeed);
  operation->setEstimatedExecutionTime(5.0);
  EXPECT_EQ(operation->estimatedExecutionTime(), 3.0);
}

TEST_F(Operation, ReachesTheDataSourceWhileItLives) {
  const auto operation = make("MWStep", 1.0, succeed);
  operation->setOperationQueueDataSource(dataSource);
  EXPECT_EQ(operation->operationQueueDataSource(), dataSource);
}

TEST_F(Operation, ReadsAnEmptyDataSourceOnceItIsGone) {
  const auto operation = make("MWStep", 1.0, succeed);
  auto own = std::make_shared<TestDataSource>();
  operation->setOperationQueueDataSource(own);
  own.reset();
  EXPECT_EQ(operation->operationQueueDataSource(), nullptr);
}

TEST_F(Operation, AWaitForAFinishedOneReturnsAtOnce) {
  const auto operation = make("MWStep", 1.0, succeed);
  operation->start();
  operation->waitUntilFinished();
  EXPECT_TRUE(operation->isFinished());
}

TEST_F(Operation, AWaitOnAnotherThreadEndsWhenTheOperationFinishes) {
  const auto operation = make("MWStep", 1.0, succeed);
  std::thread waiting([&] {
    operation->waitUntilFinished();
    EXPECT_TRUE(operation->isFinished());
  });
  operation->start();
  waiting.join();
}

}  // namespace
}  // namespace marrow
