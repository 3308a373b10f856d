// The program of a virtual machine's small systems: marrow-vm-agent SYSTEM, started by their /init.
#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "rehearsal/vm/guest/guest.h"

#include <cstdio>
#include <fcntl.h>
#include <filesystem>
#include <sys/reboot.h>
#include <termios.h>
#include <unistd.h>

namespace {

using namespace marrow::rehearsal;

constexpr const char* kPort = "/dev/ttyS1";

void tell(const GuestReport& report) {
  const Descriptor port = openFile(kPort, O_WRONLY | O_NOCTTY);
  writeAll(port.number(), lineOf(report) + '\n');
  ::tcdrain(port.number());
}

GuestEnd play(const std::string& system) {
  try {
    const auto plan = readFile(std::filesystem::path("/") / kGuestPlanFile);
    Guest guest(guestPlanFrom(plan.value_or("")));
    tell(guest.run(system));
    return guest.end();
  } catch (const std::exception& problem) {
    std::fprintf(stderr, "marrow-vm-agent: %s\n", problem.what());
    tell({.system = system, .snapshot = {}, .problem = problem.what()});
    return GuestEnd::kPowerOff;
  }
}

}  // namespace

int main(int argc, char** argv) {
  const GuestEnd end = play(argc > 1 ? argv[1] : "");
  ::sync();
  ::reboot(end == GuestEnd::kRestart ? RB_AUTOBOOT : RB_POWER_OFF);
  std::perror("marrow-vm-agent: reboot");
  return 1;
}
