// A terminal whose other end this process reads: what a machine has as its console.
#pragma once

#include "rehearsal/descriptor.h"

#include <string>

namespace marrow::rehearsal {

class Terminal {
 public:
  // In raw mode: what is written comes out byte for byte. Throws Problem.
  Terminal();

  // The device to bind into a machine.
  const std::string& path() const { return _path; }

  // Readable, without blocking, when the machine wrote.
  int descriptor() const { return _ours.number(); }

  // What was written since the last call; empty when nothing was.
  std::string take() const;

 private:
  Descriptor _ours;
  // Kept open, so that the terminal does not hang up between two writers.
  Descriptor _theirs;
  std::string _path;
};

}  // namespace marrow::rehearsal
