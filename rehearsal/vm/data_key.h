// The key of an encrypted data volume: how the installer makes such a volume, and how the base
// system comes to its key.
#pragma once

#include <filesystem>

namespace marrow::rehearsal {

// Makes the volume on this node an encrypted one with an empty ext4, and stashes a key in its
// header. Throws Problem.
void encryptVolume(const std::filesystem::path& node);

// Puts into the root of a base system whose first process is systemd what leaves the key with the
// kernel before the daemon starts. Throws Problem.
void installDataKey(const std::filesystem::path& root);

}  // namespace marrow::rehearsal
