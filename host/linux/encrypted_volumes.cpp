#include "host/linux/encrypted_volumes.h"

#include "host/linux/crypt_library.h"
#include "host/linux/disk_error.h"
#include "host/linux/kernel_key.h"
#include "host/linux/luks_probe.h"
#include "host/linux/small_file.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

// How libcryptsetup begins the identifier of such a mapped device.
constexpr char kIdentifierStart[] = "CRYPT-LUKS2-";

std::string nameFor(const BlockDevice& volume) { return "marrow-" + volume.name; }

// libdevmapper writes what it takes for no plain letter as \xNN; of the letters of a kernel's name
// that is the one that stands for a slash.
std::string mangled(std::string name) {
  for (auto at = name.find('!'); at != std::string::npos; at = name.find('!')) {
    name.replace(at, 1, "\\x21");
  }
  return name;
}

// No key was of use: the way to open it is another.
bool isNoFit(int result) { return result == -EPERM || result == -ENOENT || result == -ENOANO; }

}  // namespace

EncryptedVolumes::EncryptedVolumes(const Services& services, std::string library, std::string key)
    : _services(services), _library(std::move(library)), _key(std::move(key)) {}

std::optional<BlockDevice> EncryptedVolumes::mapping(const BlockDevice& volume) const {
  for (const auto& name : _services.stack.above(volume)) {
    auto device = _services.devices.find(name);
    if (device && attribute(*device, "uuid").starts_with(kIdentifierStart)) {
      return device;
    }
  }
  return std::nullopt;
}

bool EncryptedVolumes::isOurs(const BlockDevice& volume, const BlockDevice& mapping) const {
  return attribute(mapping, "name") == mangled(nameFor(volume));
}

BlockDevice EncryptedVolumes::volumeOf(const BlockDevice& device) const {
  const bool isMapping = attribute(device, "uuid").starts_with(kIdentifierStart);
  const auto below = isMapping ? _services.stack.below(device) : std::vector<BlockDevice>();
  return below.empty() ? device : below.front();
}

std::optional<BlockDevice> EncryptedVolumes::open(const BlockDevice& volume,
                                                  ErrorSlot error) const {
  if (auto present = mapping(volume)) {
    return present;
  }
  const auto node = _services.devices.node(volume);
  bool encrypted = false;
  if (const int errorNumber = probeLUKS2(node, encrypted); errorNumber != 0) {
    storeError(error, diskError(errorNumber, "Cannot read " + node));
    return std::nullopt;
  }
  return encrypted ? openEncrypted(volume, error) : volume;
}

// The claim is lent for as long as the key takes to be tried. Meanwhile nobody can mount the volume
// either: what is on it is no file system.
std::optional<BlockDevice> EncryptedVolumes::openEncrypted(const BlockDevice& volume,
                                                           ErrorSlot error) const {
  CryptLibrary library{};
  if (!library.load(_library.c_str())) {
    storeError(error,
               diskError(ELIBACC, _services.devices.node(volume) +
                                      " is encrypted and cannot be opened without " + _library));
    return std::nullopt;
  }
  CryptDevice device(library);
  auto loan = _services.claims.lend(volume);
  if (auto failure = activate(library, device, volume)) {
    storeError(error, std::move(failure));
    return std::nullopt;
  }
  auto opened = mapping(volume);
  if (!opened) {
    library.deactivateByName(nullptr, nameFor(volume).c_str(), 0);
    storeError(error, diskError(EOPNOTSUPP, "Cannot use the way in which " +
                                                _services.devices.node(volume) + " is encrypted"));
    return std::nullopt;
  }
  loan.keep();
  _services.claims.refuseAlso(volume, *opened);
  return opened;
}

ErrorRef EncryptedVolumes::activate(const CryptLibrary& library, CryptDevice& device,
                                    const BlockDevice& volume) const {
  const auto node = _services.devices.node(volume);
  if (const int errorNumber = device.load(node); errorNumber != 0) {
    return diskError(errorNumber, "Cannot read the LUKS2 header of " + node + device.complaints());
  }
  const int errorNumber = activateByKey(library, device, nameFor(volume));
  return errorNumber == 0
             ? nullptr
             : diskError(errorNumber, node + " is encrypted and cannot be opened as " +
                                          nameFor(volume) + " by the kernel's key " + _key +
                                          " or by a token" + device.complaints());
}

// The passphrases first: a token may take its time to find that it has nothing to offer.
int EncryptedVolumes::activateByKey(const CryptLibrary& library, const CryptDevice& device,
                                    const std::string& name) const {
  const KernelKey key(_key);
  for (const auto& passphrase : key.passphrases()) {
    const int result = library.activateByPassphrase(device.get(), name.c_str(), CRYPT_ANY_SLOT,
                                                    passphrase.data(), passphrase.size(), 0);
    if (!isNoFit(result)) {
      return result < 0 ? -result : 0;
    }
  }
  const int result =
      library.activateByToken(device.get(), name.c_str(), CRYPT_ANY_TOKEN, nullptr, 0);
  if (isNoFit(result)) {
    return key.errorNumber() != 0 ? key.errorNumber() : EPERM;
  }
  return result < 0 ? -result : 0;
}

ErrorRef EncryptedVolumes::close(const BlockDevice& volume, const BlockDevice& mapping) const {
  const std::string what = "Cannot close " + _services.devices.node(mapping) + ", through which " +
                           _services.devices.node(volume) + " is open";
  CryptLibrary library{};
  if (!library.load(_library.c_str())) {
    return diskError(ELIBACC, what + ", without " + _library);
  }
  const auto loan = _services.claims.lend(mapping);
  if (const int result = library.deactivateByName(nullptr, nameFor(volume).c_str(), 0);
      result < 0) {
    return diskError(-result, what);
  }
  _services.claims.forget(mapping.name);
  const int errorNumber = _services.claims.takeBack(volume);
  return errorNumber == 0 ? nullptr
                          : diskError(errorNumber, _services.devices.node(volume) +
                                                       " was closed, but cannot be claimed again");
}

std::string EncryptedVolumes::attribute(const BlockDevice& mapping, const char* name) const {
  const auto directory = _services.devices.directory(mapping.name);
  auto text = directory ? readSmallFile(*directory + "/dm/" + name) : std::nullopt;
  if (!text) {
    return {};
  }
  text->erase(text->find_last_not_of('\n') + 1);
  return std::move(*text);
}

}  // namespace marrow
