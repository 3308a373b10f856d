// The boot splash of plymouth, or a progress bar on the first virtual terminal.
#pragma once

#include "host/linux/missing_service.h"
#include "host/linux/plymouth_connection.h"
#include "host/log.h"
#include "host/progress_display.h"

#include <string>

namespace marrow {

// A client shows whole percentages on the boot splash where its daemon answers, and from when it no
// longer does, or never did, on the terminal. There the whole percentage is drawn each time that it
// changes; on something that is no terminal each percentage is a line. A value below the last one
// is not shown, since a bar that goes back looks broken; what lies outside 0 to 100 is brought
// inside, and what is no number is not shown. A call waits a second at most for each request to the
// splash.
class LinuxProgressDisplay final : public ProgressDisplay {
 public:
  struct Paths {
    std::string terminal = "/dev/tty1";
    std::string splash = kPlymouthAddress;
  };
  explicit LinuxProgressDisplay(LogHandle& log);
  LinuxProgressDisplay(LogHandle& log, Paths paths);

  // The client must not outlive this.
  std::unique_ptr<KQUnifiedProgressClient> createClient(const std::string& phaseName) override;

 private:
  class Client;

  const Paths _paths;
  MissingService _missingTerminal;
  MissingService _failedSplash;
};

}  // namespace marrow
