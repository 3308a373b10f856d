#include "rehearsal/console_view.h"
#include "rehearsal/files.h"
#include "rehearsal/interruption.h"
#include "rehearsal/options.h"
#include "rehearsal/problem.h"
#include "rehearsal/rehearsal.h"

#include <cstdio>

namespace {

using namespace marrow::rehearsal;

constexpr int kNotAsExpected = 1;
constexpr int kNotRehearsed = 2;
constexpr int kSignalBase = 128;

void listScenarios(bool namesOnly) {
  if (!namesOnly) {
    std::printf("%s", explainScenarios().c_str());
    return;
  }
  for (const Scenario& scenario : scenarios()) {
    std::printf("%s\n", scenario.name.c_str());
  }
}

int rehearse(const Options& options) {
  requireWhatIsNeeded(options);
  Interruption interruption;
  ConsoleView::Look look = ConsoleView::lookOfStandardOutput();
  look.quiet = options.quiet;
  ConsoleView view(look);
  Inputs inputs = openInputs(options);
  const auto logs = inputs.logs->reach();
  const Descriptor json = std::exchange(inputs.json, Descriptor());
  Rehearsal rehearsal(options, std::move(inputs), view, interruption);
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
      listScenarios(options->names);
      return 0;
    }
    return rehearse(*options);
  } catch (const Interrupted& interrupted) {
    std::fprintf(stderr, "\nStopped. Nothing of the machine is left.\n");
    return kSignalBase + interrupted.signal();
  } catch (const std::exception& problem) {
    return complain(problem.what());
  }
}
