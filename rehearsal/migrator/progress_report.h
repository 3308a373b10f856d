// The FIFO on which a migrator tells its percentages.
#pragma once

#include "rehearsal/descriptor.h"

#include <string>

namespace marrow::migrator {

class ProgressReport {
 public:
  // An empty path, and a FIFO that nobody reads, report to nobody.
  explicit ProgressReport(const std::string& fifo);

  // Writes the percentage and a line end when it is another than the last one.
  void report(int percent);

 private:
  rehearsal::Descriptor _fifo;
  int _last = -1;
};

}  // namespace marrow::migrator
