// A program in the daemon's place that does not survive its end of memory.
#include "tests/sweeps/bad_daemon_fixture.h"

#include <gmock/gmock.h>

namespace marrow::sweep {
namespace {

TEST_F(BadDaemon, IsSeenToLeaveNoLiveTreeWhenThereIsNoMemory) {
  EXPECT_THAT(sweepWith(MARROW_BAD_DAEMON, "starve", "--every=1"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> \\(none\\)"));
}

}  // namespace
}  // namespace marrow::sweep
