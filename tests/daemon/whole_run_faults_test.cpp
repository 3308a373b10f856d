#include "tests/daemon/manager_test.h"

#include <cerrno>

namespace marrow {
namespace {

// The end of a run on this machine; absent when it returned.
std::optional<RunEnded> runDaemonOn(InMemoryHost& machine) {
  try {
    useLogService(&machine.log);
    processEntry(machine.host());
  } catch (const RunEnded& end) {
    return end;
  }
  return std::nullopt;
}

std::size_t callsOfAWholeRun() {
  InMemoryHost machine;
  runDaemonOn(machine);
  return machine.journal.calls().size();
}

// A live place is there, wholly old or wholly new, and while it is old its staged one is whole.
void expectWhole(InMemoryHost& machine, const std::string& live, const std::string& staged,
                 const std::string& what) {
  const auto content = machine.fileSystem.contents(live);
  ASSERT_TRUE(content.has_value()) << live << " is missing";
  if (content == "old " + what) {
    EXPECT_EQ(machine.fileSystem.contents(staged), "new " + what) << staged << " is lost";
  } else {
    EXPECT_EQ(content, "new " + what) << live << " is mixed";
  }
}

void expectNothingLost(InMemoryHost& machine) {
  expectWhole(machine, kPrebootGroup + "/morrel1/current/image",
              kPrebootGroup + "/morrel1/proposed/image", "image");
  expectWhole(machine, kPrebootGroup + "/restore/manifest",
              kPrebootGroup + "/restore-staged/manifest", "manifest");
  const std::string image = kRecoveryGroup + "/" + kBaseSystemImage;
  expectWhole(machine, image, image + ".staged", "image");
}

void expectFinished(InMemoryHost& machine) {
  EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/morrel1/current/image"), "new image");
  EXPECT_EQ(machine.fileSystem.contents(kPrebootGroup + "/restore/manifest"), "new manifest");
  EXPECT_EQ(machine.fileSystem.contents(kRecoveryGroup + "/" + kBaseSystemImage), "new image");
  EXPECT_EQ(machine.installer.blessed(), "/dev/" + kSystemVolume);
}

class WholeRunFaultsTest : public testing::Test {
 protected:
  ~WholeRunFaultsTest() override { useLogService(nullptr); }
};

TEST_F(WholeRunFaultsTest, EveryCallThatFailsStillEndsTheRunAndLosesNothing) {
  const std::size_t calls = callsOfAWholeRun();
  ASSERT_GT(calls, 100U);
  for (std::size_t number = 1; number <= calls && !HasFailure(); ++number) {
    SCOPED_TRACE("call " + std::to_string(number) + " fails");
    InMemoryHost machine;
    machine.faults.failCallNumber(number, EIO);
    const auto end = runDaemonOn(machine);
    if (!end) {  // the base-system check said no
      EXPECT_EQ(number, 1U);
      continue;
    }
    EXPECT_TRUE(end->kind == RunEnded::Kind::abort || machine.journal.contains("Reboot.reboot"));
    expectNothingLost(machine);
  }
}

TEST_F(WholeRunFaultsTest, ACutAtAnyCallLosesNothingAndTheNextRunFinishes) {
  const std::size_t calls = callsOfAWholeRun();
  for (std::size_t number = 1; number <= calls && !HasFailure(); ++number) {
    SCOPED_TRACE("cut at call " + std::to_string(number));
    InMemoryHost machine;
    machine.faults.cutPowerAtCall(number);
    runDaemonOn(machine);
    expectNothingLost(machine);
    machine.restart();
    runDaemonOn(machine);
    expectFinished(machine);
  }
}

}  // namespace
}  // namespace marrow
