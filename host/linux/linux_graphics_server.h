// The console's screen.
#pragma once

#include "host/graphics_server.h"
#include "host/linux/missing_service.h"
#include "host/log.h"

#include <string>

namespace marrow {

class LinuxGraphicsServer final : public GraphicsServer {
 public:
  explicit LinuxGraphicsServer(LogHandle& log, std::string terminal = "/dev/tty1")
      : _missing(log), _terminal(std::move(terminal)) {}

  // Unblanks the console.
  void enableDisplayUpdates() override;

 private:
  MissingService _missing;
  std::string _terminal;
};

}  // namespace marrow
