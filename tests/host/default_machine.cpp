#include "tests/host/default_machine.h"

#include "tests/host/in_memory_host.h"

#include <algorithm>

namespace marrow {

namespace {

// The argument that follows the option; empty when the option is not given.
std::string optionValue(const std::vector<std::string>& arguments, const std::string& option) {
  const auto found = std::find(arguments.begin(), arguments.end(), option);
  return found == arguments.end() || std::next(found) == arguments.end() ? "" : *std::next(found);
}

void addDisks(InMemoryPartitions& partitions) {
  partitions.addContainer(kContainer);
  partitions.addVolume(kContainer, {kOtherSystemVolume, VolumeRole::system, kOtherGroup});
  partitions.addVolume(kContainer, {kOtherDataVolume, VolumeRole::data, kOtherGroup, true});
  partitions.addVolume(kContainer, {kPrebootVolume, VolumeRole::preboot, ""});
  partitions.addVolume(kContainer, {kSystemVolume, VolumeRole::system, kBootedGroup});
  partitions.addVolume(kContainer, {kDataVolume, VolumeRole::data, kBootedGroup, true});
  partitions.addVolume(kContainer, {kRecoveryVolume, VolumeRole::recovery, ""});
  partitions.addVolume(kContainer, {kUpdateVolume, VolumeRole::update, ""});
  partitions.addContainer(kExternalDisk);
  partitions.addVolume(kExternalDisk, {kExternalVolume, VolumeRole::system, kExternalGroup});
  partitions.addPlainDisk(kPlainDisk);
}

void stagePreboot(InMemoryFileSystem& files) {
  files.write(kPrebootGroup + "/morrel1/current/image", "old image");
  files.write(kPrebootGroup + "/morrel1/proposed/image", "new image");
  files.write(kPrebootGroup + "/restore/manifest", "old manifest");
  files.write(kPrebootGroup + "/restore-staged/manifest", "new manifest");
  files.makeFolder(kPrebootGroup + "/boot/" + kNSIH);
  files.write(kPrebootGroup + "/boot/active", "OLD");
  files.write(kPrebootGroup + "/downlevel/kernel", "old kernel");
}

void stageRecovery(InMemoryFileSystem& files) {
  for (const std::string& root : {kRecoveryGroup, kRecoveryGroup + "/boot/" + kNSIH}) {
    files.write(root + "/" + kBaseSystemImage, "old image");
    files.write(root + "/" + kBaseSystemImage + ".staged", "new image");
  }
}

void stageUpdate(InMemoryFileSystem& files) {
  PropertyListDictionary fileOnly;
  fileOnly.set("other-variable", std::string("kept"));
  PropertyListDictionary shadow;
  shadow.set("boot-volume", std::string("kept"));
  shadow.set("brask-file-only-vars", fileOnly);
  files.writeDictionary(InMemoryPartitions::root(kUpdateVolume) + "/nvram.plist", shadow);
}

void stageNonces(InMemoryHost& machine) {
  machine.bootPolicy.setNonce(kNonceInForce);
  machine.bootPolicy.setProposedNonce(kProposedNonce);
  PropertyListDictionary properties;
  properties.set("lp-lpnh", InMemoryBootPolicy::digestData(kProposedNonce));
  machine.registry.add({"IOService", {}, kNoRegistryHandle, properties, kBootNonceEntry});
}

ProgramResult migrate(InMemoryHost& machine, const std::vector<std::string>& arguments) {
  constexpr double kSecondsBetweenReports = 10.0;
  machine.fileSystem.write(optionValue(arguments, "-l"), kMigratorLogText);
  machine.fileSystem.write(optionValue(arguments, "-m"), kMigratorMetricsText);
  const std::string progress = optionValue(arguments, "-g");
  for (const char* report : {"0\n", "50\n", "100\n"}) {
    if (!progress.empty()) {
      machine.fileSystem.write(progress, report);
    }
    machine.clock.advance(kSecondsBetweenReports);
  }
  return {kMigratorOutput, 0};
}

}  // namespace

void setUpDefaultMachine(InMemoryHost& machine) {
  for (const char* folder : {"/dev", "/run", "/private/tmp", "/Volumes"}) {
    machine.fileSystem.makeFolder(folder);
  }
  constexpr std::uint64_t kConsole = 0x501;  // 5:1, console(4)
  machine.fileSystem.makeDevice("/dev/console", FileKind::characterDevice, kConsole);
  machine.kernelVariables.set("kern.bootuuid", kBootedGroup);
  machine.kernelVariables.set("kern.bootobjectspath", kBootObjectsPath);
  addDisks(machine.partitions);
  stagePreboot(machine.fileSystem);
  stageRecovery(machine.fileSystem);
  stageUpdate(machine.fileSystem);
  stageNonces(machine);
  machine.partitions.mount(kPrebootVolume, "/Volumes/preboot");
  machine.partitions.mount(kSystemVolume, "/Volumes/system", true);
  machine.partitions.mount(kExternalVolume, "/Volumes/external");
  machine.launcher.install(kMigratorPath, [&machine](const std::vector<std::string>& arguments) {
    return migrate(machine, arguments);
  });
}

}  // namespace marrow
