#include "rehearsal/migrator/progress_report.h"

#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace marrow::migrator {

ProgressReport::ProgressReport(const std::string& fifo) {
  ::signal(SIGPIPE, SIG_IGN);
  if (!fifo.empty()) {
    _fifo = rehearsal::Descriptor(::open(fifo.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  }
}

void ProgressReport::report(int percent) {
  if (percent == _last) {
    return;
  }
  _last = percent;
  const std::string line = std::to_string(percent) + '\n';
  if (_fifo && ::write(_fifo.number(), line.data(), line.size()) < 0) {
    _fifo.reset();
  }
}

}  // namespace marrow::migrator
