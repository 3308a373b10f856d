#include "tests/contract/system/system_world.h"

#include <cerrno>

namespace marrow {

namespace {

using TaskLauncherContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, TaskLauncherContract, bothWorlds(), nameOfWorld);

TEST_P(TaskLauncherContract, HandsOverEachArgumentAndGivesBackTheOutput) {
  ErrorRef error;
  const auto task =
      world->launcher().launch(world->installProgram(0), {"-m", "", "a b", "'\"$x"}, &error);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(task->readOutputToEnd(&error), "[-m][][a b]['\"$x]");
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 0);
  EXPECT_EQ(error, nullptr);
}

TEST_P(TaskLauncherContract, GivesBackTheExitStatus) {
  const auto task = world->launcher().launch(world->installProgram(3), {}, nullptr);
  ASSERT_NE(task, nullptr);
  EXPECT_EQ(task->readOutputToEnd(nullptr), "");
  task->waitUntilExit();
  EXPECT_EQ(task->terminationStatus(), 3);
}

TEST_P(TaskLauncherContract, FailsToStartAProgramThatIsMissing) {
  ErrorRef error;
  EXPECT_EQ(world->launcher().launch(world->at("missing"), {}, &error), nullptr);
  ASSERT_NE(error, nullptr);
  EXPECT_EQ(error->domain(), kPOSIXErrorDomain);
  EXPECT_EQ(error->code(), ENOENT);
}

TEST_P(TaskLauncherContract, NeedsNoErrorSlot) {
  EXPECT_EQ(world->launcher().launch(world->at("missing"), {}, nullptr), nullptr);
}

}  // namespace

}  // namespace marrow
