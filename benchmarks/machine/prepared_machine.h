// The machine of a rehearsal, ready to be started and watched.
#pragma once

#include "benchmarks/machine/child_result.h"
#include "rehearsal/machine.h"

#include <functional>
#include <string>

namespace marrow {

// Programs, by their paths.
struct MachinePrograms {
  std::string daemon;  // or what is started in its place
  std::string migrator;
};

// The machine of the rehearsal's first scenario: everything goes well. It has no terminals yet. To
// be called in a process of its own (child_result.h), which sees other mounts from now on;
// everything goes when `watch` has returned.
void withPreparedMachine(const MachinePrograms& programs,
                         const std::function<void(rehearsal::MachineSettings)>& watch);

// Prepares the machine in a process of its own and returns what `watch` makes of it there.
template <typename Value>
Value valueOfMachine(const MachinePrograms& programs,
                     const std::function<Value(rehearsal::MachineSettings)>& watch) {
  return valueOfChild<Value>([&] {
    Value value{};
    withPreparedMachine(
        programs, [&](rehearsal::MachineSettings settings) { value = watch(std::move(settings)); });
    return value;
  });
}

}  // namespace marrow
