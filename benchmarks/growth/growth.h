// The curves of the table "growth". Each measures, prints and draws itself, and throws
// std::runtime_error when what it measures fails.
#pragma once

#include "benchmarks/comparison.h"

namespace marrow {

// The storage controller on a disk with more and more volumes, and with more and more disks.
void measureVolumes(const BenchOptions& options);
void measureDisks(const BenchOptions& options);

// Reading and setting firmware variables in a store of more and more.
void measureVariables(const BenchOptions& options);

// Changing one value in larger and larger shadow files.
void measureShadowFile(const BenchOptions& options);

// Collecting more and more of a tool's output: time and memory.
void measureToolOutput(const BenchOptions& options);

// Taking a volume offline that has more and more mounts.
void measureMounts(const BenchOptions& options);

}  // namespace marrow
