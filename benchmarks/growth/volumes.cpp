#include "benchmarks/curves/curve.h"
#include "benchmarks/growth/growth.h"
#include "benchmarks/growth/storage_session.h"
#include "benchmarks/growth/volume_disk.h"
#include "benchmarks/memory_folder.h"
#include "benchmarks/node_reads.h"
#include "benchmarks/stopwatch.h"

#include <filesystem>
#include <stdexcept>

namespace marrow {

namespace {

constexpr int kQuestions = 5;
constexpr int kVolumesOfADisk = 5;

void check(bool isSo, const char* what) {
  if (!isSo) {
    throw std::runtime_error(what);
  }
}

// What is looked for is mounted by the first question, as in a run, and taken offline at the end.
class Measured {
 public:
  Measured(const std::string& folder, const std::string& group, const std::string& node)
      : _reads(node), _session(folder, group) {}

  std::vector<double> values(std::size_t volumes) {
    MWStorageController* controller = nullptr;
    const double start = millisecondsOf([&] { controller = &_session.start(); });
    const int startReads = _reads.take();
    const auto container = controller->loamContainer();
    check(container->volumes().size() == volumes, "Not every volume was found.");
    check(controller->updateVolumeMountPoint().has_value(), "The update volume was not mounted.");
    _reads.take();
    std::vector<double> questions;
    for (int question = 0; question < kQuestions; ++question) {
      questions.push_back(millisecondsOf([&] { controller->updateVolumeMountPoint(); }));
    }
    const double questionReads = static_cast<double>(_reads.take()) / kQuestions;
    check(container->updateVolume()->unmount({{DVLoamVolumeUnmountOptionAll, true}}, nullptr),
          "The update volume was not unmounted.");
    const double offline =
        millisecondsOf([&] { check(controller->unmountContainer(nullptr), "Not offline."); });
    return {start, spreadOf(questions).median, offline, startReads / static_cast<double>(volumes),
            questionReads};
  }

 private:
  NodeReads _reads;  // of the first disk
  StorageSession _session;
};

// A folder and devices of its own for each: nothing is left of the one before.
std::vector<double> measureOnce(const std::vector<VolumeDisk>& disks, std::size_t count,
                                std::size_t volumes) {
  const MemoryFolder folder;
  std::vector<std::unique_ptr<rehearsal::LoopDevice>> attached;
  for (std::size_t disk = 0; disk < count; ++disk) {
    attached.push_back(disks[disk].attach(folder.at("dev")));
  }
  showDisks(folder.at("sys"), attached);
  return Measured(folder.path(), disks.front().group(), attached.front()->diskNode())
      .values(volumes);
}

std::vector<CurveSeries> seriesOf() {
  return {{"start: every volume asked about", "ms"},
          {"question: where the update volume is mounted", "ms", 3},
          {"question: whether all volumes are offline", "ms"},
          {"table reads at the start, for each volume", "", 1},
          {"table reads for the first question", "", 1}};
}

}  // namespace

void measureVolumes(const BenchOptions& options) {
  const std::vector<CurveSize> sizes = {{5, "5"},   {10, "10"}, {20, "20"},
                                        {40, "40"}, {80, "80"}, {128, "128"}};
  const MemoryFolder images;
  std::vector<std::vector<VolumeDisk>> disks(sizes.size());
  for (std::size_t size = 0; size < sizes.size(); ++size) {
    disks[size].emplace_back(images.at(sizes[size].label), static_cast<int>(sizes[size].size));
  }
  Curve curve({"What the storage costs, by the volumes of a disk",
               "volumes of the disk",
               {{"volumes", "Storage, by the volumes of a disk", "ms", "time, ms"}}},
              sizes, seriesOf());
  curve.measure(options, [&](std::size_t size) {
    return measureOnce(disks[size], 1, static_cast<std::size_t>(sizes[size].size));
  });
  curve.present(options);
}

void measureDisks(const BenchOptions& options) {
  const std::vector<CurveSize> sizes = {{1, "1"}, {2, "2"}, {4, "4"}, {8, "8"}, {16, "16"}};
  const MemoryFolder images;
  std::vector<VolumeDisk> disks;
  for (int disk = 0; disk < static_cast<int>(sizes.back().size); ++disk) {
    disks.emplace_back(images.at(std::to_string(disk)), kVolumesOfADisk);
  }
  Curve curve({"What the storage costs, by the disks of the machine (5 volumes each)",
               "disks of the machine",
               {{"disks", "Storage, by the disks of the machine", "ms", "time, ms"}}},
              sizes, seriesOf());
  curve.measure(options, [&](std::size_t size) {
    return measureOnce(disks, static_cast<std::size_t>(sizes[size].size), kVolumesOfADisk);
  });
  curve.present(options);
}

}  // namespace marrow
