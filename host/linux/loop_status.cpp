#include "host/linux/loop_status.h"

#include "host/linux/descriptor.h"

#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace marrow {

std::optional<LoopBacking> loopBacking(const std::string& node) {
  const Descriptor loop(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  loop_info64 info{};
  if (!loop || ::ioctl(loop.number(), LOOP_GET_STATUS64, &info) != 0) {
    return std::nullopt;
  }
  LoopBacking backing;
  backing.fileSystem = static_cast<dev_t>(info.lo_device);
  backing.offset = info.lo_offset;
  // For a regular file older kernels put st_dev there, newer ones nothing.
  if (info.lo_rdevice != 0 && info.lo_rdevice != info.lo_device) {
    backing.device = static_cast<dev_t>(info.lo_rdevice);
  }
  return backing;
}

std::optional<LoopBacking> loopBackingOf(const BlockDevices& devices, const BlockDevice& disk) {
  const auto directory = devices.directory(disk.name);
  const bool isLoop = directory && ::access((*directory + "/loop/backing_file").c_str(), F_OK) == 0;
  return isLoop ? loopBacking(devices.node(disk)) : std::nullopt;
}

}  // namespace marrow
