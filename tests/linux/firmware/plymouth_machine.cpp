#include "tests/linux/firmware/plymouth_machine.h"

#include "host/linux/plymouth_connection.h"
#include "tests/wait_until.h"

#include <regex>
#include <sched.h>
#include <stdexcept>

namespace marrow {

namespace {

// The daemon must reach no terminal of the machine that tests it.
constexpr char kDaemonInMountsOfItsOwn[] =
    "set -e; mount -t tmpfs run /run; mkdir /run/plymouth; "
    "for terminal in tty0 tty1 console; do "
    "test ! -e /dev/$terminal || mount --bind /dev/null /dev/$terminal; done; "
    "exec plymouthd --no-daemon --mode=boot --tty=\"$1\" --debug --debug-file=\"$2\" "
    "--kernel-command-line='splash plymouth.ignore-udev plymouth.ignore-serial-consoles'";

void enterPrivateNetwork() {
  static const bool entered = ::unshare(CLONE_NEWNET) == 0;
  if (!entered) {
    throw std::runtime_error("a network namespace of the test's own needs root");
  }
}

}  // namespace

PlymouthMachine::PlymouthMachine() {
  enterPrivateNetwork();
  _reading = std::jthread([this](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      _terminal.takeText();
    }
  });
}

void PlymouthMachine::start() {
  _daemon = std::make_unique<StartedProgram>(std::vector<std::string>{
      "unshare", "--mount", "--propagation", "private", "sh", "-c", kDaemonInMountsOfItsOwn, "sh",
      _terminal.path(), _folder.path("log")});
  EXPECT_TRUE(waitUntil([] { return PlymouthConnection().open(kPlymouthAddress) == 0; }));
}

std::string PlymouthMachine::endAndTakeLog() {
  EXPECT_TRUE(_daemon->terminate());
  return _folder.read("log").value_or("");
}

std::vector<int> percentagesIn(const std::string& log) {
  static const std::regex notice("got system-update notification (-?[0-9]+)%");
  std::vector<int> percentages;
  for (std::sregex_iterator found(log.begin(), log.end(), notice), none; found != none; ++found) {
    percentages.push_back(std::stoi((*found)[1]));
  }
  return percentages;
}

}  // namespace marrow
