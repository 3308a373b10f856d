// Somebody who reads.
#pragma once

#include "rehearsal/descriptor.h"

#include <thread>

namespace marrow {

// Reads a descriptor and drops what comes, on a thread of its own, as long as the object is there.
class Drain {
 public:
  // The descriptor stays the caller's.
  explicit Drain(int descriptor);
  ~Drain();
  Drain(const Drain&) = delete;
  Drain& operator=(const Drain&) = delete;

 private:
  void read() const;

  const int _descriptor;
  const rehearsal::Descriptor _stop;  // eventfd(2)
  std::thread _thread;
};

}  // namespace marrow
