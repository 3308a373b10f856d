// The whole Linux machine: owns every service. Building it reads and changes nothing, so that it
// can be built before it is known whether the daemon runs where it belongs.
#pragma once

#include "host/host.h"

#include <memory>

namespace marrow {

class LinuxHost {
 public:
  LinuxHost();
  ~LinuxHost();
  LinuxHost(const LinuxHost&) = delete;
  LinuxHost& operator=(const LinuxHost&) = delete;

  // The services, which live as long as this does.
  Host host();

 private:
  struct Parts;
  std::unique_ptr<Parts> _parts;
};

}  // namespace marrow
