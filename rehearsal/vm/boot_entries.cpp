#include "rehearsal/vm/boot_entries.h"

#include "rehearsal/firmware_setup.h"
#include "rehearsal/vm/guest/guest_report.h"

namespace marrow::rehearsal {
namespace {

constexpr const char* kInstallerEntry = "marrow-installer.conf";

std::string entry(const std::string& title, const std::vector<std::string>& initialSystems,
                  const std::string& words) {
  std::string text = "title " + title + "\nlinux /" + efi_path::kKernel + '\n';
  for (const std::string& image : initialSystems) {
    text += "initrd /" + image + '\n';
  }
  return text + "options " + kCommonWords + ' ' + words + '\n';
}

LoaderFile agentEntry(const std::string& name, const std::string& title,
                      const std::string& system) {
  return {"loader/entries/" + name, entry(title, {efi_path::kAgentSystem, efi_path::kAgentPlan},
                                          std::string(kQuietWords) + " marrow_vm=" + system)};
}

}  // namespace

std::vector<LoaderFile> loaderFiles(const BootDisk& disk, const Scenario& scenario,
                                    const std::string& baseSystemWords) {
  const std::string booted =
      "kern.bootuuid=" + disk.group + " kern.bootobjectspath=" + disk.bootObjectsPath + ' ';
  std::vector<LoaderFile> files{
      {"loader/loader.conf", std::string("timeout 0\ndefault ") + kInstallerEntry + '\n'},
      agentEntry(kInstallerEntry, "Installer", guest_system::kInstaller),
      agentEntry(kOldEntry, "Old system", guest_system::kOld),
      {std::string("loader/entries/") + kBaseEntry,
       entry("Base system", {efi_path::kBaseSystem, efi_path::kBaseAddition},
             booted + baseSystemWords)}};
  if (!scenario.entryMissing) {
    files.push_back(agentEntry(entryOf(disk.group), "New system", guest_system::kNew));
  }
  return files;
}

}  // namespace marrow::rehearsal
