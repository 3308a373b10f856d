// File handles over descriptors, with a callback that a background thread runs when something can
// be read.
#pragma once

#include <functional>
#include <memory>
#include <string>

namespace marrow {

// Owns its descriptor and closes it when released. Released from any thread; when a callback of
// this handle is running on another thread, the release waits for it.
class FileHandle {
 public:
  virtual ~FileHandle() = default;

  // Everything that can be read now without waiting; empty at the end of the file, and when a FIFO
  // has no writer.
  virtual std::string availableData() = 0;

  // Runs the callback on the service's thread each time there is something new to read; null
  // removes it. A FIFO whose last writer has gone is not reported until another one writes.
  using ReadabilityHandler = std::function<void(FileHandle&)>;
  virtual void setReadabilityHandler(ReadabilityHandler handler) = 0;
};

class FileHandles {
 public:
  virtual ~FileHandles() = default;

  // Takes over a descriptor that was opened for reading without blocking.
  virtual std::shared_ptr<FileHandle> createHandle(int descriptor) = 0;
};

}  // namespace marrow
