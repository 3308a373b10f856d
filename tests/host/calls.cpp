#include "tests/host/calls.h"

namespace marrow {

std::optional<Failure> Calls::made(const std::string& call, const std::string& arguments) {
  write(call, arguments);
  return _faults.meet(call, arguments);
}

void Calls::note(const std::string& call, const std::string& arguments) {
  if (!_leftOut.empty() && _leftOut == call) {
    _leftOut.clear();
    return;
  }
  write(call, arguments);
  _faults.pass(call, arguments);
}

void Calls::write(const std::string& call, const std::string& arguments) {
  if (!_faults.powerIsCut()) {
    _journal.add(arguments.empty() ? call : call + " " + arguments);
  }
}

}  // namespace marrow
