// File handles whose callbacks one background thread runs. It waits edge-triggered (epoll(7)), so
// that a FIFO whose writer has gone costs no processor time.
#pragma once

#include "host/file_handles.h"
#include "host/log.h"

#include <cstddef>
#include <memory>

namespace marrow {

class ReadinessThread;

// Must outlive its handles. The thread starts with the first callback that is set.
class LinuxFileHandles final : public FileHandles {
 public:
  // A handle gives at most `mostAtOnce` bytes at once, and is reported again when there was more,
  // so that a busy writer cannot hold the thread. The default is what a FIFO holds at most
  // (fs.pipe-max-size of pipe(7)).
  explicit LinuxFileHandles(LogHandle& log, std::size_t mostAtOnce = std::size_t{1} << 20U);
  ~LinuxFileHandles() override;

  // A descriptor that can never be waited for (a regular file) is never reported, which the log
  // tells.
  std::shared_ptr<FileHandle> createHandle(int descriptor) override;

 private:
  const std::size_t _mostAtOnce;
  const std::unique_ptr<ReadinessThread> _thread;
};

}  // namespace marrow
