// Where every call of every service passes: it is written down, and meets the faults. Any thread.
#pragma once

#include "tests/host/faults.h"
#include "tests/host/journal.h"

#include <optional>
#include <string>

namespace marrow {

class Calls {
 public:
  Calls(Journal& journal, Faults& faults) : _journal(journal), _faults(faults) {}

  // A call that can fail: how it has to, or absent.
  std::optional<Failure> made(const std::string& call, const std::string& arguments = {});

  // A call that cannot fail.
  void note(const std::string& call, const std::string& arguments = {});

  // The next call of this name is the machine's own and none of the daemon's: it is not written
  // down.
  void leaveOutNext(const std::string& call) { _leftOut = call; }

  bool powerIsCut() const { return _faults.powerIsCut(); }

 private:
  void write(const std::string& call, const std::string& arguments);

  Journal& _journal;
  Faults& _faults;
  std::string _leftOut;
};

}  // namespace marrow
