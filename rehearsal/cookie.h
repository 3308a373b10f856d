// The template-migration cookie on the preboot volume, which changes what the daemon does.
#pragma once

#include <filesystem>
#include <string>

namespace marrow::rehearsal {

inline constexpr const char* kFullUpgradeKey = "TemplateMigrationFullUpgradeKey";
inline constexpr const char* kAlternateTargetKey = "AlternateBlessTargetUUID";

std::filesystem::path cookieFile(const std::filesystem::path& preboot, const std::string& group);

// Writes a cookie with that one key: true for the full upgrade, otherwise a text.
void writeCookie(const std::filesystem::path& file, const std::string& key);

// The names of those of the two keys that the cookie answers with yes (the full upgrade) or has at
// all (the alternate target), separated by a blank; "(none)" when there are none.
std::string describeCookie(const std::filesystem::path& file);

}  // namespace marrow::rehearsal
