// Runs other programs, as a person at a shell would.
#pragma once

#include <string>

namespace marrow {

// A command line for sh(1). What it prints is shown only when it fails; then std::runtime_error.
void runProgram(const std::string& command);

// What the command printed, without the last end of line. Fails as runProgram does.
std::string outputOf(const std::string& command);

}  // namespace marrow
