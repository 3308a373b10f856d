// The boot splash of a base system that has one: plymouth, with a theme that draws progress.
#pragma once

#include "rehearsal/expectations.h"
#include "rehearsal/vm/vm_run.h"

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace marrow::rehearsal {

// For the kernel's command line. What the splash takes from the console comes by the kernel's log
// instead.
std::string bootSplashWords();

// Puts its settings, and a service that tells on the second serial line what it is told, below the
// root of what is laid over such a base system. Throws Problem.
void installBootSplash(const std::filesystem::path& root);

// The percentage that the splash was told, by a line of its own; nothing when it is another line.
std::optional<int> splashPercentageIn(const std::string& line);

// As expected when the splash was told percentages that never fell, and the screen showed some of
// these, beyond 0, and no others.
Row rowOfSplash(const std::vector<VmBoot>& boots);

}  // namespace marrow::rehearsal
