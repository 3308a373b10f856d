// The tables of ./bench. Each prints itself as it is measured and throws std::runtime_error when
// something that it compares fails.
#pragma once

#include <string>
#include <vector>

namespace marrow {

struct BenchOptions {
  int rounds = 9;        // at least; each round runs everything that is compared once
  bool isShort = false;  // small inputs: that everything works, no figures
  std::vector<std::string> fileSystems = {"ext4", "btrfs", "xfs"};
  std::string daemon;  // the built marrowd
  std::string curves;  // the folder that drawings of curves are written to; empty for none
};

// A live tree replaced by a staged one: time, system calls and what somebody sees meanwhile.
void compareReplacements(const BenchOptions& options);

// Whether the visible switch takes longer with larger trees.
void measureSwitch(const BenchOptions& options);

// How the cost of what the daemon does grows with what it finds on the machine.
void measureGrowth(const BenchOptions& options);

// From the start of the program to its main.
void compareStarts(const BenchOptions& options);

// What a whole run costs beyond the migrator.
void measureRun(const BenchOptions& options);

// What the daemon uses while it has nothing to do but wait for the migrator, in a real run.
void measureWaiting(const BenchOptions& options);

// What a message of the log costs whoever logs it.
void measureLogging(const BenchOptions& options);

}  // namespace marrow
