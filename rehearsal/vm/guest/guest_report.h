// What a system of a virtual machine tells the outside: one line of JSON on its second serial port.
#pragma once

#include "rehearsal/state_snapshot.h"

#include <optional>
#include <string>

namespace marrow::rehearsal {

// The systems that report, by the names that the kernel command line gives them.
namespace guest_system {
inline constexpr const char* kInstaller = "installer";
inline constexpr const char* kOld = "old-system";
inline constexpr const char* kNew = "new-system";
// Looks at a machine whose power was cut, and changes nothing.
inline constexpr const char* kInspector = "inspector";
}  // namespace guest_system

struct GuestReport {
  std::string system;
  Snapshot snapshot;
  // Why there is no snapshot; empty when there is one.
  std::string problem;
};

// Without a line end.
std::string lineOf(const GuestReport& report);

// Nothing when the line is no report: the port is a serial line, on which others may write.
std::optional<GuestReport> guestReportFrom(const std::string& line);

}  // namespace marrow::rehearsal
