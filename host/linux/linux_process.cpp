#include "host/linux/linux_process.h"

#include "host/error_record.h"
#include "host/linux/service_notification.h"
#include "host/linux/small_file.h"
#include "host/text_format.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

// The bounds of proc_pid_oom_score_adj(5): never killed for memory, and like any other process.
constexpr char kNeverKilled[] = "-1000\n";
constexpr char kLikeAnyOther[] = "0\n";

}  // namespace

LinuxProcess::LinuxProcess(LogHandle& log, std::string oomScorePath)
    : _log(log), _oomScorePath(std::move(oomScorePath)) {}

void LinuxProcess::setIsDaemon(bool isDaemon) {
  if (!writeSmallFile(_oomScorePath, isDaemon ? kNeverKilled : kLikeAnyOther)) {
    _log.log(LogLevel::error,
             formatText("Cannot write %s: %s", _oomScorePath, errorNumberText(errno)));
  }
  const char* address = std::getenv("NOTIFY_SOCKET");  // NOLINT(concurrency-mt-unsafe)
  if (isDaemon && address != nullptr && !sendServiceNotification(address, "READY=1")) {
    _log.log(LogLevel::error, formatText("Cannot notify the service manager at %s: %s", address,
                                         errorNumberText(errno)));
  }
}

void LinuxProcess::exit(int status) {
  std::fflush(stdout);
  std::fflush(stderr);
  ::_exit(status);
}

void LinuxProcess::failAssertion(const std::string& text) {
  _log.log(LogLevel::fault, text);
  std::abort();
}

}  // namespace marrow
