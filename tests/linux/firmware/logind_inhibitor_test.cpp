// Power assertions as locks of the real logind, on a real bus.
#include "host/linux/linux_power_assertions.h"
#include "host/linux/socket_address.h"
#include "tests/linux/firmware/logind_machine.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/wait_until.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace marrow {
namespace {

using testing::ContainsRegex;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr char kDenyInhibit[] =
    "<deny send_destination=\"org.freedesktop.login1\" "
    "send_interface=\"org.freedesktop.login1.Manager\" send_member=\"Inhibit\"/>";

class LogindInhibitorTest : public testing::Test {
 protected:
  LogindInhibitorTest() {
    folder.write("tty1", "");
    power = makePower();
  }

  std::unique_ptr<LinuxPowerAssertions> makePower() {
    return std::make_unique<LinuxPowerAssertions>(
        log, LinuxPowerAssertions::Paths{machine.bus(), folder.path(), folder.path("tty1")});
  }
  std::uint32_t create(const std::string& type, const std::string& name = "marrowd") {
    return power->create(type, kPowerAssertionLevelOn, name, assertion);
  }
  void startMachine() {
    machine.startBus();
    machine.startLogind();
  }

  TemporaryFolder folder;
  LogindMachine machine;
  RecordedLog log;
  std::unique_ptr<LinuxPowerAssertions> power;
  PowerAssertionID assertion = 77;
};

TEST_F(LogindInhibitorTest, TheLocksOfARunAreSeenAndHeldToTheEnd) {
  startMachine();
  EXPECT_EQ(create("SoftwareUpdateTask"), 0U);
  EXPECT_EQ(assertion, 1U);
  EXPECT_EQ(create("PreventUserIdleSystemSleep"), 0U);
  EXPECT_EQ(create("PreventUserIdleDisplaySleep", "Kilnworks"), 0U);
  EXPECT_EQ(assertion, 3U);
  const std::string held = machine.inhibitors();
  EXPECT_THAT(held, ContainsRegex("marrowd +0 +root .* sleep +Finishing a system update +block"));
  EXPECT_THAT(held, ContainsRegex("marrowd +0 +root .* idle +Finishing a system update +block"));
  EXPECT_THAT(held, ContainsRegex("Kilnworks +0 +root .* idle +Finishing a system update +block"));
  EXPECT_THAT(log.texts(), IsEmpty());
  power.reset();
  EXPECT_TRUE(waitUntil([this] { return machine.inhibitors().empty(); }));
}

TEST_F(LogindInhibitorTest, TheLocksGoWithTheirProcessHoweverItEnds) {
  startMachine();
  const pid_t holder = ::fork();
  if (holder == 0) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    create("SoftwareUpdateTask");
    ::pause();
    ::_exit(0);
  }
  ASSERT_GT(holder, 0);
  const std::string mark = " " + std::to_string(holder) + " ";
  EXPECT_TRUE(waitUntil([&] { return machine.inhibitors().find(mark) != std::string::npos; }));
  EXPECT_EQ(::kill(holder, SIGKILL), 0);
  EXPECT_EQ(::waitpid(holder, nullptr, 0), holder);
  EXPECT_TRUE(waitUntil([this] { return machine.inhibitors().empty(); }));
}

TEST_F(LogindInhibitorTest, ALockOfLogindLeavesTheKernelsLocksAlone) {
  startMachine();
  folder.write("wake_lock", "");
  folder.write("wake_unlock", "");
  EXPECT_EQ(create("SoftwareUpdateTask"), 0U);
  power.reset();
  EXPECT_EQ(folder.read("wake_lock"), "");
  EXPECT_EQ(folder.read("wake_unlock"), "");
}

