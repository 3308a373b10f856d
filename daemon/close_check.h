// Closing a descriptor whose close must not fail: an error of close(2) can be the only sign that
// what was written is lost, and a daemon that went on would reboot into it.
#pragma once

#include "host/files.h"
#include "host/process.h"

namespace marrow {

// Closes the descriptor; does nothing for -1. A close that fails ends the process by a failed
// assertion whose text carries errno. Any thread.
void closeOrDie(Files& files, Process& process, int descriptor);

// Owns a descriptor (or -1) and closes it that way at the end of its scope.
class CheckedDescriptor {
 public:
  CheckedDescriptor(Files& files, Process& process, int descriptor)
      : _files(files), _process(process), _descriptor(descriptor) {}

  // The process may be one whose end unwinds the stack, so the destructor lets an exception
  // through.
  ~CheckedDescriptor() noexcept(false) { closeOrDie(_files, _process, _descriptor); }

  CheckedDescriptor(const CheckedDescriptor&) = delete;
  CheckedDescriptor& operator=(const CheckedDescriptor&) = delete;

  int get() const { return _descriptor; }

 private:
  Files& _files;
  Process& _process;
  const int _descriptor;
};

}  // namespace marrow
