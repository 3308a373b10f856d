// The programs of mount_gate.bpf.c in the running kernel. Nothing of them is pinned: they are gone
// with this object, or with the process, however it ends.
#pragma once

#include "host/linux/bpf_library.h"
#include "host/linux/descriptor.h"
#include "host/linux/mount_gate_records.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace marrow {

class MountGateProgram {
 public:
  using Reader = std::function<void(const MountAttemptRecord&)>;

  explicit MountGateProgram(const BpfLibrary& library);
  ~MountGateProgram();
  MountGateProgram(const MountGateProgram&) = delete;
  MountGateProgram& operator=(const MountGateProgram&) = delete;

  // Has the kernel run the programs. 0, or an errno value: EPERM without the privilege, ESRCH on a
  // kernel without such hooks or without a description of its types, and others.
  int start(const MountGateSettings& settings);

  // No mount is refused or reported any more. What was reported can still be read.
  void stop();

  // By the kernel's name of a device. Any thread. 0, or an errno value.
  int refuse(const std::string& device) const;
  int allow(const std::string& device) const;

  // Readable when a report is there.
  int reports() const { return _reports.number(); }

  // Hands over what has been reported. One thread at a time.
  void read(const Reader& reader);

  // How many reports have found no room so far.
  std::uint64_t lost() const;

 private:
  struct Close {
    const BpfLibrary* library;
    void operator()(bpf_object* object) const { library->closeObject(object); }
    void operator()(ring_buffer* ring) const { library->freeRing(ring); }
    void operator()(bpf_link* link) const { library->destroyLink(link); }
  };
  template <typename Thing>
  using Held = std::unique_ptr<Thing, Close>;

  int prepare(bpf_object& object, const MountGateSettings& settings);
  int keepMaps(const bpf_object& object);
  int attachAll(const bpf_object& object);

  const BpfLibrary _library;
  Descriptor _refused;  // maps
  Descriptor _reports;
  Descriptor _lost;
  Held<ring_buffer> _ring;
  std::vector<Held<bpf_link>> _links;
  const Reader* _reader = nullptr;  // while reading
};

}  // namespace marrow
