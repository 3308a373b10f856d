// Text for a terminal, the kernel's log or whatever stands in their place.
#pragma once

#include "host/linux/descriptor.h"

#include <chrono>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace marrow {

// Opens what is there for writing at its end: nothing is created or cut, no terminal becomes ours,
// and neither this nor a later write waits. Without a descriptor and with errno set when it cannot
// be opened.
Descriptor openTextOutput(const std::string& path);

// Writes all of the text, one write for a device that takes it whole. A reader that has fallen
// behind is waited for as long as it takes something once a second. 0, or the errno value of what
// failed (EAGAIN: the reader took nothing any more).
int writeText(const Descriptor& output, std::string_view text);

// Opens, writes and closes.
int writeTextTo(const std::string& path, std::string_view text);

// As writeText, the pieces one behind the other as if they were one text, with `patience` in place
// of the second, on a descriptor that does not block. Raises SIGPIPE as a write does. Returns how
// many bytes were taken, or -1 with errno set when that is none of them.
std::int64_t writePieces(int descriptor, std::span<const std::string_view> pieces,
                         std::chrono::milliseconds patience);

}  // namespace marrow
