// A progress bar on the first virtual terminal.
#pragma once

#include "host/linux/missing_service.h"
#include "host/log.h"
#include "host/progress_display.h"

#include <string>

namespace marrow {

// The bar is drawn with the whole percentage each time that changes; on something that is no
// terminal each percentage is a line. A value below the last one is not shown, since a bar that
// goes back looks broken; what lies outside 0 to 100 is brought inside, and what is no number is
// not shown.
class LinuxProgressDisplay final : public ProgressDisplay {
 public:
  explicit LinuxProgressDisplay(LogHandle& log, std::string terminal = "/dev/tty1")
      : _missing(log), _terminal(std::move(terminal)) {}

  // The client must not outlive this.
  std::unique_ptr<KQUnifiedProgressClient> createClient(const std::string& phaseName) override;

 private:
  MissingService _missing;
  std::string _terminal;
};

}  // namespace marrow
