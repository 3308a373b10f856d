#include "rehearsal/vm/data_key.h"

#include "rehearsal/files.h"
#include "rehearsal/programs.h"

namespace marrow::rehearsal {
namespace {

constexpr const char* kPassphrase = "rehearsal";
// The same in base64, as a unit file holds it.
constexpr const char* kPassphraseInUnit = "cmVoZWFyc2Fs";

constexpr const char* kUnit = "marrow-rehearsal-key.service";
constexpr const char* kUnitFolder = "etc/systemd/system";
constexpr const char* kKeyctl = "/usr/bin/keyctl";

// A key of systemd's own name, in the ring of the user root.
std::string unitText() {
  return std::string("[Unit]\nDescription=Leave the data volume's key with the kernel\n") +
         "DefaultDependencies=no\nBefore=marrowd.service\n" +
         "[Service]\nType=oneshot\nKeyringMode=shared\nStandardInput=data\nStandardInputData=" +
         kPassphraseInUnit + "\nExecStart=" + kKeyctl + " padd user cryptsetup @u\n";
}

void copyProgram(const std::filesystem::path& root, const std::filesystem::path& file) {
  const auto target = root / file.relative_path();
  std::filesystem::create_directories(target.parent_path());
  std::filesystem::copy_file(file, target);
}

// As the linker names it, but below /usr, where Debian has it.
std::filesystem::path libraryOf(const std::string& program, const std::string& name) {
  const std::string words = runProgram({"ldd", program});
  const auto at = words.find(name + " => ");
  const auto begin = at + name.size() + 4;
  const auto found =
      at == std::string::npos ? std::string() : words.substr(begin, words.find(' ', begin) - begin);
  return found.starts_with("/lib/") ? "/usr" + found : found;
}

}  // namespace

void encryptVolume(const std::filesystem::path& node) {
  constexpr const char* kName = "rehearsal";
  runProgram({"cryptsetup", "luksFormat", "-q", "--type", "luks2", "--pbkdf", "pbkdf2",
              "--pbkdf-force-iterations", "1000", "--luks2-metadata-size", "16k",
              "--luks2-keyslots-size", "256k", "--key-file", "-", node},
             kPassphrase);
  runProgram({"cryptsetup", "token", "import", node},
             R"({"type":"marrow-stash","keyslots":["0"],"state":"staged"})");
  runProgram({"cryptsetup", "open", "--key-file", "-", node, kName}, kPassphrase);
  runProgram({"mkfs.ext4", "-q", std::string("/dev/mapper/") + kName});
  runProgram({"cryptsetup", "close", kName});
}

void installDataKey(const std::filesystem::path& root) {
  requireProgram("keyctl", "keyutils");
  copyProgram(root, kKeyctl);
  copyProgram(root, libraryOf(kKeyctl, "libkeyutils.so.1"));
  writeFile(root / kUnitFolder / kUnit, unitText());
  const auto wants = root / kUnitFolder / "marrowd.service.wants";
  std::filesystem::create_directories(wants);
  std::filesystem::create_symlink(std::filesystem::path("..") / kUnit, wants / kUnit);
}

}  // namespace marrow::rehearsal
