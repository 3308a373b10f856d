#include "rehearsal/file_systems.h"
#include "rehearsal/interruption.h"
#include "rehearsal/loop_device.h"
#include "rehearsal/problem.h"
#include "sweep/sweeps.h"
#include "sweep/tree_watch.h"

#include <cstdio>
#include <memory>

namespace marrow::sweep {
namespace {

using rehearsal::MountedVolume;
using rehearsal::TreeSize;

// So many that a file system of that size has room for as many files.
constexpr std::uint64_t kBytesOfFile = 8192;
// Looks that begin too late see nothing of the exchange; as many runs in a row make no progress.
constexpr int kMostIdleRuns = 5;

std::array<WatchedTree, 2> planTrees(const SweptMachine& machine, const TreeSize& size,
                                     const std::filesystem::path& place) {
  const auto& disk = machine.disk().layout();
  const int preboot = disk.partitionOf(rehearsal::partition_type::kPreboot).value();
  const MountedVolume volume(machine.disk().device().node(preboot), place,
                             MountedVolume::Access::kReadOnly);
  const auto group = volume.path() / disk.group;
  return {planWatch(group, "morrel1/current", "morrel1/proposed", size),
          planWatch(group, "restore", "restore-staged", size)};
}

class WatchedRuns {
 public:
  WatchedRuns(SweptMachine& machine, TreeSize size, std::array<WatchedTree, 2> trees)
      : _machine(machine), _size(size), _trees(std::move(trees)) {}

  // Runs it once; the number of looks that saw a whole tree.
  std::uint64_t run() {
    _machine.putBack();
    std::unique_ptr<TreeWatch> watch;
    _end = _machine.start(StartPlan{.started = [&](pid_t process) {
      watch = std::make_unique<TreeWatch>(process, _machine.disk().layout().group, _trees, _size);
    }});
    std::uint64_t whole = 0;
    const auto looks = watch->stop();
    for (std::size_t number = 0; number < looks.size(); ++number) {
      judge(_trees.at(number).live, looks.at(number));
      add(looks.at(number), _looks.at(number));
      whole += looks.at(number).whole();
    }
    judgeEnd();
    return whole;
  }

  Complaints takeComplaints() { return std::exchange(_complaints, {}); }
  const std::string& console() const { return _end.console; }

  // That both states were seen of each tree is what makes the looks worth something.
  Complaints judgeAll() const {
    Complaints complaints;
    for (std::size_t number = 0; number < _looks.size(); ++number) {
      const TreeLooks& looks = _looks.at(number);
      if (looks.asBefore == 0 || looks.asAfter == 0) {
        complaints.push_back("no look saw " + _trees.at(number).live +
                             (looks.asBefore == 0 ? " as it was before" : " as it is after"));
      }
    }
    return complaints;
  }

  void tell() const {
    for (std::size_t number = 0; number < _looks.size(); ++number) {
      const TreeLooks& looks = _looks.at(number);
      std::printf(
          "%s: %llu looks as before, %llu as after, %llu overtaken; %llu missing, %llu "
          "mixed\n",
          _trees.at(number).live.c_str(), number64(looks.asBefore), number64(looks.asAfter),
          number64(looks.overtaken), number64(looks.missing), number64(looks.mixed));
    }
    std::fflush(stdout);
  }

 private:
  static unsigned long long number64(std::uint64_t value) { return value; }

  static void add(const TreeLooks& looks, TreeLooks& all) {
    all.asBefore += looks.asBefore;
    all.asAfter += looks.asAfter;
    all.missing += looks.missing;
    all.mixed += looks.mixed;
    all.overtaken += looks.overtaken;
  }

  void judge(const std::string& tree, const TreeLooks& looks) {
    if (looks.missing != 0) {
      _complaints.push_back(std::to_string(looks.missing) + " looks found " + tree + " missing");
    }
    if (looks.mixed != 0) {
      _complaints.push_back(std::to_string(looks.mixed) + " looks found " + tree + " mixed");
    }
  }

  void judgeEnd() {
    if (_end.trace.hung || _end.machine.kind != rehearsal::MachineEnd::Kind::kReboot) {
      _complaints.push_back("the machine came to \"" + _end.machine.describe() + '"');
    }
  }

  SweptMachine& _machine;
  const TreeSize _size;
  const std::array<WatchedTree, 2> _trees;
  std::array<TreeLooks, 2> _looks{};
  StartEnd _end;
  Complaints _complaints;
};

}  // namespace

void sweepWatched(const SweepTask& task) {
  const TreeSize size{.files = task.options.files, .bytes = task.options.files * kBytesOfFile};
  MachineChoice choice = task.machine();
  choice.treeSize = size;
  SweptMachine machine(choice, task.workplace, task.interruption);
  const std::string series = task.seriesOf("watched");
  WatchedRuns runs(machine, size, planTrees(machine, size, task.workplace.folder("planting")));
  std::uint64_t looks = 0;
  int idle = 0;
  for (std::size_t number = 1; looks < task.options.looks && idle < kMostIdleRuns; ++number) {
    task.interruption.check();
    const std::uint64_t more = runs.run();
    idle = more == 0 ? idle + 1 : 0;
    looks += more;
    task.log.add(series, number, std::to_string(more) + " looks", runs.takeComplaints());
  }
  task.log.add(series, 0, std::to_string(looks) + " looks of " + std::to_string(task.options.looks),
               runs.judgeAll());
  runs.tell();
}

}  // namespace marrow::sweep
