#include "host/linux/linux_installer_utilities.h"

#include "host/error_record.h"
#include "host/text_format.h"

#include <algorithm>
#include <cctype>
#include <cerrno>

namespace marrow {

namespace {

const EFIVariableName kDarkBoot{"marrow-dark-boot"};
const EFIVariableName kMuteBootChime{"marrow-mute-boot-chime"};

std::string lowerCase(std::string text) {
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

bool isSystemVolume(DVStaticLoamVolume& volume) {
  const auto container = volume.container();
  if (container == nullptr) {
    return false;
  }
  const auto systems = container->volumesWithRole(kSystemVolumeRole);
  return std::any_of(systems.begin(), systems.end(), [&](const auto& system) {
    return system->deviceNode() == volume.deviceNode();
  });
}

}  // namespace

bool LinuxInstallerUtilities::isDarkBoot() {
  std::call_once(_darkBootRead, [this] { readDarkBoot(); });
  return _darkBoot;
}

void LinuxInstallerUtilities::readDarkBoot() {
  _darkBoot = _services.store.read(kDarkBoot) == "1";
  report("delete firmware variable", kDarkBoot.name, _services.store.remove(kDarkBoot));
}

void LinuxInstallerUtilities::muteBootChimeForNextReboot() { setFlag(kMuteBootChime); }

// This boot's answer is read before the next boot's takes its place.
void LinuxInstallerUtilities::enableDarkReboot() {
  isDarkBoot();
  setFlag(kDarkBoot);
}

void LinuxInstallerUtilities::setFlag(const EFIVariableName& variable) {
  report("write firmware variable", variable.name, _services.store.write(variable, "1"));
}

bool LinuxInstallerUtilities::blessDevice(const std::optional<std::string>& deviceNode,
                                          bool oneTime) {
  const std::string group = deviceNode ? systemGroup(*deviceNode) : std::string();
  if (group.empty()) {
    _services.log.log(LogLevel::error, formatText("Unable to start from %@. No system volume of a "
                                                  "volume group has this device node",
                                                  deviceNode));
    return false;
  }
  const std::string entry = "marrow-" + lowerCase(group);
  const int status = _services.bootLoaderEntries.choose(entry, oneTime);
  report("choose boot entry", entry, status);
  return status == 0;
}

// The volume group of the system volume with this node; empty when there is none.
std::string LinuxInstallerUtilities::systemGroup(const std::string& deviceNode) {
  const auto media = _services.media.mediaForBSDName(deviceNode);
  const auto volume = media == nullptr ? nullptr : media->asVolume();
  return volume != nullptr && isSystemVolume(*volume) ? volume->volumeGroupUUID() : std::string();
}

// That there is no store has been told by the store.
void LinuxInstallerUtilities::report(const char* task, const std::string& subject, int status) {
  if (status != 0 && status != ENODEV) {
    _services.log.log(LogLevel::error,
                      formatText("Unable to %s %s. %s", task, subject, errorNumberText(status)));
  }
}

}  // namespace marrow
