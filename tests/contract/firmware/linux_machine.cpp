#include "host/linux/linux_boot_policy.h"
#include "host/linux/linux_firmware_variables.h"
#include "host/linux/linux_graphics_server.h"
#include "host/linux/linux_installer_utilities.h"
#include "host/linux/linux_kernel_variables.h"
#include "host/linux/linux_key_store.h"
#include "host/linux/linux_os_variant.h"
#include "host/linux/linux_power_assertions.h"
#include "host/linux/linux_progress_display.h"
#include "host/linux/linux_reboot.h"
#include "tests/contract/firmware/firmware_machine.h"
#include "tests/host/in_memory_host.h"
#include "tests/linux/firmware/luks_image.h"
#include "tests/linux/firmware/mounted_image.h"
#include "tests/linux/firmware/recorded_log.h"
#include "tests/linux/firmware/temporary_folder.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>

namespace marrow {

namespace {

const EFIVariableName kNonce{"marrow-nonce"};
const EFIVariableName kProposedNonce{"marrow-nonce-proposed"};
const EFIVariableName kMute{"marrow-mute-boot-chime"};

// The Linux services of one start of the machine, on a folder in place of the machine's own files.
struct LinuxServices {
  LinuxServices(const std::string& root, const std::optional<LuksImage>& data, DVStaticMedia& media,
                RecordedLog& log, bool& rebooted)
      : store(log, root + "/efivars"),
        osVariant(root + "/etc"),
        kernelVariables(root + "/cmdline"),
        firmwareVariables(store, log),
        bootPolicy(store, log),
        installerUtilities({store, entries, media, log}),
        powerAssertions(log, {root + "/bus", root + "/power", root + "/tty1"}),
        progressDisplay(log, {root + "/tty1", root + "/splash"}),
        graphicsServer(log, root + "/tty1"),
        keyStore(log, [&data] { return data ? std::optional(data->path()) : std::nullopt; }),
        reboot(entries, log, {root + "/kmsg", root + "/panic", root + "/sysrq-trigger"},
               {[] {},
                [&rebooted](int) {
                  rebooted = true;
                  return 0;
                }}) {}

  EFIVariableStore store;
  BootLoaderEntries entries{store};
  LinuxOSVariant osVariant;
  LinuxKernelVariables kernelVariables;
  LinuxFirmwareVariables firmwareVariables;
  LinuxBootPolicy bootPolicy;
  LinuxInstallerUtilities installerUtilities;
  LinuxPowerAssertions powerAssertions;
  LinuxProgressDisplay progressDisplay;
  LinuxGraphicsServer graphicsServer;
  LinuxKeyStore keyStore;
  LinuxReboot reboot;
};

class LinuxMachine final : public FirmwareMachine {
 public:
  LinuxMachine() {
    for (const char* const folder : {"efivars", "etc", "power"}) {
      std::filesystem::create_directory(path(folder));
    }
    for (const char* const file : {"tty1", "kmsg", "sysrq-trigger"}) {
      write(file, "");
    }
    write("panic", "0\n");
    describe();
    LinuxMachine::restart();
  }

  OSVariant& osVariant() override { return _services->osVariant; }
  KernelVariables& kernelVariables() override { return _services->kernelVariables; }
  FirmwareVariables& firmwareVariables() override { return _services->firmwareVariables; }
  BootPolicy& bootPolicy() override { return _services->bootPolicy; }
  KWUtilities& installerUtilities() override { return _services->installerUtilities; }
  PowerAssertions& powerAssertions() override { return _services->powerAssertions; }
  ProgressDisplay& progressDisplay() override { return _services->progressDisplay; }
  GraphicsServer& graphicsServer() override { return _services->graphicsServer; }
  KeyStore& keyStore() override { return _services->keyStore; }
  Reboot& reboot() override { return _services->reboot; }

  void restart() override {
    _rebooted = false;
    _services = std::make_unique<LinuxServices>(_folder.path(), _dataVolume, _disks.partitions,
                                                _log, _rebooted);
  }

