// Who keeps a mount from being unmounted: processes that have it as their directory or root, have a
// file of it open or mapped, or run from it, in any mount namespace. Any thread of our own one.
#pragma once

#include "host/linux/held_thing.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

struct HolderProcess {
  pid_t process = 0;
  std::string name;  // its command's, cut to 15 bytes by the kernel
};

class MountHolders {
 public:
  explicit MountHolders(std::string procfs) : _procfs(std::move(procfs)) {}

  // In the order of their numbers, this process and kernel threads left out.
  std::vector<HolderProcess> processes(const HeldThing& thing) const;

  // Each as "sleep (4242)".
  std::vector<std::string> names(const HeldThing& thing) const;

 private:
  std::string _procfs;
};

// "nobody that can be seen" when there is none, otherwise their names with commas between them.
std::string joinedHolders(const std::vector<std::string>& names);

}  // namespace marrow
