#include "rehearsal/vm/vm_cuts.h"

#include "rehearsal/console_view.h"
#include "rehearsal/files.h"
#include "rehearsal/firmware_setup.h"
#include "rehearsal/problem.h"
#include "rehearsal/vm/boot_entries.h"
#include "rehearsal/vm/disk_image.h"
#include "rehearsal/vm/vm_disk.h"
#include "rehearsal/vm/write_log.h"
#include "rehearsal/workplace.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <random>

namespace marrow::rehearsal {
namespace {

constexpr int kMostBoots = 3;
// These lines of the daemon come while it changes something: three cuts of four come shortly after
// one of them, and so find these moments more often than one at a random time would.
constexpr unsigned kFirstLine = 22;
constexpr unsigned kLastLine = 40;
constexpr unsigned kLongestDelay = 120;
// The others come at any time of a boot.
constexpr unsigned kUsualBoot = 25000;

std::string inSeconds(std::chrono::milliseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%.3f s", static_cast<double>(time.count()) / 1000);
  return text.data();
}

std::string prefix(unsigned number) { return "cut-" + std::to_string(number) + '-'; }

std::string describe(const CutPlan& plan) {
  if (plan.afterStart) {
    return inSeconds(*plan.afterStart) + " after the boot began";
  }
  return inSeconds(plan.afterThose) + " after line " + std::to_string(plan.afterLines) +
         " of the daemon";
}

Row rowOf(unsigned number, const VmBoot& boot, const CutOutcome& outcome) {
  const std::string boots = countOf(outcome.boots, "boot");
  const std::string well = "all in place, " + boots + " later";
  return {"cut." + std::to_string(number),
          "cut " + std::to_string(number) + ", at " + inSeconds(boot.run.duration), outcome.place,
          outcome.losses.empty() ? well : outcome.losses.front(), well};
}

}  // namespace

VmCuts::VmCuts(const Options& options, Inputs inputs, ConsoleView& view, Interruption& interruption)
    : _options(options),
      _view(view),
      _rehearsal(options, std::move(inputs), view, interruption),
      _start(_rehearsal.prepare()) {}

Report VmCuts::run() {
  QemuSettings settings = _start.settings(_rehearsal.accelerator());
  settings.endsAtRestart = true;
  const std::vector<VmBoot> installed = _rehearsal.boot(settings, {.bootsAtMost = 1});
  if (!installed.front().report) {
    throw Problem("The installer did not report.");
  }
  _before = installed.front().report->snapshot;
  Report report = _rehearsal.emptyReport();
  CutTally tally;
  for (unsigned number = 1; number <= *_options.cuts; ++number) {
    tally.add(cutOnce(number, report.rows));
  }
  std::ranges::move(tally.rows(), std::back_inserter(report.rows));
  return report;
}

CutPlan VmCuts::planCut(unsigned number) const {
  if (_options.cutAtSeconds) {
    return {.afterStart =
                std::chrono::milliseconds(static_cast<long>(*_options.cutAtSeconds * 1000))};
  }
  std::mt19937_64 generator(_rehearsal.seed() + number);
  const auto choose = [&](unsigned least, unsigned most) {
    return std::uniform_int_distribution<unsigned>(least, most)(generator);
  };
  if (choose(0, 3) == 0) {
    return {.afterStart = std::chrono::milliseconds(choose(0, kUsualBoot))};
  }
  return {.afterLines = choose(kFirstLine, kLastLine),
          .afterThose = std::chrono::milliseconds(choose(0, kLongestDelay))};
}

// A machine that cannot be brought to its end is lost, and the others are still cut.
CutOutcome VmCuts::cutOnce(unsigned number, std::vector<Row>& rows) {
  VmMachine machine = _start.copy();
  VmBoot cut;
  CutOutcome outcome{.place = "somewhere"};
  try {
    cut = bootUntilCut(machine, number);
    outcome.place = placeOfCut(cut);
    judge(machine, number, cut, outcome);
  } catch (const Problem& problem) {
    outcome.losses.emplace_back(problem.what());
  }
  rows.push_back(rowOf(number, cut, outcome));
  for (const std::string& loss : outcome.losses) {
    _view.say("LOST: " + loss);
  }
  return outcome;
}

void VmCuts::judge(const VmMachine& machine, unsigned number, const VmBoot& cut,
                   CutOutcome& outcome) {
  const Snapshot atCut = inspect(machine, number);
  const std::string newEntry = entryOf(_rehearsal.bootDisk().group);
  outcome.losses = lossesIn(compareAtVmCut(_before, atCut, cut, newEntry), "at the cut");
  const std::vector<VmBoot> boots = bootAfterCut(machine, number);
  outcome.boots = boots.size();
  std::ranges::move(_rehearsal.lossesInTheEnd(_before, boots), std::back_inserter(outcome.losses));
}

// What the machine's disk holds of the writes after the last flush is chosen by chance, as the
// cache of a real one would have lost some.
VmBoot VmCuts::bootUntilCut(VmMachine& machine, unsigned number) {
  const CutPlan plan = planCut(number);
  _view.say("Cut " + std::to_string(number) + " comes " + describe(plan) + " (--seed " +
            std::to_string(_rehearsal.seed()) + ").");
  const Descriptor log = makeNamelessFile();
  QemuSettings settings = machine.settings(_rehearsal.accelerator());
  settings.writeLog = pathOfDescriptor(log.number());
  VmRunPlan run{.firstNumber = 2, .logPrefix = prefix(number), .bootsAtMost = 1, .cut = plan};
  VmBoot boot = _rehearsal.boot(settings, run).front();
  machine.takeDiskOf(_start);
  const KeptWrites writes =
      replayAfterCut(settings.writeLog, machine.disk(), _rehearsal.seed() + number);
  _view.say("The power was cut " + placeOfCut(boot) + ", " + inSeconds(boot.run.duration) +
            " after the boot began: " + std::to_string(writes.flushed) + " writes were flushed, " +
            std::to_string(writes.kept) + " others kept, " + std::to_string(writes.lost) +
            " lost.");
  return boot;
}

Snapshot VmCuts::inspect(const VmMachine& machine, unsigned number) {
  const VmMachine looked = machine.copy();
  const Descriptor system = makeNamelessFile();
  writeAll(system.number(), readFile(_rehearsal.parts().agentSystem).value_or(""));
  writeAll(system.number(), planArchive(_rehearsal.guestPlan()));
  QemuSettings settings = looked.settings(_rehearsal.accelerator());
  settings.directBoot =
      DirectBoot{.kernel = _rehearsal.parts().kernel,
                 .initialSystem = pathOfDescriptor(system.number()),
                 .words = std::string(kCommonWords) + " marrow_vm=" + guest_system::kInspector};
  const std::vector<VmBoot> boots =
      _rehearsal.boot(settings, {.firstNumber = 0, .logPrefix = prefix(number), .bootsAtMost = 1});
  if (!boots.front().report) {
    throw Problem("The machine could not be looked at after the cut.");
  }
  return boots.front().report->snapshot;
}

std::vector<VmBoot> VmCuts::bootAfterCut(const VmMachine& machine, unsigned number) {
  return _rehearsal.boot(
      machine.settings(_rehearsal.accelerator()),
      {.firstNumber = 3, .logPrefix = prefix(number), .bootsAtMost = kMostBoots});
}

}  // namespace marrow::rehearsal
