// Small files of the kernel and of the system, read and written whole.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace marrow {

// More than this of one file is never read.
inline constexpr std::size_t kSmallFileLimit = std::size_t{1} << 20U;

// The first `limit` bytes of the file. Absent with errno set when it cannot be opened or read.
// Never blocks: a FIFO or a device reads as what is there now.
std::optional<std::string> readSmallFile(const std::string& path,
                                         std::size_t limit = kSmallFileLimit);

// What one read(2) of the file gives, at most a page: the whole of an attribute in sysfs
// (Documentation/filesystems/sysfs.rst). Otherwise as above.
std::optional<std::string> readAttribute(const std::string& path);

// Puts the text into an existing file (or one that the kernel shows) in one write. False with errno
// set.
bool writeSmallFile(const std::string& path, std::string_view text);

}  // namespace marrow
