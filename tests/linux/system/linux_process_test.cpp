#include "host/linux/linux_process.h"

#include "host/linux/descriptor.h"
#include "tests/contract/system/scratch_folder.h"
#include "tests/linux/system/recorded_log.h"
#include "tests/linux/system/text_files.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace marrow {

namespace {

// A service manager's socket; an address that begins with "@" is abstract.
Descriptor listenAt(const std::string& address) {
  Descriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  sockaddr_un bound{};
  bound.sun_family = AF_UNIX;
  std::memcpy(bound.sun_path, address.data(), address.size());
  bound.sun_path[0] = address[0] == '@' ? '\0' : address[0];
  const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address.size());
  EXPECT_EQ(::bind(socket.number(), reinterpret_cast<const sockaddr*>(&bound), length), 0);
  return socket;
}

std::string received(const Descriptor& socket) {
  std::array<char, 64> buffer{};
  const ssize_t count = ::recv(socket.number(), buffer.data(), buffer.size(), 0);
  return count < 0 ? "" : std::string(buffer.data(), static_cast<std::size_t>(count));
}

class LinuxProcessTest : public testing::Test {
 protected:
  LinuxProcessTest() {
    ::unsetenv("NOTIFY_SOCKET");
    writeFile(scorePath, "0\n");
  }
  ~LinuxProcessTest() override { ::unsetenv("NOTIFY_SOCKET"); }

  const ScratchFolder folder;
  const std::string scorePath = folder.at("oom_score_adj");
  RecordedLog log;
  LinuxProcess process{log, scorePath};
};

TEST_F(LinuxProcessTest, IsNeverKilledForMemoryWhileItIsADaemon) {
  process.setIsDaemon(true);
  EXPECT_EQ(fileText(scorePath), "-1000\n");
  writeFile(scorePath, "");
  process.setIsDaemon(false);
  EXPECT_EQ(fileText(scorePath), "0\n");
  EXPECT_TRUE(log.texts().empty());
}

TEST_F(LinuxProcessTest, TellsTheServiceManagerThatItIsReady) {
  for (const std::string& address :
       {folder.at("socket"), "@marrow-test-" + std::to_string(::getpid())}) {
    const Descriptor manager = listenAt(address);
    ::setenv("NOTIFY_SOCKET", address.c_str(), 1);
    process.setIsDaemon(true);
    EXPECT_EQ(received(manager), "READY=1");
    process.setIsDaemon(false);
    EXPECT_EQ(received(manager), "");
  }
}

TEST_F(LinuxProcessTest, LogsWhatFailsAndGoesOn) {
  ::setenv("NOTIFY_SOCKET", folder.at("missing").c_str(), 1);
  LinuxProcess other(log, folder.at("none"));
  other.setIsDaemon(true);
  EXPECT_EQ(log.texts(), (std::vector<std::string>{
                             "Cannot write " + folder.at("none") + ": No such file or directory",
                             "Cannot notify the service manager at " + folder.at("missing") +
                                 ": No such file or directory"}));
}

TEST_F(LinuxProcessTest, RefusesAnAddressThatIsNone) {
  for (const std::string& address : {std::string("relative"), '/' + std::string(200, 'x')}) {
    ::setenv("NOTIFY_SOCKET", address.c_str(), 1);
    process.setIsDaemon(true);
  }
  EXPECT_EQ(log.texts().size(), 2U);
}

TEST_F(LinuxProcessTest, WaitsForABusyServiceManagerOneSecondAtMost) {
  const std::string address = folder.at("socket");
  const Descriptor manager = listenAt(address);
  ::setenv("NOTIFY_SOCKET", address.c_str(), 1);
  for (int round = 0; log.texts().empty() && round < 10000; ++round) {
    process.setIsDaemon(true);
  }
  EXPECT_EQ(log.texts().size(), 1U);
}

TEST_F(LinuxProcessTest, FlushesStandardOutputBeforeItEnds) {
  const std::string output = folder.at("output");
  const auto end = [&] {
    ASSERT_NE(std::freopen(output.c_str(), "w", stdout), nullptr);
    std::printf("last words");
    process.exit(3);
  };
  EXPECT_EXIT(end(), testing::ExitedWithCode(3), "");
  EXPECT_EQ(fileText(output), "last words");
}

}  // namespace

}  // namespace marrow
