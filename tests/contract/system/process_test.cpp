#include "tests/contract/system/system_world.h"

namespace marrow {

namespace {

using ProcessContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, ProcessContract, bothWorlds(), nameOfWorld);

TEST_P(ProcessContract, EndsWithItsStatus) {
  EXPECT_EQ(world->endOf([&] { world->process().exit(77); }), (Ending{false, 77}));
}

TEST_P(ProcessContract, EndsWithTheLowEightBitsOfItsStatus) {
  EXPECT_EQ(world->endOf([&] { world->process().exit(256 + 5); }), (Ending{false, 5}));
}

TEST_P(ProcessContract, ReportsAFailedAssertionBeforeItAborts) {
  EXPECT_EQ(world->endOf([&] { world->process().failAssertion("the reason"); }), (Ending{true, 0}));
  EXPECT_EQ(world->loggedTexts(), std::vector<std::string>{"the reason"});
}

TEST_P(ProcessContract, DeclaresItselfADaemonMoreThanOnce) {
  world->process().setIsDaemon(true);
  world->process().setIsDaemon(true);
  world->process().setIsDaemon(false);
  EXPECT_TRUE(world->loggedTexts().empty());
}

}  // namespace

}  // namespace marrow
