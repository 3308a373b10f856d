#include "rehearsal/loop_device.h"
#include "rehearsal/problem.h"
#include "sweep/disturbed_cases.h"
#include "sweep/full_volume.h"
#include "sweep/sweeps.h"

#include <cstdio>
#include <sys/mount.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using rehearsal::checked;
using rehearsal::FileSystem;
namespace type = rehearsal::partition_type;

// A run writes a log of six blocks, a shadow file and a file of one word; it needs no more.
constexpr std::size_t kMostBlocks = 16;
constexpr std::size_t kMostPages = 12;
// Where blocks are given by the piece.
constexpr std::size_t kMostBlocksElsewhere = 1024;

struct FilledRole {
  const char* name;
  std::string_view type;
};
constexpr std::array kRoles{FilledRole{"preboot", type::kPreboot},
                            FilledRole{"recovery", type::kRecovery},
                            FilledRole{"update", type::kUpdate}};

// In the middle of a scenario's volumes, where no snapshot looks.
std::filesystem::path fillerOn(const FilledRole& role, const SweptMachine& machine) {
  const std::filesystem::path folder =
      role.type == type::kPreboot ? machine.layout().group : std::string();
  return folder / "room";
}

std::vector<std::size_t> numbersOfBlocks(FileSystem kind) {
  std::vector<std::size_t> numbers;
  for (std::size_t i = 0; i <= kMostBlocks; ++i) {
    numbers.push_back(i);
  }
  if (kind != FileSystem::kExt4) {
    numbers = {0};
    for (std::size_t i = 1; i <= kMostBlocksElsewhere; i *= 2) {
      numbers.push_back(i);
    }
  }
  return numbers;
}

class FillSweep {
 public:
  FillSweep(const SweepTask& task, SweptMachine& machine)
      : _task(task),
        _machine(machine),
        _place(task.workplace.folder("filled")),
        _cases(machine, task.log, task.seriesOf("fill")) {}

  void run() {
    _cases.learn();
    _cases.learn();
    const std::vector<DisturbedCase> all = allCases();
    _task.eachCase(all.size(), [&](std::size_t number) { _cases.tryCase(all[number - 1]); });
    _cases.printTable();
  }

 private:
  std::vector<DisturbedCase> allCases() {
    std::vector<DisturbedCase> all;
    for (const FilledRole& role : kRoles) {
      if (_machine.layout().partitionOf(role.type)) {
        addVolume(all, role, Room::kForFiles);
        if (_task.options.fileSystem == FileSystem::kExt4) {
          addVolume(all, role, Room::kAtAll);
        }
      }
    }
    for (std::size_t pages = 0; pages <= kMostPages; ++pages) {
      all.push_back(firmwareCase(pages));
    }
    return all;
  }

  void addVolume(std::vector<DisturbedCase>& all, const FilledRole& role, Room room) {
    for (const std::size_t blocks : numbersOfBlocks(_task.options.fileSystem)) {
      all.push_back(volumeCase(role, room, blocks));
    }
  }

  DisturbedCase volumeCase(const FilledRole& role, Room room, std::size_t blocks) {
    const std::string name =
        std::string(role.name) + (room == Room::kAtAll ? ", none kept back" : "");
    const auto file = fillerOn(role, _machine);
    return {.name = name,
            .number = blocks,
            .row = name,
            .begin = [this, role, room, blocks,
                      file] { takeRoom(nodeOf(role), _place, file, room, blocks); },
            .end = [this, role, file] { giveRoom(nodeOf(role), _place, file); },
            .hasFired = [](const StartEnd&) { return true; }};
  }

  std::filesystem::path nodeOf(const FilledRole& role) {
    _machine.disk().device().waitUntilUnused();
    return _machine.disk().device().node(*_machine.layout().partitionOf(role.type));
  }

  // The store is a file system of its own, in which each variable takes a page (tmpfs(5)).
  DisturbedCase firmwareCase(std::size_t pages) {
    return {.name = "firmware",
            .number = pages,
            .row = "firmware",
            .begin = [this, pages] { narrowFirmware(pages); },
            .end = [this] { widenFirmware(); },
            .hasFired = [](const StartEnd&) { return true; }};
  }

  void narrowFirmware(std::size_t pages) {
    const auto& folder = _machine.firmware().folder();
    const FirmwareCopy variables(folder);
    const auto size = (variables.count() + pages) * static_cast<std::size_t>(::getpagesize());
    checked(
        ::mount("firmware", folder.c_str(), "tmpfs", 0, ("size=" + std::to_string(size)).c_str()),
        "make a small firmware store");
    variables.putInto(folder);
  }

  void widenFirmware() {
    const auto& folder = _machine.firmware().folder();
    const FirmwareCopy variables(folder);
    checked(::umount(folder.c_str()), "unmount the small firmware store");
    variables.putInto(folder);
  }

  const SweepTask& _task;
  SweptMachine& _machine;
  const std::filesystem::path _place;
  DisturbedCases _cases;
};

}  // namespace

void sweepFullDisks(const SweepTask& task) {
  SweptMachine machine(task.machine(), task.workplace, task.interruption);
  FillSweep(task, machine).run();
}

}  // namespace marrow::sweep
