// A libblkid probe over a descriptor of its own, released at the end.
#pragma once

#include "host/linux/descriptor.h"

#include <blkid/blkid.h>
#include <memory>
#include <string>

namespace marrow {

class BlkidProbe {
 public:
  explicit BlkidProbe(const std::string& node);

  // False with errno set when the node could not be opened.
  explicit operator bool() const { return _probe != nullptr; }
  blkid_probe get() const { return _probe.get(); }

 private:
  struct Free {
    void operator()(blkid_struct_probe* probe) const { blkid_free_probe(probe); }
  };

  Descriptor _node;
  std::unique_ptr<blkid_struct_probe, Free> _probe;
};

}  // namespace marrow
