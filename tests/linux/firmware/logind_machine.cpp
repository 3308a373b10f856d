#include "tests/linux/firmware/logind_machine.h"

#include "tests/wait_until.h"

#include <filesystem>

namespace marrow {

namespace {

std::string busConfiguration(const std::string& socket, const std::string& rules) {
  return "<busconfig><type>system</type><listen>unix:path=" + socket +
         "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow user=\"*\"/>"
         "<allow own=\"*\"/><allow send_destination=\"*\"/><allow receive_sender=\"*\"/>" +
         rules + "</policy></busconfig>";
}

// logind keeps its state in /run, and must reach no terminal of the machine that tests it.
constexpr char kLogindInMountsOfItsOwn[] =
    "set -e; mount -t tmpfs run /run; mkdir -p /run/systemd /run/udev; "
    "for terminal in tty0 tty1 console; do "
    "test ! -e /dev/$terminal || mount --bind /dev/null /dev/$terminal; done; "
    "exec /usr/lib/systemd/systemd-logind";

}  // namespace

LogindMachine::LogindMachine() {
  std::filesystem::permissions(_folder.path(), std::filesystem::perms(0755));
}

void LogindMachine::startBus(const std::string& rules) {
  _folder.write("bus.conf", busConfiguration(bus(), rules));
  _bus = std::make_unique<StartedProgram>(std::vector<std::string>{
      "dbus-daemon", "--config-file=" + _folder.path("bus.conf"), "--nofork", "--nopidfile"});
  EXPECT_TRUE(waitUntil([this] { return std::filesystem::exists(bus()); }));
}

void LogindMachine::startLogind() {
  _logind = std::make_unique<StartedProgram>(std::vector<std::string>{
      "env", "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + bus(), "unshare", "--mount", "--propagation",
      "private", "sh", "-c", kLogindInMountsOfItsOwn});
  EXPECT_TRUE(waitUntil([this] { return runProgram(ask()).status == 0; }));
}

std::string LogindMachine::inhibitors() const {
  const ProgramOutput listed = runProgram(ask());
  EXPECT_EQ(listed.status, 0) << listed.text;
  return listed.text;
}

std::string LogindMachine::ask() const {
  return "DBUS_SYSTEM_BUS_ADDRESS=unix:path=" + bus() +
         " systemd-inhibit --list --no-pager --no-legend 2>&1";
}

}  // namespace marrow
