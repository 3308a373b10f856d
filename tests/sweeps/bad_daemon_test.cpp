// Programs in the daemon's place that lose, mix or leave things: a sweep has to see it.
#include "rehearsal/files.h"
#include "tests/rehearsal/temporary_folder.h"

#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using rehearsal::Descriptor;
using rehearsal::openFile;
using rehearsal::readFile;
using rehearsal::writeFile;
using testing::HasSubstr;

// Goes to the folder of the volume group on the preboot volume.
constexpr const char* kGoToGroup =
    "#!/bin/sh\n"
    "set -- /dev/loop*p2\n"
    "mkdir /run/volume\n"
    "mount -n -t ext4 \"$1\" /run/volume\n"
    "cd /run/volume/*-*-*-*-*\n";

const char* casesOf(const std::string& kind) {
  return kind == "planted" ? "--to=13" : kind == "power" ? "--sample=50" : "--sample=24";
}

class BadDaemon : public testing::Test {
 protected:
  // Returns what the sweep wrote; it has to end with "something was lost".
  std::string sweep(const std::string& script, const std::string& kind) {
    writeFile(folder / "daemon", script, 0755);
    return sweepWith(folder / "daemon", kind, argumentFor(kind));
  }

  std::string sweepWith(const std::filesystem::path& daemon, const std::string& kind,
                        const char* argument) {
    const Descriptor output = openFile(folder / "output", O_RDWR | O_CREAT | O_TRUNC);
    const pid_t child = ::fork();
    if (child == 0) {
      ::dup2(output.number(), STDOUT_FILENO);
      ::dup2(output.number(), STDERR_FILENO);
      ::execl(MARROW_SWEEP, "marrow-sweep", kind.c_str(), "--scenario", "booted-from-proposed",
              casesOf(kind), "--daemon", daemon.c_str(), argument, nullptr);
      ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    return readFile(folder / "output").value_or("");
  }

  // One that the kind takes.
  static const char* argumentFor(const std::string& kind) {
    if (kind == "fill") {
      return "--every=1";
    }
    if (kind == "planted") {
      return "--from=13";  // a link in the place of the file that names the boot objects
    }
    return kind == "power" ? "--finish-every=1000" : "--changes";
  }

  rehearsal::TemporaryFolder folder;
};

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

TEST_F(BadDaemon, IsSeenToLeaveNoLiveTreeWhenThereIsNoMemory) {
  EXPECT_THAT(sweepWith(MARROW_BAD_DAEMON, "starve", "--every=1"),
              testing::ContainsRegex("preboot.sealed is neither old nor new .*-> \\(none\\)"));
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

TEST_F(BadDaemon, IsSeenToTakeMuchMemory) {
  EXPECT_THAT(sweep("#!/bin/sh\nexec perl -e '$x = \"x\" x 200000000;'\n", "kill"),
              testing::ContainsRegex("the daemon took [0-9]+ KiB"));
}

}  // namespace
}  // namespace marrow::sweep
