// The names in a folder.
#pragma once

#include <string>
#include <vector>

namespace marrow {

struct FolderListing {
  std::vector<std::string> folders;
  std::vector<std::string> others;  // a symbolic link is one of them
};

// Adds all names but "." and ".." to the listing, read with getdents64(2) from where the open
// folder stands. 0, or the errno that cut the listing short. Throws std::bad_alloc.
int listFolder(int folder, FolderListing& listing);

}  // namespace marrow
