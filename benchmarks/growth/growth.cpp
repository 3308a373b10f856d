#include "benchmarks/growth/growth.h"

namespace marrow {

void measureGrowth(const BenchOptions& options) {
  measureVolumes(options);
  measureDisks(options);
  measureVariables(options);
  measureShadowFile(options);
  measureToolOutput(options);
  measureMounts(options);
}

}  // namespace marrow