TEST_F(LogindInhibitorTest, TheLockOutlivesTheBusAndLogind) {
  startMachine();
  EXPECT_EQ(create("SoftwareUpdateTask"), 0U);
  machine.busDaemon().end();
  machine.logind().end();
  EXPECT_EQ(create("PreventUserIdleSystemSleep"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_EQ(assertion, 1U);
}

TEST_F(LogindInhibitorTest, TheLockIsNoDescriptorOfAProgramThatIsStarted) {
  startMachine();
  const Descriptor lock = takeSleepInhibitor(machine.bus(), {"sleep", "marrowd", "why"});
  ASSERT_TRUE(lock);
  EXPECT_EQ(::fcntl(lock.number(), F_GETFD), FD_CLOEXEC);
}

TEST_F(LogindInhibitorTest, ThePathOfTheBusMayHoldAnyCharacter) {
  startMachine();
  const std::string link = folder.path("a bus, 100% \xc3\xa9;=");
  std::filesystem::create_symlink(machine.bus(), link);
  EXPECT_TRUE(takeSleepInhibitor(link, {"sleep", "marrowd", "why"}));
}

TEST_F(LogindInhibitorTest, ALibraryThatIsMissingOrAnotherOneIsToldApartFromAMissingBus) {
  const SleepInhibitor wanted{"sleep", "marrowd", "why"};
  EXPECT_FALSE(takeSleepInhibitor(machine.bus(), wanted, "libnothing.so.0"));
  EXPECT_EQ(errno, ENOENT);
  machine.startBus();
  for (const char* const library : {"libnothing.so.0", "libc.so.6"}) {
    EXPECT_FALSE(takeSleepInhibitor(machine.bus(), wanted, library));
    EXPECT_EQ(errno, ELIBACC) << library;
  }
}

TEST_F(LogindInhibitorTest, ABusThatRefusesIsTheStatusWhereTheKernelHasNoLocks) {
  machine.startBus(kDenyInhibit);
  machine.startLogind();
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(EACCES));
  EXPECT_EQ(create("PreventUserIdleSystemSleep"), static_cast<std::uint32_t>(EACCES));
  EXPECT_EQ(assertion, 77U);
  EXPECT_EQ(machine.inhibitors(), "");
  EXPECT_THAT(log.texts(), ElementsAre("logind gives no inhibitor lock (" + machine.bus() +
                                           "). Permission denied",
                                       StartsWith("This machine cannot be kept awake")));
}

TEST_F(LogindInhibitorTest, ALogindThatRefusesIsTheStatusToo) {
  startMachine();
  std::uint32_t status = 0;
  std::thread([&] {
    // The system call changes the user of this thread alone.
    ASSERT_EQ(::syscall(SYS_setresuid, 65534, 65534, 65534), 0);
    status = create("SoftwareUpdateTask");
  }).join();
  EXPECT_EQ(status, static_cast<std::uint32_t>(EACCES));
  EXPECT_EQ(machine.inhibitors(), "");
}

TEST_F(LogindInhibitorTest, AWakeLockStandsInForALockThatWasRefused) {
  machine.startBus(kDenyInhibit);
  machine.startLogind();
  folder.write("wake_lock", "");
  EXPECT_EQ(create("SoftwareUpdateTask"), 0U);
  EXPECT_EQ(folder.read("wake_lock"), "marrowd.SoftwareUpdateTask");
}

TEST_F(LogindInhibitorTest, ABusWithoutLogindIsToldOnce) {
  machine.startBus();
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_EQ(create("PreventUserIdleSystemSleep"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("No route to host"),
                                       StartsWith("This machine cannot be kept awake")));
}

TEST_F(LogindInhibitorTest, ALogindThatDoesNotAnswerIsNotWaitedForWithoutEnd) {
  startMachine();
  machine.logind().suspend();
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("timed out"), testing::_));
  machine.logind().resume();
  EXPECT_TRUE(waitUntil([this] { return create("SoftwareUpdateTask") == 0; }));
}

TEST_F(LogindInhibitorTest, ABusThatDoesNotGreetIsNotWaitedForWithoutEnd) {
  startMachine();
  machine.busDaemon().suspend();
  folder.write("wake_lock", "");
  EXPECT_EQ(create("SoftwareUpdateTask"), 0U);
  EXPECT_EQ(folder.read("wake_lock"), "marrowd.SoftwareUpdateTask");
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("timed out")));
}

TEST_F(LogindInhibitorTest, ABusThatAnotherBusHasLeftBehindIsNone) {
  machine.startBus();
  machine.busDaemon().end();
  ASSERT_TRUE(std::filesystem::exists(machine.bus()));
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_THAT(log.texts(), ElementsAre(Not(HasSubstr("inhibitor lock"))));
}

// A listener whose queue is full does not even take a connection.
TEST_F(LogindInhibitorTest, ABusThatTakesNoConnectionIsNotWaitedForWithoutEnd) {
  sockaddr_un address{};
  const socklen_t length = fillSocketAddress(machine.bus(), address);
  const auto* const place = reinterpret_cast<const sockaddr*>(&address);
  const Descriptor listener(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::bind(listener.number(), place, length), 0);
  ASSERT_EQ(::listen(listener.number(), 0), 0);
  const Descriptor first(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::connect(first.number(), place, length), 0);
  EXPECT_EQ(create("SoftwareUpdateTask"), static_cast<std::uint32_t>(ENOSYS));
  EXPECT_THAT(log.texts(), ElementsAre(HasSubstr("inhibitor lock"), testing::_));
}

}  // namespace
}  // namespace marrow
