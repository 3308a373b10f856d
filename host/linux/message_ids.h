// What the field MESSAGE_ID says of an event (systemd.journal-fields(7), sd-id128(3)).
#pragma once

#include "host/log_event.h"

#include <string_view>

namespace marrow {

// 32 lower-case hexadecimal digits, of each event its own and the same for ever; empty for `none`.
std::string_view messageID(LogEvent event);

}  // namespace marrow
