// Power assertions: those that are held, with identifiers from 1. A type or a level that no machine
// knows is EINVAL.
#pragma once

#include "host/power_assertions.h"
#include "tests/host/calls.h"

#include <string>
#include <vector>

namespace marrow {

class InMemoryPower : public PowerAssertions {
 public:
  explicit InMemoryPower(Calls& calls) : _calls(calls) {}

  // The journal has "TYPE LEVEL NAME".
  std::uint32_t create(const std::string& type, std::uint32_t level, const std::string& name,
                       PowerAssertionID& assertion) override;

  struct Assertion {
    PowerAssertionID identifier = 0;
    std::string type;
    std::uint32_t level = 0;
    std::string name;
  };
  const std::vector<Assertion>& held() const { return _held; }
  // As the end of the process does.
  void releaseAll() { _held.clear(); }

 private:
  Calls& _calls;
  std::vector<Assertion> _held;
  PowerAssertionID _last = 0;
};

}  // namespace marrow
