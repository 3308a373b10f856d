// A rehearsal in a virtual machine, from its beginning to its report.
#pragma once

#include "rehearsal/inputs.h"
#include "rehearsal/options.h"
#include "rehearsal/report.h"
#include "rehearsal/vm/guest/guest_plan.h"
#include "rehearsal/vm/vm_expectations.h"
#include "rehearsal/vm/vm_machine.h"
#include "rehearsal/vm/vm_parts.h"

#include <vector>

namespace marrow::rehearsal {

class ConsoleView;
class Interruption;

// Throws the Problem that says what is missing, or which options make no sense together.
void requireWhatVmNeeds(const Options& options);

class VmRehearsal {
 public:
  // Throws Problem.
  VmRehearsal(const Options& options, Inputs inputs, ConsoleView& view, Interruption& interruption);

  // All boots in a row. Throws Problem and Interrupted; what is known by then is in the logs.
  Report run();

  // For those who start the machine themselves: the scenario, the disk and a machine on which
  // nothing has been staged yet.
  const Scenario& scenario() const { return _scenario; }
  const BootDisk& bootDisk() const { return _disk; }
  const VmParts& parts() const { return _parts; }
  const std::string& accelerator() const { return _accelerator; }
  VmMachine prepare();

  // Boots, and saves each one's console in the logs. Throws Problem when one took too long, or an
  // agent reports one.
  std::vector<VmBoot> boot(const QemuSettings& settings, const VmRunPlan& plan);

  // Of the small systems.
  GuestPlan guestPlan() const;
  bool isObserved() const;

  // Without rows and runs.
  Report emptyReport() const;

  // A sentence for each thing that is not as it has to be when the boots are over, `before` being
  // how things stood when the update had been staged.
  std::vector<std::string> lossesInTheEnd(const Snapshot& before,
                                          const std::vector<VmBoot>& boots) const;
  std::filesystem::path logs() const { return _inputs.logs->reach(); }
  std::uint64_t seed() const { return _seed; }

 private:
  std::vector<Row> rows(const std::vector<VmBoot>& boots) const;
  const GuestReport& lastOfFirstRun(const std::vector<VmBoot>& boots) const;
  std::vector<Row> rowsOfSecondEntry(const std::vector<VmBoot>& boots) const;
  Expectation expectation(const Snapshot& before) const;
  MigratorWords migratorWords() const;
  void keep(const VmMachine& machine) const;

  const Options& _options;
  const Scenario& _scenario;
  Inputs _inputs;
  ConsoleView& _view;
  Interruption& _interruption;
  std::uint64_t _seed;
  VmParts _parts;
  std::string _accelerator;
  BootDisk _disk;
};

}  // namespace marrow::rehearsal
