// Files read and written whole.
#pragma once

#include "rehearsal/descriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <sys/types.h>

namespace marrow::rehearsal {

// The folder above is made where it is missing. Throws Problem.
void writeFile(const std::filesystem::path& path, std::string_view content, mode_t mode = 0644);

// Nothing when there is no such file (or it cannot be read).
std::optional<std::string> readFile(const std::filesystem::path& path);

// What is left to read of a descriptor.
std::string readAll(int descriptor);

// Throws Problem when the write fails or falls short.
void writeAll(int descriptor, std::string_view bytes);

// The descriptor is closed on exec. Throws Problem.
Descriptor openFile(const std::filesystem::path& path, int flags, mode_t mode = 0600);

// A path under which programs that are started from here find an open file of this process, also
// one that has no name.
std::filesystem::path pathOfDescriptor(int descriptor);

// Copies what the file holds, leaving its holes out; both files start at their beginning.
void copySparse(int from, int to);

}  // namespace marrow::rehearsal
