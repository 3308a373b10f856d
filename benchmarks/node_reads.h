// How often a device node is opened and read from. To open it for a question to its driver alone
// does not count.
#pragma once

#include <string>

namespace marrow {

// Of everybody who opens it by this node, from its construction on (inotify(7)). Throws
// std::runtime_error where the node cannot be watched, or more has happened than the kernel keeps.
class NodeReads {
 public:
  explicit NodeReads(const std::string& node);
  ~NodeReads();
  NodeReads(const NodeReads&) = delete;
  NodeReads& operator=(const NodeReads&) = delete;

  // Those since the last call. All of them have to be over, and none at the same time as another.
  int take();

 private:
  int _watch;
};

}  // namespace marrow