  void makeBaseSystem(bool baseSystem) override {
    _baseSystem = baseSystem;
    describe();
  }
  void makeInternal(bool internal) override {
    _internal = internal;
    describe();
  }
  void setKernelVariable(const std::string& name,
                         const std::optional<std::string>& value) override {
    _kernelVariables[name] = value;
    describe();
  }
  void setNonces(const std::optional<std::string>& inForce,
                 const std::optional<std::string>& proposed) override {
    set(kNonce, inForce);
    set(kProposedNonce, proposed);
  }
  void refuseVariables() override { _folder.makeReadOnly(); }
  void stageKey() override {
    _dataVolume = makeLuksImage(_volumes.path("data"));
    _dataVolume->addToken(R"({"type":"marrow-stash","keyslots":["0"],"state":"staged"})");
  }
  void allowAssertions(bool allowed) override {
    std::filesystem::remove(path("power/wake_lock"));
    if (allowed) {
      write("power/wake_lock", "");
    }
  }

  std::optional<std::string> nonce() override { return _services->store.read(kNonce); }
  std::optional<std::string> proposedNonce() override {
    return _services->store.read(kProposedNonce);
  }
  bool keyIsCommitted() override {
    return _dataVolume && _dataVolume->token(0).find(R"("state":"committed")") != std::string::npos;
  }
  bool chimeIsMuted() override { return _services->store.read(kMute) == "1"; }
  bool isBlessed(const std::string& group, bool oneTime) override {
    std::string entry = "marrow-" + group + ".conf";
    std::transform(entry.begin(), entry.end(), entry.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return _services->store.read({oneTime ? "LoaderEntryOneShot" : "LoaderEntryDefault",
                                  kBootLoaderVendor}) == encodeLoaderString(entry);
  }
  std::vector<int> shownPercentages() override {
    std::istringstream lines(read("tty1"));
    std::vector<int> percentages;
    for (std::string line; std::getline(lines, line, '%');) {
      if (!lines.eof()) {
        percentages.push_back(std::stoi(line));
      }
    }
    return percentages;
  }
  bool displayUpdatesAreEnabled() override {
    return read("tty1").find("\033[13]") != std::string::npos;
  }
  bool wasRebooted() override { return _rebooted; }
  std::optional<std::string> crash(std::uint32_t flags, const std::string& message) override {
    _services->reboot.rebootWithMessage(flags, message);
    const std::string told = read("kmsg");
    return read("sysrq-trigger") == "c" && told.ends_with('\n')
               ? std::optional(told.substr(0, told.size() - 1))
               : std::nullopt;
  }

 private:
  std::string path(const std::string& name) const { return _folder.path() + "/" + name; }
  void write(const std::string& name, const std::string& text) const {
    std::ofstream file(path(name), std::ios::trunc);
    file << text;
    EXPECT_TRUE(file.flush()) << name;
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path(name));
    return {std::istreambuf_iterator<char>(file), {}};
  }
  void set(const EFIVariableName& variable, const std::optional<std::string>& value) {
    EXPECT_EQ(_services->store.write(variable, value.value_or("")), 0);
  }
  // Writes what the system and the kernel say of themselves.
  void describe() const {
    write("etc/os-release", std::string(_baseSystem ? "VARIANT_ID=base-system\n" : "ID=debian\n") +
                                (_internal ? "RELEASE_TYPE=development\n" : ""));
    std::string commandLine = "quiet";
    for (const auto& [name, value] : _kernelVariables) {
      commandLine += value ? " " + name + "=\"" + *value + "\"" : "";
    }
    write("cmdline", commandLine + "\n");
  }

  const MountedMemory _folder{"size=1m"};
  const TemporaryFolder _volumes;
  std::optional<LuksImage> _dataVolume;
  InMemoryHost _disks;
  RecordedLog _log;
  bool _baseSystem = false;
  bool _internal = false;
  std::map<std::string, std::optional<std::string>> _kernelVariables;
  bool _rebooted = false;
  std::unique_ptr<LinuxServices> _services;
};

}  // namespace

std::unique_ptr<FirmwareMachine> makeLinuxFirmwareMachine() {
  return std::make_unique<LinuxMachine>();
}

}  // namespace marrow
