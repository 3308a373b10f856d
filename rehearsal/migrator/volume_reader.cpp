#include "rehearsal/migrator/volume_reader.h"

#include "rehearsal/problem.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <new>
#include <unistd.h>

namespace marrow::migrator {
namespace {

constexpr std::size_t kPiece = std::size_t{1} << 20U;
// O_DIRECT wants memory aligned to the logical block size (open(2)); none is larger than a page.
constexpr std::size_t kAlignment = 4096;

rehearsal::Descriptor openVolume(const std::string& device) {
  rehearsal::Descriptor volume(::open(device.c_str(), O_RDONLY | O_DIRECT | O_CLOEXEC));
  if (!volume && errno == EINVAL) {
    volume = rehearsal::Descriptor(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
  }
  if (!volume) {
    rehearsal::failWithErrno("open " + device);
  }
  return volume;
}

}  // namespace

void VolumeReader::Free::operator()(char* memory) const { std::free(memory); }

VolumeReader::VolumeReader(const std::string& device)
    : _volume(openVolume(device)),
      _buffer(static_cast<char*>(std::aligned_alloc(kAlignment, kPiece))) {
  if (!_buffer) {
    throw std::bad_alloc();
  }
  _size = static_cast<std::uint64_t>(
      rehearsal::checked(::lseek(_volume.number(), 0, SEEK_END), "find the size of " + device));
}

std::string_view VolumeReader::next() {
  const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(kPiece, _size - _position));
  if (wanted == 0) {
    return {};
  }
  const ssize_t count =
      ::pread(_volume.number(), _buffer.get(), kPiece, static_cast<off_t>(_position));
  if (count <= 0) {
    rehearsal::failWithErrno("read at byte " + std::to_string(_position));
  }
  _position += static_cast<std::uint64_t>(count);
  return {_buffer.get(), static_cast<std::size_t>(count)};
}

}  // namespace marrow::migrator
