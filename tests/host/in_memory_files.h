// File calls on the machine's tree, with the error numbers of POSIX. Any thread. A descriptor that
// was never handed out, or is closed already, fails the test; -1 is EBADF alone. Something that
// would wait for ever (opening a FIFO whose other end nobody opens) fails the test with EINTR.
#pragma once

#include "host/files.h"
#include "tests/host/calls.h"
#include "tests/host/in_memory_file_system.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <span>
#include <string>
#include <vector>

namespace marrow {

class InMemoryFiles : public Files {
 public:
  InMemoryFiles(Calls& calls, InMemoryFileSystem& fileSystem)
      : _calls(calls), _fileSystem(fileSystem) {}

  int open(const std::string& path, OpenFlags flags) override;
  int close(int descriptor) override;
  std::int64_t read(int descriptor, std::span<std::byte> buffer) override;
  // The journal has the bytes behind the path.
  std::int64_t write(int descriptor, std::string_view bytes) override;
  std::int64_t write(int descriptor, std::span<const std::string_view> pieces) override;
  int sync(int descriptor) override;
  int fullSync(int descriptor) override;
  int statusOf(int descriptor, FileStatus& status) override;
  int statusAt(const std::string& path, FileStatus& status) override;
  int exists(const std::string& path) override;
  int makeFIFO(const std::string& path, std::uint32_t mode) override;
  int unlink(const std::string& path) override;

  // From now on one read or write takes at most this many bytes.
  void setTransferLimit(std::size_t bytes) { _transferLimit = bytes; }

  // The paths of the descriptors that are open, in the order of the descriptors.
  std::vector<std::string> openPaths() const;
  // True when a descriptor is open on this volume.
  bool holdsOpen(const std::string& volume) const;
  // Closes everything, as the end of the process does.
  void closeAll();

  // ---- For the service that takes descriptors over.

  // Null when the descriptor is not open.
  FileNodeRef nodeOf(int descriptor) const;
  // What it was opened with, or the number where it is not open.
  std::string describe(int descriptor) const;
  // The same as read and close, not written down.
  std::string readAvailable(int descriptor);
  void closeQuietly(int descriptor);

 private:
  struct OpenFile {
    FileNodeRef node;
    std::string path;
    std::string volume;
    OpenFlags flags = OpenFlags::readOnly;
    std::size_t offset = 0;
  };

  OpenFile* opened(int descriptor);
  int openPlace(const std::string& path, OpenFlags flags, FilePlace& place) const;
  static int openMissing(OpenFlags flags, FilePlace& place);
  int add(OpenFile file);
  bool giveBack(int descriptor);
  std::int64_t readBytes(OpenFile& file, std::span<std::byte> buffer) const;
  std::int64_t writeBytes(OpenFile& file, std::string_view bytes) const;
  int syncOpen(const std::string& call, int descriptor);

  Calls& _calls;
  InMemoryFileSystem& _fileSystem;
  std::map<int, OpenFile> _open;
  std::size_t _transferLimit = std::numeric_limits<std::size_t>::max();
};

}  // namespace marrow
