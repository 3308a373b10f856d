// A disk whose writes are recorded below the file system, by qemu-storage-daemon(1).
#pragma once

#include "rehearsal/descriptor.h"

#include <filesystem>
#include <sys/types.h>

namespace marrow::rehearsal {
class Workplace;
}

namespace marrow::sweep {

class WriteRecorder {
 public:
  // Shows the image as a file to which a loop device can be attached. The image is written to.
  // Throws Problem.
  WriteRecorder(const std::filesystem::path& image, const rehearsal::Workplace& workplace);

  // Ends the recording and waits for it; nobody may be using the file any more.
  ~WriteRecorder();
  WriteRecorder(const WriteRecorder&) = delete;
  WriteRecorder& operator=(const WriteRecorder&) = delete;

  int file() const { return _file.number(); }

  // The record, to be read with readWriteLog().
  const std::filesystem::path& log() const { return _log; }

  // What the record takes by now, in bytes: all writes that were done before begin below it.
  std::uint64_t length() const;

 private:
  void start(const std::filesystem::path& image);
  void waitForFile(std::uintmax_t size);
  void stop();

  std::filesystem::path _log;
  std::filesystem::path _export;
  pid_t _process = -1;
  rehearsal::Descriptor _file;
};

// Throws the Problem that tells what to install.
void requireRecorder();

}  // namespace marrow::sweep
