// Something is mounted inside a live tree before the daemon replaces it.
#include "rehearsal/expectations.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/scenario.h"
#include "sweep/judgement.h"
#include "sweep/swept_machine.h"

#include <algorithm>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

constexpr const char* kKept = "kept";
constexpr const char* kText = "not the daemon's to remove";

Scenario scenarioNamed(const std::string& name) {
  const auto all = scenariosOn(Stage::kNamespaces);
  return *std::ranges::find(all, name, &Scenario::name);
}

// In a child of its own, for the mounts are those of that thread's machine.
bool bindThere(pid_t thread, const std::string& from, const std::string& to) {
  const pid_t child = ::fork();
  if (child == 0) {
    const std::string mounts = "/proc/" + std::to_string(thread) + "/ns/mnt";
    const bool done = ::setns(::open(mounts.c_str(), O_RDONLY | O_CLOEXEC), CLONE_NEWNS) == 0 &&
                      ::mount(from.c_str(), to.c_str(), nullptr, MS_BIND, nullptr) == 0;
    ::_exit(done ? 0 : 1);
  }
  int status = 1;
  return ::waitpid(child, &status, 0) == child && status == 0;
}

class MountInsideALiveTree : public testing::Test {
 protected:
  MountInsideALiveTree()
      : machine({.scenario = scenarioNamed("booted-from-proposed"),
                 .daemon = readFile(MARROW_DAEMON).value(),
                 .calls = {.kind = DaemonTrace::Calls::Kind::kChanges}},
                workplace, interruption) {
    std::filesystem::create_directory(machine.root() / kKept);
    writeFile(keptFile(), kText);
  }

  std::filesystem::path keptFile() const { return machine.root() / kKept / "file"; }

  // At the entry of the exchange of the first two trees.
  bool mountBefore(const SystemCall& call) {
    const bool isExchange = call.isOwn && call.atEntry && call.number == SYS_renameat2 &&
                            call.arguments[4] == RENAME_EXCHANGE;
    if (isExchange && place.empty()) {
      place = targetOf(call, 2) + "/current/extensions-0";
      EXPECT_TRUE(bindThere(call.thread, std::string("/") + kKept, place)) << place;
    }
    return false;
  }

  void expectTheEndOfARun(const StartEnd& end) {
    const Expectation expected = expectedEnd(machine.scenario(), machine.layout(), machine.before(),
                                             SweptMachine::migratorWords());
    EXPECT_EQ(judgeEnd(machine.look(), expected, end.machine.describe()), Complaints());
  }

  Interruption interruption;
  const Workplace workplace;
  SweptMachine machine;
  std::string place;
};

TEST_F(MountInsideALiveTree, IsNotEmptiedAndTheRunComesToItsEnd) {
  const StartEnd end = machine.start([this](const SystemCall& call) { return mountBefore(call); });
  EXPECT_FALSE(place.empty());
  EXPECT_EQ(readFile(keptFile()), kText);
  EXPECT_EQ(end.machine.kind, MachineEnd::Kind::kReboot);
  const Snapshot found = machine.look();
  EXPECT_EQ(found.at("preboot.sealed"), machine.before().at("preboot.sealed-staged"));
  EXPECT_NE(found.at("preboot.sealed-staged"), kNothing);
  EXPECT_EQ(end.leftovers, std::vector<std::string>());

  expectTheEndOfARun(machine.start(StartPlan{}));
  EXPECT_EQ(readFile(keptFile()), kText);
}

}  // namespace
}  // namespace marrow::sweep
