#include "sweep/fault_cases.h"

#include "sweep/call_place.h"

#include <algorithm>
#include <set>

namespace marrow::sweep {
namespace {

std::set<std::size_t> occurrencesToTry(std::size_t calls, bool changes) {
  std::set<std::size_t> chosen;
  if (!changes && calls > 0) {
    return {1, (calls + 1) / 2, calls};
  }
  for (std::size_t i = 1; i <= calls; ++i) {
    chosen.insert(i);
  }
  return chosen;
}

}  // namespace

std::string describe(const FaultCase& one) { return one.place + ", " + describe(one.fault); }

void CalledPlaces::take(const SystemCall& call) {
  if (!call.isOwn) {
    return;
  }
  if (!call.atEntry) {
    const auto begun = _begun.find(call.thread);
    if (begun != _begun.end()) {
      Place& place = _places[begun->second];
      place.isLong[place.inThisRun] = call.result > 1;
      _begun.erase(begun);
    }
    return;
  }
  const auto faults = faultsOf(call);
  if (!faults.empty()) {
    const std::string name = placeOf(call);
    Place& place = _places[name];
    place.number = call.number;
    place.changes = place.changes || changesSomething(call);
    place.faults = faults.size() > place.faults.size() ? faults : place.faults;
    ++place.inThisRun;
    ++_calls;
    _begun[call.thread] = name;
  }
}

void CalledPlaces::endRun() {
  ++_runs;
  _begun.clear();
  for (auto& [name, place] : _places) {
    place.calls = _runs == 1 ? place.inThisRun : std::min(place.calls, place.inThisRun);
    place.inThisRun = 0;
  }
}

std::vector<FaultCase> CalledPlaces::cases(bool onlyChanges) const {
  std::vector<FaultCase> all;
  for (const auto& [name, place] : _places) {
    if (onlyChanges && !place.changes) {
      continue;
    }
    for (const std::size_t occurrence : occurrencesToTry(place.calls, place.changes)) {
      for (const CallFault& fault : place.faults) {
        const auto isLong = place.isLong.find(occurrence);
        if (!fault.isShort() || (isLong != place.isLong.end() && isLong->second)) {
          all.push_back({name, place.number, occurrence, fault});
        }
      }
    }
  }
  return all;
}

}  // namespace marrow::sweep
