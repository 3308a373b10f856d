#include "host/linux/blkid_probe.h"

#include <cerrno>
#include <fcntl.h>

namespace marrow {

BlkidProbe::BlkidProbe(const std::string& node)
    : _node(::open(node.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
  if (!_node) {
    return;
  }
  std::unique_ptr<blkid_struct_probe, Free> probe(blkid_new_probe());
  errno = 0;
  if (probe && blkid_probe_set_device(probe.get(), _node.number(), 0, 0) == 0) {
    _probe = std::move(probe);
  } else if (errno == 0) {
    errno = EIO;
  }
}

}  // namespace marrow
