#include "host/linux/mount_gate_program.h"

#include "host/linux/mount_gate_object.h"

#include <algorithm>
#include <array>
#include <cerrno>

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
    : _library(library), _object(nullptr, Close{&_library}), _ring(nullptr, Close{&_library}) {}

MountGateProgram::~MountGateProgram() { stop(); }

int MountGateProgram::start(const MountGateSettings& settings) {
  int errorNumber = load();
  if (errorNumber == 0 &&
      _library.updateElement(_settings, &kFirstElement, &settings, BPF_ANY) != 0) {
    errorNumber = errno;
  }
  if (errorNumber == 0) {
    errorNumber = attachAll();
  }
  return errorNumber;
}

int MountGateProgram::load() {
  _library.setPrint(nullptr);
  _object.reset(_library.openObject(kMountGateObject, kMountGateObjectSize, nullptr));
  if (!_object || _library.loadObject(_object.get()) != 0) {
    return errno;
  }
  _settings = _library.findMap(_object.get(), "settings");
  _refused = _library.findMap(_object.get(), "refused");
  _reports = _library.findMap(_object.get(), "reports");
  _lost = _library.findMap(_object.get(), "lost");
  const auto handOver = [](void* self, void* data, std::size_t) {
    (*static_cast<MountGateProgram*>(self)->_reader)(*static_cast<MountAttemptRecord*>(data));
    return 0;
  };
  _ring.reset(_library.createRing(_reports, handOver, this, nullptr));
  return _ring ? 0 : errno;
}

int MountGateProgram::attachAll() {
  for (auto* program = _library.nextProgram(_object.get(), nullptr); program != nullptr;
       program = _library.nextProgram(_object.get(), program)) {
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
  return _library.updateElement(_refused, keyOf(device).data(), &yes, BPF_ANY) == 0 ? 0 : errno;
}

int MountGateProgram::allow(const std::string& device) const {
  const bool done = _library.deleteElement(_refused, keyOf(device).data()) == 0 || errno == ENOENT;
  return done ? 0 : errno;
}

void MountGateProgram::read(const Reader& reader) {
  _reader = &reader;
  _library.consumeRing(_ring.get());
  _reader = nullptr;
}

std::uint64_t MountGateProgram::lost() const {
  std::uint64_t count = 0;
  _library.lookUpElement(_lost, &kFirstElement, &count);
  return count;
}

}  // namespace marrow
