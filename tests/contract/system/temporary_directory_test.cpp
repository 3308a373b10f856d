#include "tests/contract/system/system_world.h"

namespace marrow {

namespace {

using TemporaryDirectoryContract = SystemContract;
INSTANTIATE_TEST_SUITE_P(Worlds, TemporaryDirectoryContract, bothWorlds(), nameOfWorld);

TEST_P(TemporaryDirectoryContract, IsForTheDaemonAlone) {
  const std::string path = world->temporaryDirectory().path();
  EXPECT_TRUE(exists(path));
  EXPECT_EQ(world->mode(path), 0700U);
  EXPECT_EQ(world->temporaryDirectory().path(), path);
}

TEST_P(TemporaryDirectoryContract, HoldsAFIFO) {
  const std::string path = world->temporaryDirectory().path() + "/fifo";
  EXPECT_EQ(world->files().makeFIFO(path, 0600), 0);
  EXPECT_EQ(world->files().unlink(path), 0);
}

}  // namespace

}  // namespace marrow
