// Copies the daemon's own messages to the system console, so that they can be read on a machine
// that comes up with nothing else.
#pragma once

#include "host/files.h"
#include "host/log.h"

namespace marrow {

// From now on each message of subsystem "com.corvane.Marrow" at level info or above is also one
// line "com.corvane.Marrow: TEXT" on "/dev/console" (up to its first zero byte); every message
// reaches the hook that was installed before, first. The console is opened with the first line and
// stays open; where that fails, it is said on standard error and tried again with the next line.
//
// Call it once, before the first message; calling it again begins with a console that is not open.
// Both services outlive the last message.
void installConsoleMirror(LogService& logService, Files& files);

}  // namespace marrow
