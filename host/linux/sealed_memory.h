// Files in memory whose content nobody can change any more (memfd_create(2)).
#pragma once

#include "host/linux/descriptor.h"

#include <string_view>

namespace marrow {

// A file with this content and every seal, or none with errno set. `name` is what /proc shows.
Descriptor makeSealedMemory(const char* name, std::string_view content);

}  // namespace marrow
