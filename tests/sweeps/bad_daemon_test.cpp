// Programs in the daemon's place that lose, mix or leave things: a sweep has to see it.
#include "tests/sweeps/bad_daemon_fixture.h"

#include <gmock/gmock.h>

namespace marrow::sweep {
namespace {

using testing::HasSubstr;

// Goes to the folder of the volume group on the preboot volume.
constexpr const char* kGoToGroup =
    "#!/bin/sh\n"
    "set -- /dev/loop*p2\n"
    "mkdir /run/volume\n"
    "mount -n -t ext4 \"$1\" /run/volume\n"
    "cd /run/volume/*-*-*-*-*\n";

constexpr const char* kMovesAway =
    "mv morrel1/current morrel1/old\n"
    "sync\n"
    "mv morrel1/proposed morrel1/current\n"
    "sync\n"
    "rm -rf morrel1/old\n";

constexpr const char* kCopiesOver =
    "for object in morrel1/proposed/extensions-0/*; do\n"
    "  cp -a \"$object\" morrel1/current/extensions-0\n"
    "  sync\n"
    "done\n";

TEST_F(BadDaemon, IsSeenToLeaveNoLiveTreeWhenItIsKilled) {
  EXPECT_THAT(sweep(std::string(kGoToGroup) + kMovesAway, "kill"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> \\(none\\)"));
}

TEST_F(BadDaemon, IsSeenToLeaveNoLiveTreeWhenThePowerGoes) {
  EXPECT_THAT(sweep(std::string(kGoToGroup) + kMovesAway, "power"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> \\(none\\)"));
}

TEST_F(BadDaemon, IsSeenToMixTreesWhenItIsKilled) {
  EXPECT_THAT(sweep(std::string(kGoToGroup) + kCopiesOver, "kill"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> [0-9a-f]+"));
}

TEST_F(BadDaemon, IsSeenToMixTreesWhenThePowerGoes) {
  EXPECT_THAT(sweep(std::string(kGoToGroup) + kCopiesOver, "power"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> [0-9a-f]+"));
}

TEST_F(BadDaemon, IsSeenToLeaveNoLiveTreeWhenACallFails) {
  EXPECT_THAT(sweepWith(MARROW_BAD_DAEMON, "fail", "--changes"),
              testing::ContainsRegex("rename morrel1/proposed, E[A-Z]+ #1 [^\n]*"
                                     "preboot.sealed is neither old nor new .*-> \\(none\\)"));
}

TEST_F(BadDaemon, IsSeenToMixTreesWhenTheDiskIsFull) {
  EXPECT_THAT(sweep(std::string(kGoToGroup) + kCopiesOver, "fill"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> [0-9a-f]+"));
}

TEST_F(BadDaemon, IsSeenToUseUpWhatIsStagedToTouchTheBaseSystemAndNotToReboot) {
  const std::string output =
      sweep(std::string(kGoToGroup) + "rm -rf restore-staged\necho >/etc/left\nexit 0\n", "kill");
  EXPECT_THAT(output, HasSubstr("restore-staged is not whole any more, and its live place is old"));
  EXPECT_THAT(output, HasSubstr("/etc/left of the base system has changed"));
  EXPECT_THAT(output, HasSubstr("came to \"no reboot, marrowd ended with status 0\""));
}

TEST_F(BadDaemon, IsSeenToWriteThroughALink) {
  const std::string output =
      sweep(std::string(kGoToGroup) + "echo new >boot/active\nsync\n", "planted");
  EXPECT_THAT(output, testing::ContainsRegex("elsewhere/active was mode .* and is mode"));
  EXPECT_THAT(output, HasSubstr("came to \"no reboot, marrowd ended with status 0\""));
}

// Where the daemon mounts its volumes, and slowly enough to be looked at.
constexpr const char* kGoToGroupSlowly =
    "#!/bin/sh\n"
    "set -- /dev/loop*p2\n"
    "mkdir -p /run/marrow/mnt/volume\n"
    "mount -n -t ext4 \"$1\" /run/marrow/mnt/volume\n"
    "cd /run/marrow/mnt/volume/*-*-*-*-*\n"
    "sleep 0.3\n";

TEST_F(BadDaemon, IsSeenByWatchersToLeaveNoLiveTree) {
  EXPECT_THAT(sweep(std::string(kGoToGroupSlowly) +
                        "mv morrel1/current morrel1/old\nsleep 0.2\nmv morrel1/proposed "
                        "morrel1/current\nsleep 0.2\n",
                    "watched"),
              testing::ContainsRegex("[0-9]+ looks found morrel1/current missing"));
}

TEST_F(BadDaemon, IsSeenByWatchersToMixTrees) {
  EXPECT_THAT(sweep(std::string(kGoToGroupSlowly) +
                        "cp -a morrel1/proposed/extensions-0/. morrel1/current/extensions-0\nsleep "
                        "0.2\n",
                    "watched"),
              testing::ContainsRegex("[0-9]+ looks found morrel1/current mixed"));
}

TEST_F(BadDaemon, IsSeenToTakeMuchMemory) {
  EXPECT_THAT(sweep("#!/bin/sh\nexec perl -e '$x = \"x\" x 200000000;'\n", "kill"),
              testing::ContainsRegex("the daemon took [0-9]+ KiB"));
}

}  // namespace
}  // namespace marrow::sweep
