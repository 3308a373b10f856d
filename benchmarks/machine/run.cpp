#include "benchmarks/comparison.h"
#include "benchmarks/machine/timed_run.h"
#include "benchmarks/machine/traced_run.h"
#include "benchmarks/spread.h"
#include "benchmarks/text_table.h"

#include <filesystem>
#include <iostream>
#include <optional>

namespace marrow {

namespace {

namespace fs = std::filesystem;

constexpr const char* kNone = "-";

// All runs of one program.
struct Series {
  std::vector<RunTimes> times;
  std::vector<RunCounts> counts;
};

template <typename Run, typename Number>
std::vector<double> column(const std::vector<Run>& runs, Number Run::*member) {
  std::vector<double> values;
  for (const Run& run : runs) {
    values.push_back(static_cast<double>(run.*member));
  }
  return values;
}

template <typename Run, typename Number>
std::string cell(const std::vector<Run>& runs, Number Run::*member, int digits) {
  return spreadText(spreadOf(column(runs, member)), digits);
}

void measure(Series& series, const MachinePrograms& programs) {
  series.times.push_back(timeRun(programs));
  series.counts.push_back(countRun(programs));
}

std::string kibibytes(std::uintmax_t bytes) {
  return numberText(static_cast<double>(bytes) / 1024, 0);
}

// The newest one that packaging/check has left.
std::string sizeOfPackage() {
  std::optional<fs::directory_entry> newest;
  std::error_code none;
  for (const fs::directory_entry& entry : fs::directory_iterator(MARROW_PACKAGE_FOLDER, none)) {
    const std::string name = entry.path().filename();
    if (name.starts_with("marrowd_") && name.ends_with(".deb") &&
        (!newest || newest->last_write_time() < entry.last_write_time())) {
      newest = entry;
    }
  }
  return newest ? kibibytes(newest->file_size()) : "not built";
}

void addTimes(TextTable& table, const Series& own, const Series& empty,
              const std::vector<RunFlushes>& flushes) {
  table.add(
      {"to the first line on the console, ms", cell(own.times, &RunTimes::toFirstLine, 2), kNone});
  table.add(
      {"to the last line on the console, ms", cell(own.times, &RunTimes::toLastLine, 1), kNone});
  table.add({"to the end of the machine, ms", cell(own.times, &RunTimes::toEnd, 1),
             cell(empty.times, &RunTimes::toEnd, 1)});
  table.add({"traced: to the request for the reboot, ms", cell(flushes, &RunFlushes::toRequest, 1),
             kNone});
  table.add({"traced: of that flushing, ms", cell(flushes, &RunFlushes::flushing, 1), kNone});
  table.add({"flushes", cell(flushes, &RunFlushes::flushes, 0), kNone});
}

void addCounts(TextTable& table, const Series& own, const Series& empty) {
  table.add({"system calls", cell(own.counts, &RunCounts::systemCalls, 0),
             cell(empty.counts, &RunCounts::systemCalls, 0)});
  table.add({"page faults", cell(own.counts, &RunCounts::pageFaults, 0),
             cell(empty.counts, &RunCounts::pageFaults, 0)});
  table.add({"most resident, KiB", cell(own.counts, &RunCounts::mostKibibytes, 0),
             cell(empty.counts, &RunCounts::mostKibibytes, 0)});
}

}  // namespace

void measureRun(const BenchOptions& options) {
  const MachinePrograms own = {options.daemon, MARROW_HASTY_MIGRATOR};
  const MachinePrograms empty = {MARROW_EMPTY_PROGRAM, MARROW_HASTY_MIGRATOR};
  Series ownRuns;
  Series emptyRuns;
  std::vector<RunFlushes> flushes;
  for (int round = 0; round < options.rounds; ++round) {
    measure(ownRuns, own);
    measure(emptyRuns, empty);
    flushes.push_back(timeFlushes(own));
  }
  std::cout << "## A whole run, with a migrator that ends at once\n\n";
  TextTable table({"from its execution", "marrowd", "libc and libstdc++ alone"});
  addTimes(table, ownRuns, emptyRuns, flushes);
  addCounts(table, ownRuns, emptyRuns);
  table.add({"program with debugging information, KiB", kibibytes(fs::file_size(own.daemon)),
             kibibytes(fs::file_size(empty.daemon))});
  table.add({"package, KiB", sizeOfPackage(), kNone});
  table.print(std::cout);
  std::cout << std::endl;
}

}  // namespace marrow
