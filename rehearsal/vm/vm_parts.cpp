#include "rehearsal/vm/vm_parts.h"

#include "rehearsal/problem.h"

namespace marrow::rehearsal {
namespace {

std::string baseSystemFor(const Scenario& scenario) {
  if (scenario.bootSplash) {
    return "splash-system.img";
  }
  return scenario.systemBus ? "bus-system.img" : "base-system.img";
}

void require(const std::filesystem::path& file, const std::string& remedy) {
  if (!std::filesystem::is_regular_file(file)) {
    throw Problem("There is no " + file.string() + ": " + remedy + ".");
  }
}

std::filesystem::path besideTheBuild() {
  return std::filesystem::read_symlink("/proc/self/exe").parent_path().parent_path() / "vm";
}

}  // namespace

VmParts findVmParts(const std::filesystem::path& folder, const Scenario& scenario) {
  const auto place = folder.empty() ? besideTheBuild() : std::filesystem::canonical(folder);
  VmParts parts{.kernel = place / "vmlinuz",
                .baseSystem = place / baseSystemFor(scenario),
                .agentSystem = place / "agent-system.img"};
  for (const auto& file : {parts.kernel, parts.baseSystem, parts.agentSystem}) {
    require(file, "make it with `tools/vm-parts " + file.stem().string() + "`");
  }
  require(parts.loader, "install it with `apt-get install systemd-boot-efi`");
  require(parts.firmware, "install it with `apt-get install ovmf`");
  require(parts.firmwareVariables, "install it with `apt-get install ovmf`");
  return parts;
}

}  // namespace marrow::rehearsal
