// What there is to say of a child process that is waited for, and of the pipe that it writes to.
#pragma once

#include <string>
#include <sys/types.h>

namespace marrow {

// The processes beside our own that have an end of the pipe open whose other end `pipe` is, as
// "sleep (4242), sh (4243)"; empty when there are none. `processes` is where proc(5) is.
std::string holdersOfPipe(int pipe, const std::string& processes);

// "loam_migrator (4242), which is stopped, to end", or, once it has ended, the holders of the pipe
// "to close the output of loam_migrator".
std::string awaitedOfChild(pid_t child, const std::string& name, int pipe,
                           const std::string& processes);

}  // namespace marrow
