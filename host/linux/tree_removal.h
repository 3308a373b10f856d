// Removes trees without following links or entering what is mounted inside.
#pragma once

#include <string>

namespace marrow {

// Removes what the path names, a link itself; see LinuxFileTrees::removeRecursively. 0, or -1 with
// errno set. Holds at most 16 descriptors, however deep the tree. Where the file system gains from
// it, a second thread takes part; it has ended when the call returns.
int removeTree(const std::string& path);

}  // namespace marrow
