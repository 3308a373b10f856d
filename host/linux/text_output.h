// Text for a terminal, the kernel's log or whatever stands in their place.
#pragma once

#include "host/linux/descriptor.h"

#include <string>
#include <string_view>

namespace marrow {

// Opens what is there for writing at its end: nothing is created or cut, no terminal becomes ours,
// and neither this nor a later write waits. Without a descriptor and with errno set when it cannot
// be opened.
Descriptor openTextOutput(const std::string& path);

// Writes all of the text, one write for a device that takes it whole. A reader that has fallen
// behind is waited for, for one second at most. 0, or the errno value of what failed (EAGAIN: the
// reader did not catch up).
int writeText(const Descriptor& output, std::string_view text);

// Both in one.
int writeTextTo(const std::string& path, std::string_view text);

}  // namespace marrow
