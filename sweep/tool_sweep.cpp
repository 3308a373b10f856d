#include "rehearsal/base_system.h"
#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "sweep/case_run.h"
#include "sweep/sweeps.h"

#include <array>
#include <cstdio>

namespace marrow::sweep {
namespace {

// A way to behave badly, as the beginning and the end of a script. The tool's arguments stand in
// this order: -M -m METRICS -l LOG -n -t SECONDS -g FIFO DEVICE.
struct BadTool {
  const char* name;
  const char* before;
  const char* after;
  // What the log has to say of it.
  const char* told = "";
};

constexpr std::array kTools{
    BadTool{"writes what is no text", "head -c 1000000 /dev/urandom\n", ""},
    BadTool{"writes control characters", "printf '\\033c\\033[2J\\007\\000\\r\\n%s%n'\n", ""},
    BadTool{
        "reports half lines",
        "for i in 1 2 3 4 5 6 7 8 9; do printf $i >\"${10}\"; done\nprintf 99999999999999999999 "
        ">\"${10}\"\nprintf -- - >\"${10}\"\n",
        ""},
    BadTool{"removes the progress pipe", "rm \"${10}\"\n", ""},
    BadTool{"puts a folder in the place of the progress pipe",
            "rm \"${10}\"\nmkdir \"${10}\"\necho kept >\"${10}/file\"\n", ""},
    BadTool{"reads the progress pipe itself", "exec 9<>\"${10}\"\necho 42 >&9\n", ""},
    BadTool{"closes its output", "exec >&- 2>&-\nsleep 0.2\n", ""},
    BadTool{"closes everything", "exec <&- >&- 2>&-\n", ""},
    BadTool{"forks twice and leaves a process that holds the output",
            "(setsid sh -c 'sleep 0.3; echo late' &)\n", ""},
    BadTool{
        "forks twice and leaves a process that holds the progress pipe",
        "(setsid sh -c 'exec >&- 2>&-; exec 9>\"$1\"; while echo 60 >&9; do sleep 0.1; done' sh "
        "\"${10}\" &)\nsleep 0.2\n",
        ""},
    BadTool{"ignores termination", "trap '' TERM INT HUP QUIT PIPE\nsleep 0.2\n", ""},
    BadTool{"stops itself until another process has it go on",
            "(sleep 0.3; kill -CONT $$) &\nkill -STOP $$\n", ""},
    BadTool{"is ended by a signal", "", "ulimit -c 0\nkill -SEGV $$\n"},
    BadTool{"ends with 255", "", "exit 255\n"},
    BadTool{"opens a hundred processes",
            "i=0; while [ $i -lt 100 ]; do sleep 0.3 & i=$((i+1)); done\n", ""},
    // What takes long stands at the end.
    BadTool{"writes 1 GiB", "yes | head -c 1073741824\n", ""},
    BadTool{"writes 1 GiB without a line end", "head -c 1073741824 /dev/zero | tr '\\0' x\n", ""},
    BadTool{"floods the progress pipe with 2 GiB", "yes 50 | head -c 2147483648 >\"${10}\"\n", ""},
    BadTool{"floods it without a line end", "head -c 536870912 /dev/zero >\"${10}\"\n", ""},
    BadTool{"takes 25 seconds", "sleep 25\n", "", "Waiting for loam_migrator ("}};

std::string scriptOf(const BadTool& tool) {
  return std::string("#!/bin/sh\n") + tool.before + SweptMachine::migratorReports() + tool.after;
}

class ToolSweep {
 public:
  ToolSweep(SweptMachine& machine, CaseLog& log, std::string series)
      : _machine(machine), _log(log), _series(std::move(series)) {}

  void tryTool(std::size_t number) {
    const BadTool& tool = kTools.at(number - 1);
    CaseRun run(_machine);
    try {
      _machine.putBack();
      _machine.setMigrator(scriptOf(tool));
      run.finish();
      Complaints complaints = run.complaints();
      if (kernelLog().find(tool.told) == std::string::npos) {
        complaints.push_back(std::string("the log does not say: ") + tool.told);
      }
      _log.add(_series, number, describe(tool, run), complaints);
    } catch (const rehearsal::Problem& problem) {
      _log.add(_series, number, describe(tool, run), {problem.what()});
    }
    if (!run.complaints().empty()) {
      std::printf("%.2000s\n", run.console().c_str());
    }
  }

 private:
  std::string kernelLog() const {
    return rehearsal::readFile(_machine.root() / "dev/kmsg").value_or("");
  }
  static std::string describe(const BadTool& tool, const CaseRun& run) {
    return std::string("it ") + tool.name + " (" + std::to_string(run.peakMemory()) + " KiB)";
  }

  SweptMachine& _machine;
  CaseLog& _log;
  const std::string _series;
};

}  // namespace

void sweepTools(const SweepTask& task) {
  SweptMachine machine(task.machine(), task.workplace, task.interruption);
  const std::string series = task.seriesOf("tools");
  ToolSweep sweep(machine, task.log, series);
  task.eachOpenCase(series, kTools.size(), [&](std::size_t number) { sweep.tryTool(number); });
}

}  // namespace marrow::sweep
