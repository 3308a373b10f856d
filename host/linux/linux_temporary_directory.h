// The daemon's temporary directory, for itself alone: mode 0700, owned by its user.
#pragma once

#include "host/log.h"
#include "host/temporary_directory.h"

#include <mutex>
#include <string>

namespace marrow {

class LinuxTemporaryDirectory final : public TemporaryDirectory {
 public:
  explicit LinuxTemporaryDirectory(LogHandle& log, std::string path = "/run/marrow/tmp");

  // What stands there already is used when it is a directory of our own, and removed otherwise; a
  // link is never followed. Where that fails, which the log tells, there is nothing at the path
  // that comes back; the next call tries again.
  std::string path() override;

 private:
  LogHandle& _log;
  const std::string _path;
  std::mutex _mutex;
  bool _made = false;  // under _mutex
};

}  // namespace marrow
