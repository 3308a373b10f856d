// One file of an EFI variable store, as efivarfs shows it and as it may lie in a plain directory.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace marrow {

// More than this is never read or written. The firmware's own limit is far lower (tens of KiB).
inline constexpr std::size_t kEFIVariableFileLimit = std::size_t{1} << 20U;

// All bytes of the file. Absent with errno set: ENOENT when there is none, EFBIG when it is larger
// than the limit.
std::optional<std::string> readEFIVariableFile(const std::string& path);

// Replaces the file's bytes, or makes the file, in one write; bytes that are there already are not
// written again, since the flash wears. 0, or an errno value; then the file is as it was. Where a
// medium refuses even the bytes that it held before, that is ENOTRECOVERABLE.
int writeEFIVariableFile(const std::string& path, std::string_view bytes);

// 0 also when there is no such file; otherwise an errno value.
int removeEFIVariableFile(const std::string& path);

}  // namespace marrow
