// The system's own programs (sfdisk, mkfs and the like) that prepare a machine.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace marrow::rehearsal {

// Throws the Problem that names the program and the Debian package that brings it when it is found
// in none of the places where Debian keeps programs.
void requireProgram(const std::string& name, std::string_view package);

// Runs the program to its end with `input` on its standard input, and returns what it wrote to its
// standard output. It dies with this process, however this process ends. Throws Problem with the
// last line of its standard error when it ends with anything but 0, and Interrupted when Ctrl-C or
// its like reached the program first.
std::string runProgram(const std::vector<std::string>& arguments, std::string_view input = {});

}  // namespace marrow::rehearsal
