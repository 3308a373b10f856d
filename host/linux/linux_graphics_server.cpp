#include "host/linux/linux_graphics_server.h"

#include "host/error_record.h"
#include "host/linux/text_output.h"
#include "host/text_format.h"

#include <string_view>

namespace marrow {

namespace {

// console_codes(4).
constexpr std::string_view kUnblank = "\033[13]";

}  // namespace

void LinuxGraphicsServer::enableDisplayUpdates() {
  if (const int status = writeTextTo(_terminal, kUnblank); status != 0) {
    _missing.report(formatText("This machine has no console to unblank (%s). %s", _terminal,
                               errorNumberText(status)));
  }
}

}  // namespace marrow
