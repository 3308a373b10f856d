// Volumes that are encrypted with LUKS2: opened as /dev/mapper/marrow-KERNELNAME by a passphrase
// that the kernel keeps or by a token that asks for none. The calls for one volume must take turns.
#pragma once

#include "host/error_record.h"
#include "host/linux/block_devices.h"
#include "host/linux/claims.h"
#include "host/linux/device_stack.h"

#include <optional>
#include <string>

namespace marrow {

class CryptDevice;
struct CryptLibrary;

class EncryptedVolumes {
 public:
  struct Services {
    const BlockDevices& devices;
    const DeviceStack& stack;
    Claims& claims;
  };

  // The library to load, and the description of the kernel's key with the passphrase.
  EncryptedVolumes(const Services& services, std::string library, std::string key);

  // The mapped device through which the volume is open, whoever opened it. Absent when it is none.
  std::optional<BlockDevice> mapping(const BlockDevice& volume) const;

  // True when open() made it, in whichever process.
  bool isOurs(const BlockDevice& volume, const BlockDevice& mapping) const;

  // The volume that is open through this mapped device; any other device is its own.
  BlockDevice volumeOf(const BlockDevice& device) const;

  // Where the volume's file system is: the mapped device, or, of one that is not encrypted, the
  // volume. Opens what is closed; who refuses the volume then refuses the mapped device too. Absent
  // with an error record, and nothing left behind: ENOKEY without a key, EPERM when none fits,
  // EINVAL when the header is damaged, ELIBACC without the library, EEXIST when another device has
  // the name, or what the kernel gave.
  std::optional<BlockDevice> open(const BlockDevice& volume, ErrorSlot error) const;

  // Closes a mapped device that open() made, and claims the volume again where it is refused.
  ErrorRef close(const BlockDevice& volume, const BlockDevice& mapping) const;

 private:
  std::optional<BlockDevice> openEncrypted(const BlockDevice& volume, ErrorSlot error) const;
  ErrorRef activate(const CryptLibrary& library, CryptDevice& device,
                    const BlockDevice& volume) const;
  int activateByKey(const CryptLibrary& library, const CryptDevice& device,
                    const std::string& name) const;
  std::string attribute(const BlockDevice& mapping, const char* name) const;

  Services _services;
  std::string _library;
  std::string _key;
};

}  // namespace marrow
