#include "rehearsal/console_view.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/options.h"
#include "rehearsal/problem.h"
#include "rehearsal/rehearsal.h"
#include "rehearsal/vm/vm_cuts.h"
#include "rehearsal/vm/vm_rehearsal.h"

#include <cstdio>

namespace {

using namespace marrow::rehearsal;

constexpr int kNotAsExpected = 1;
constexpr int kNotRehearsed = 2;
constexpr int kSignalBase = 128;

void listScenarios(const Options& options) {
  if (!options.names) {
    std::printf("%s", explainScenarios(options.stage()).c_str());
    return;
  }
  for (const Scenario& scenario : scenariosOn(options.stage())) {
    std::printf("%s\n", scenario.name.c_str());
  }
}

// `Kind` is one of the rehearsals; it keeps the logs within reach.
template <typename Kind>
int rehearseAs(const Options& options) {
  Interruption interruption;
  ConsoleView::Look look = ConsoleView::lookOfStandardOutput();
  look.quiet = options.quiet;
  ConsoleView view(look);
  Inputs inputs = openInputs(options);
  const auto logs = inputs.logs->reach();
  const Descriptor json = std::exchange(inputs.json, Descriptor());
  Kind rehearsal(options, std::move(inputs), view, interruption);
  const Report report = rehearsal.run();
  const std::string text = describeReport(report, view);
  writeFile(logs / "report.txt", describeReport(report, ConsoleView({})));
  writeFile(logs / "report.json", jsonOf(report));
  if (json) {
    writeAll(json.number(), jsonOf(report));
  }
  std::printf("%s", text.c_str());
  return report.asExpected() ? 0 : kNotAsExpected;
}

int rehearse(const Options& options) {
  if (options.virtualMachine) {
    requireWhatVmNeeds(options);
    return options.cuts ? rehearseAs<VmCuts>(options) : rehearseAs<VmRehearsal>(options);
  }
  requireWhatIsNeeded(options);
  return rehearseAs<Rehearsal>(options);
}

int probe() {
  try {
    requireNamespaces();
    return 0;
  } catch (const Problem& problem) {
    std::printf("%s\n", problem.what());
    return kNotAsExpected;
  }
}

int complain(const char* text) {
  std::fprintf(stderr, "marrow-rehearse: %s\n", text);
  return kNotRehearsed;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    int status = 0;
    const std::optional<Options> options = parseOptions(argc, argv, status);
    if (!options) {
      return status;
    }
    if (options->list) {
      listScenarios(*options);
      return 0;
    }
    return options->probe ? probe() : rehearse(*options);
  } catch (const Interrupted& interrupted) {
    std::fprintf(stderr, "\nStopped. Nothing of the machine is left.\n");
    return kSignalBase + interrupted.signal();
  } catch (const std::exception& problem) {
    return complain(problem.what());
  }
}
