// What the systems of a virtual machine have to know of its scenario: a file in their memory.
#pragma once

#include "rehearsal/staged_objects.h"

#include <cstdint>
#include <string>

namespace marrow::rehearsal {

struct GuestPlan {
  std::string scenario;
  std::string group;
  std::string bootObjectsPath;
  std::uint64_t seed = 0;
  TreeSize treeSize;
};

inline constexpr const char* kGuestPlanFile = "etc/marrow-vm-plan.json";

std::string jsonOf(const GuestPlan& plan);

// Throws Problem when the text is no plan.
GuestPlan guestPlanFrom(const std::string& text);

}  // namespace marrow::rehearsal
