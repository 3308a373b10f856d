// The system's own programs (sfdisk, mkfs and the like) that prepare a machine.
#pragma once

#include "rehearsal/descriptor.h"

#include <string>
#include <string_view>
#include <sys/types.h>
#include <vector>

namespace marrow::rehearsal {

// Throws the Problem that names the program and the Debian package that brings it when it is found
// in none of the places where Debian keeps programs.
void requireProgram(const std::string& name, std::string_view package);

// Where the program is, also where an ordinary user's PATH does not lead; empty when it is nowhere.
std::string findProgram(const std::string& name);

// A file in memory that holds that: unlike a pipe it takes any amount, whether or not somebody
// reads.
Descriptor memoryFile(std::string_view content = {});

// All that a file in memory holds.
std::string contentOf(const Descriptor& file);

struct ProgramStreams {
  Descriptor input, output, errors;
};

// Starts the program and returns its process, a child of this one. It dies with this process,
// however this process ends, and keeps of its descriptors those streams and `kept`.
pid_t startProgram(const std::vector<std::string>& arguments, const ProgramStreams& streams,
                   const std::vector<int>& kept = {});

// Runs the program to its end with `input` on its standard input, and returns what it wrote to its
// standard output. It dies with this process, as above. Throws Problem with the
// last line of its standard error when it ends with anything but 0, and Interrupted when Ctrl-C or
// its like reached the program first.
std::string runProgram(const std::vector<std::string>& arguments, std::string_view input = {});

}  // namespace marrow::rehearsal
