#include "rehearsal/loop_device.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <linux/blkpg.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <thread>

namespace marrow::rehearsal {
namespace {

constexpr const char* kControl = "/dev/loop-control";
constexpr auto kPatience = std::chrono::seconds(10);
constexpr auto kPause = std::chrono::milliseconds(10);

std::filesystem::path inSysfs(const std::string& kernelName) {
  const std::string disk = kernelName.substr(0, kernelName.find('p', 4));
  const std::filesystem::path folder = "/sys/block/" + disk;
  return disk == kernelName ? folder : folder / kernelName;
}

}  // namespace

void requireLoopDevices() {
  if (::access(kControl, R_OK | W_OK) != 0) {
    throw Problem(std::string("There are no loop devices here (") + kControl +
                  " is missing or closed): load the module with `modprobe loop`, or run the "
                  "rehearsal where containers may use them.");
  }
}

LoopDevice::LoopDevice(int file, const std::vector<Partition>& partitions,
                       std::filesystem::path nodes)
    : _nodes(std::move(nodes)) {
  attach(file);
  for (const Partition& partition : partitions) {
    showPartition(partition);
    makeNode(partitionName(partition.number));
    _partitions.push_back(partition.number);
  }
}

LoopDevice::~LoopDevice() {
  try {
    waitUntilUnused();
  } catch (const Problem& problem) {
    std::fprintf(stderr, "%s\n", problem.what());
  }
}

// Another program may take the free device between the two calls: then the next one is asked for.
void LoopDevice::attach(int file) {
  const Descriptor control = openFile(kControl, O_RDWR);
  loop_config settings{};
  settings.fd = static_cast<std::uint32_t>(file);
  settings.info.lo_flags = LO_FLAGS_AUTOCLEAR | LO_FLAGS_PARTSCAN;
  while (true) {
    const int number = checked(::ioctl(control.number(), LOOP_CTL_GET_FREE), "get a loop device");
    _name = "loop" + std::to_string(number);
    makeNode(_name);
    _disk = openFile(_nodes / _name, O_RDWR);
    if (::ioctl(_disk.number(), LOOP_CONFIGURE, &settings) == 0) {
      return;
    }
    if (errno != EBUSY) {
      failWithErrno("attach the disk image to " + _name);
    }
  }
}

void LoopDevice::makeNode(const std::string& kernelName) const {
  const std::string text = readFile(inSysfs(kernelName) / "dev").value_or("");
  const std::size_t colon = text.find(':');
  if (colon == std::string::npos) {
    throw Problem("The kernel does not show " + kernelName + " below /sys/block.");
  }
  const dev_t device = ::makedev(static_cast<unsigned>(std::stoul(text)),
                                 static_cast<unsigned>(std::stoul(text.substr(colon + 1))));
  const auto node = _nodes / kernelName;
  if (::mknod(node.c_str(), S_IFBLK | 0600, device) != 0 && errno != EEXIST) {
    failWithErrno("make the device node " + kernelName);
  }
}

// Kernels that read GPT have found the partition already; the others are told.
void LoopDevice::showPartition(const Partition& partition) const {
  if (std::filesystem::exists(inSysfs(partitionName(partition.number)))) {
    return;
  }
  blkpg_partition range{};
  range.start = static_cast<long long>(partition.start);
  range.length = static_cast<long long>(partition.size);
  range.pno = partition.number;
  blkpg_ioctl_arg request{};
  request.op = BLKPG_ADD_PARTITION;
  request.datalen = sizeof range;
  request.data = &range;
  checked(::ioctl(_disk.number(), BLKPG, &request),
          "show partition " + std::to_string(partition.number) + " to the kernel");
}

void LoopDevice::waitUntilUnused() const {
  const auto end = std::chrono::steady_clock::now() + kPatience;
  for (const int number : _partitions) {
    while (!Descriptor(::open(node(number).c_str(), O_RDONLY | O_EXCL | O_CLOEXEC))) {
      if (errno != EBUSY || std::chrono::steady_clock::now() > end) {
        failWithErrno("get " + partitionName(number) + " back from the machine");
      }
      std::this_thread::sleep_for(kPause);
    }
  }
}

}  // namespace marrow::rehearsal
