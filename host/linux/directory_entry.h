// A path taken apart into an open folder and a name in it, so that what happens to the name and the
// flush of the folder are sure to concern the same folder.
#pragma once

#include "host/linux/descriptor.h"

#include <string>
#include <string_view>

namespace marrow {

struct DirectoryEntry {
  Descriptor folder;  // none, with errno set, when it cannot be opened
  std::string name;   // without slashes, unless it is the root
};

// Whether links on the way to the folder are followed; otherwise ELOOP (strict_open.h).
enum class LinksOnTheWay : bool { refused, followed };

DirectoryEntry openDirectoryOf(std::string_view path, LinksOnTheWay links = LinksOnTheWay::refused);

// Has the names in the folder reach the medium. False with errno set; never EINVAL.
bool flushDirectory(int folder);

}  // namespace marrow
