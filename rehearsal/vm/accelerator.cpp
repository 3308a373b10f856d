#include "rehearsal/vm/accelerator.h"

#include "rehearsal/vm/qemu.h"
#include "rehearsal/vm/vm_machine.h"

#include <array>
#include <poll.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

// A firmware that runs writes to the console within two seconds.
constexpr int kPatience = 8000;

bool firmwareStartsWith(const std::string& accelerator, const VmParts& parts) {
  const VmMachine machine(parts);
  QemuSettings settings = machine.settings(accelerator);
  settings.disk.clear();
  const Qemu qemu(settings);
  std::array<pollfd, 2> sources{pollfd{qemu.console(), POLLIN, 0},
                                pollfd{qemu.process(), POLLIN, 0}};
  const bool any = ::poll(sources.data(), sources.size(), kPatience) > 0;
  return any && !Qemu::take(qemu.console()).empty();
}

}  // namespace

std::string findAccelerator(const VmParts& parts) {
  const bool mayUse = ::access("/dev/kvm", R_OK | W_OK) == 0;
  return mayUse && firmwareStartsWith("kvm", parts) ? "kvm" : "tcg";
}

}  // namespace marrow::rehearsal
