#include "daemon/process_entry.h"
#include "host/linux/linux_host.h"

int main() {
  marrow::LinuxHost machine;
  return marrow::processEntry(machine.host());
}
