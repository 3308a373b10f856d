// A system call of a traced program that is made to fail, or to do less than it was asked for.
#pragma once

#include "sweep/system_call.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace marrow::sweep {

struct CallFault {
  // An errno value that the call fails with, nothing done; 0 for a call that takes or gives one
  // byte only.
  int error = 0;

  bool isShort() const { return error == 0; }
  bool operator==(const CallFault&) const = default;
};

// "EIO", "short".
std::string describe(const CallFault& fault);

// What may become of that call by its page of the manual's second section: each of the errors that
// a machine in trouble shows (input and output, space, rights, something in use, descriptors,
// memory, a signal), and one byte for many where it reads or writes a file or a pipe. Empty for
// calls that do not fail on such a machine. The thread stands at the call's entry.
std::vector<CallFault> faultsOf(const SystemCall& call);

// A call from its entry, where the fault is put into it, to its exit, where the program gets to see
// it. Closing closes the descriptor even so, as close(2) says. Of x86-64.
class FaultyCall {
 public:
  FaultyCall(const SystemCall& call, const CallFault& fault);

  // At the exit: true when the program finds that result.
  bool finish();

 private:
  SystemCall _call;
  CallFault _fault;
};

}  // namespace marrow::sweep
