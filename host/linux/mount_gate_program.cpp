#include "host/linux/mount_gate_program.h"

#include "host/linux/mount_gate_object.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>

namespace marrow {

namespace {

constexpr std::uint32_t kFirstElement = 0;

using DeviceKey = std::array<char, MARROW_DEVICE_NAME_SIZE>;

// The kernel's own name has a slash where sysfs, and with it a BlockDevice, writes "!".
DeviceKey keyOf(const std::string& device) {
  DeviceKey key{};
  std::copy_n(device.begin(), std::min(device.size(), key.size() - 1), key.begin());
  std::replace(key.begin(), key.end(), '!', '/');
  return key;
}

}  // namespace

MountGateProgram::MountGateProgram(const BpfLibrary& library)
    : _library(library), _ring(nullptr, Close{&_library}) {}

MountGateProgram::~MountGateProgram() { stop(); }

// The links keep the programs in the kernel, and those their maps: of the nine descriptors that the
// library's object holds, three maps are all that is asked for again.
int MountGateProgram::start(const MountGateSettings& settings) {
  _library.setPrint(nullptr);
  const Held<bpf_object> object(
      _library.openObject(kMountGateObject, kMountGateObjectSize, nullptr), Close{&_library});
  return object ? prepare(*object, settings) : errno;
}

int MountGateProgram::prepare(bpf_object& object, const MountGateSettings& settings) {
  if (_library.loadObject(&object) != 0 ||
      _library.updateElement(_library.findMap(&object, "settings"), &kFirstElement, &settings,
                             BPF_ANY) != 0) {
    return errno;
  }
  const int errorNumber = keepMaps(object);
  return errorNumber == 0 ? attachAll(object) : errorNumber;
}

int MountGateProgram::keepMaps(const bpf_object& object) {
  const auto keep = [&](const char* name) {
    return Descriptor(::fcntl(_library.findMap(&object, name), F_DUPFD_CLOEXEC, 0));
  };
  _refused = keep("refused");
  _reports = keep("reports");
  _lost = keep("lost");
  if (!_refused || !_reports || !_lost) {
    return errno;
  }
  const auto handOver = [](void* self, void* data, std::size_t) {
    (*static_cast<MountGateProgram*>(self)->_reader)(*static_cast<MountAttemptRecord*>(data));
    return 0;
  };
  _ring.reset(_library.createRing(_reports.number(), handOver, this, nullptr));
  return _ring ? 0 : errno;
}

int MountGateProgram::attachAll(const bpf_object& object) {
  for (auto* program = _library.nextProgram(&object, nullptr); program != nullptr;
       program = _library.nextProgram(&object, program)) {
    bpf_link* const link = _library.attachProgram(program);
    if (link == nullptr) {
      return errno;
    }
    _links.emplace_back(link, Close{&_library});
  }
  return 0;
}

void MountGateProgram::stop() { _links.clear(); }

int MountGateProgram::refuse(const std::string& device) const {
  const std::uint8_t yes = 1;
  return _library.updateElement(_refused.number(), keyOf(device).data(), &yes, BPF_ANY) == 0
             ? 0
             : errno;
}

int MountGateProgram::allow(const std::string& device) const {
  const bool done =
      _library.deleteElement(_refused.number(), keyOf(device).data()) == 0 || errno == ENOENT;
  return done ? 0 : errno;
}

void MountGateProgram::read(const Reader& reader) {
  _reader = &reader;
  _library.consumeRing(_ring.get());
  _reader = nullptr;
}

std::uint64_t MountGateProgram::lost() const {
  std::uint64_t count = 0;
  _library.lookUpElement(_lost.number(), &kFirstElement, &count);
  return count;
}

}  // namespace marrow
