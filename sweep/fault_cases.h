// The failing calls to be tried of a run.
#pragma once

#include "sweep/call_fault.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace marrow::sweep {

struct FaultCase {
  // As placeOf() says it.
  std::string place;
  std::uint64_t number = 0;
  // Of the calls at that place, counted from 1.
  std::size_t occurrence = 1;
  CallFault fault{};
};

// "openat /etc/initrd-release, EIO".
std::string describe(const FaultCase& one);

// The calls of whole runs by their places.
class CalledPlaces {
 public:
  // Every stop of a run; calls of the daemon's children do not count.
  void take(const SystemCall& call);

  // Behind each run: what happens less often in one of them is counted so.
  void endRun();

  // Of calls that change something, each that was made with every fault. Of those that only look,
  // the first, the middle and the last of each place. In the places' order, the same for the same
  // places.
  std::vector<FaultCase> cases(bool onlyChanges) const;

  std::size_t places() const { return _places.size(); }
  std::size_t calls() const { return _calls; }

 private:
  struct Place {
    std::uint64_t number = 0;
    bool changes = false;
    std::vector<CallFault> faults;
    std::size_t inThisRun = 0;
    std::size_t calls = 0;
    // Of a short result: it was longer by itself at that occurrence.
    std::map<std::size_t, bool> isLong;
  };

  std::map<std::string, Place> _places;
  // By their threads: the place of the call that has begun.
  std::map<pid_t, std::string> _begun;
  std::size_t _runs = 0;
  std::size_t _calls = 0;
};

}  // namespace marrow::sweep
