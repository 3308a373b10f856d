// Reads a volume from end to end, past the page cache where that works.
#pragma once

#include "rehearsal/descriptor.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace marrow::migrator {

class VolumeReader {
 public:
  // Throws rehearsal::Problem when the volume cannot be opened.
  explicit VolumeReader(const std::string& device);

  // In bytes.
  std::uint64_t size() const { return _size; }

  // The next piece, of a MiB at most; empty at the end. Valid until the next call. Throws
  // rehearsal::Problem with the place when it cannot be read.
  std::string_view next();

 private:
  struct Free {
    void operator()(char* memory) const;
  };

  rehearsal::Descriptor _volume;
  std::uint64_t _size = 0;
  std::uint64_t _position = 0;
  std::unique_ptr<char, Free> _buffer;
};

}  // namespace marrow::migrator
