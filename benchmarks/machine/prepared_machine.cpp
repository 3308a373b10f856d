#include "benchmarks/machine/prepared_machine.h"

#include "rehearsal/console_view.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/rehearsal.h"

namespace marrow {

namespace {

std::string bytesOf(const std::string& program) {
  const auto bytes = rehearsal::readFile(program);
  if (!bytes) {
    throw std::runtime_error("There is no program " + program);
  }
  return *bytes;
}

}  // namespace

void withPreparedMachine(const MachinePrograms& programs,
                         const std::function<void(rehearsal::MachineSettings)>& watch) {
  rehearsal::Interruption interruption;
  rehearsal::ConsoleView view({.quiet = true});
  rehearsal::Options options;
  options.scenario = rehearsal::scenarios().front().name;
  options.migratorSeconds = 0;
  rehearsal::Inputs inputs;
  inputs.daemon = bytesOf(programs.daemon);
  inputs.migrator = bytesOf(programs.migrator);
  rehearsal::Rehearsal machine(options, std::move(inputs), view, interruption);
  rehearsal::MachineSetup setup = machine.prepare();
  // How much there is to look at depends on no other disk of this machine.
  setup.settings.view.onlyDisk = setup.diskName;
  watch(std::move(setup.settings));
}

}  // namespace marrow
