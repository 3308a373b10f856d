// A rehearsal that runs beside the program, with the daemon in it.
#pragma once

#include "benchmarks/comparison.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

// Ended when the object goes, however far it is; the rehearsal gives back what it holds.
class RehearsalProcess {
 public:
  // With these arguments beside the daemon's path and a folder for the logs.
  RehearsalProcess(const BenchOptions& options, std::vector<std::string> arguments);
  ~RehearsalProcess();
  RehearsalProcess(const RehearsalProcess&) = delete;
  RehearsalProcess& operator=(const RehearsalProcess&) = delete;

  // Waits for the daemon. std::runtime_error when the rehearsal ends without one.
  pid_t daemon() const;

  // Waits for its end.
  void finish();

 private:
  pid_t _process = 0;
};

}  // namespace marrow
