// What the installer asks of the next boot. Any thread.
#pragma once

#include <optional>
#include <string>

namespace marrow {

class KWUtilities {
 public:
  virtual ~KWUtilities() = default;

  // True when this boot shows nothing on the screen. Always the same answer within one boot.
  virtual bool isDarkBoot() = 0;

  // Make the next boot silent, and dark. Failures are not told.
  virtual void muteBootChimeForNextReboot() = 0;
  virtual void enableDarkReboot() = 0;

  // Makes the system volume with this device node the one that the machine starts from: once, or
  // from now on. False when the node is no such volume (no node is none), or the choice could not
  // be stored; then the old choice stands.
  virtual bool blessDevice(const std::optional<std::string>& deviceNode, bool oneTime) = 0;
};

}  // namespace marrow
