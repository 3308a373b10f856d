// Stands in for marrowd where a test only wants a machine to end: asks for a restart, and ends with
// the number of the error when it is refused one. Outside a machine the request would reach the
// real one: only in a machine is the first process the parent of one whose number is that small.
#include <cerrno>
#include <sys/reboot.h>
#include <unistd.h>

namespace {

constexpr int kNotInAMachine = 99;
constexpr pid_t kMostProcesses = 16;

}  // namespace

int main() {
  if (::getppid() != 1 || ::getpid() > kMostProcesses) {
    return kNotInAMachine;
  }
  ::reboot(RB_AUTOBOOT);
  return errno;
}
