#include "benchmarks/curves/curve.h"
#include "benchmarks/growth/growth.h"
#include "benchmarks/growth/volume_disk.h"
#include "benchmarks/memory_folder.h"
#include "benchmarks/no_log.h"
#include "benchmarks/stopwatch.h"
#include "host/linux/linux_disks.h"

#include <filesystem>
#include <stdexcept>
#include <sys/mount.h>

namespace marrow {

namespace {

constexpr int kVolumes = 5;

LinuxDiskRoots rootsIn(const MemoryFolder& folder) {
  LinuxDiskRoots roots;
  roots.sysfs = folder.at("sys");
  roots.dev = folder.at("dev");
  roots.run = folder.at("run");
  return roots;
}

void check(bool done, const char* task) {
  if (!done) {
    throw std::runtime_error(std::string("Cannot ") + task);
  }
}

// Every second one is a bind mount of the first, the others are mounts of the node.
void mountOften(const MemoryFolder& folder, const std::string& node, int count) {
  for (int number = 0; number < count; ++number) {
    const std::string target = folder.at("mount" + std::to_string(number));
    std::filesystem::create_directory(target);
    const bool isBound = number % 2 == 1;
    const std::string source = isBound ? folder.at("mount0") : node;
    check(::mount(source.c_str(), target.c_str(), isBound ? nullptr : "ext4", isBound ? MS_BIND : 0,
                  nullptr) == 0,
          "mount a volume");
  }
}

std::vector<double> measureOnce(const VolumeDisk& disk, int count) {
  const MemoryFolder folder;
  std::vector<std::unique_ptr<rehearsal::LoopDevice>> attached;
  attached.push_back(disk.attach(folder.at("dev")));
  showDisks(folder.at("sys"), attached);
  NoLog log;
  LinuxDisks disks(log, rootsIn(folder));
  const auto media = disks.media().mediaForBSDName(attached.front()->partitionName(kVolumes));
  const auto volume = media ? media->asVolume() : nullptr;
  check(volume != nullptr, "find the volume");
  mountOften(folder, attached.front()->node(kVolumes), count);
  return {millisecondsOf([&] {
    check(volume->unmount({{DVLoamVolumeUnmountOptionAll, true}}, nullptr), "unmount a volume");
  })};
}

}  // namespace

void measureMounts(const BenchOptions& options) {
  const std::vector<CurveSize> sizes = {{1, "1"},   {2, "2"},   {4, "4"},  {8, "8"},
                                        {16, "16"}, {32, "32"}, {64, "64"}};
  const MemoryFolder images;
  const VolumeDisk disk(images.at("image"), kVolumes);
  Curve curve({"What it costs to take a volume offline, by its mounts",
               "mounts of the volume",
               {{"mounts", "Taking a volume offline, by its mounts", "ms", "time, ms"}}},
              sizes, {{"until none is left and it is flushed", "ms"}});
  curve.measure(options, [&](std::size_t size) {
    return measureOnce(disk, static_cast<int>(sizes[size].size));
  });
  curve.present(options);
}

}  // namespace marrow
