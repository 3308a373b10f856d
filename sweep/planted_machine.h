// A machine in which one thing was planted: run once and judged.
#pragma once

#include "sweep/inventory.h"
#include "sweep/planted_things.h"
#include "sweep/swept_machine.h"

#include <map>
#include <string>

namespace marrow::sweep {

class PlantedMachine {
 public:
  PlantedMachine(SweptMachine& machine, const rehearsal::Workplace& workplace);

  // Puts the machine back, plants the thing, runs it to its end.
  void run(Thing thing, const PlantedPlace& place);

  // What was wrong with the last run.
  const Complaints& complaints() const { return _complaints; }

  // How the last run went, as the daemon said: "succeeded", "failed", "said nothing".
  std::string verdict() const;

  const std::string& console() const { return _console; }

 private:
  // What lies on the volumes that a run writes to and, as a digest of every byte, on the others.
  using Volumes = std::map<std::string, Inventory>;

  void putBack() const;
  void plantOnDisk(Thing thing, const PlantedPlace& place);
  void plantInBaseSystem(Thing thing, const PlantedPlace& place);
  Volumes lookAtVolumes() const;
  std::string digestOfOthers() const;
  Inventory lookAtBaseSystem() const;
  void judgeEnd(const StartEnd& end);
  void judgeWhatGotOut();

  SweptMachine& _machine;
  const std::filesystem::path _place;
  const std::string _migrator;
  Inventory _baseSystemBefore;
  std::string _console;
  Complaints _complaints;
};

}  // namespace marrow::sweep
