// What kind of system the daemon runs in. Any thread; the answers do not change while it runs.
#pragma once

#include <string_view>

namespace marrow {

class OSVariant {
 public:
  virtual ~OSVariant() = default;

  // True in the minimal base system, where alone the daemon works. Reads only.
  virtual bool isBaseSystem(std::string_view subsystem) = 0;

  // True when the installed system carries internal content, that is, on the maker's own builds.
  // False also where it cannot be told.
  virtual bool hasInternalContent(std::string_view subsystem) = 0;
};

}  // namespace marrow
