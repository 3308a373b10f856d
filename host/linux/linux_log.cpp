#include "host/linux/linux_log.h"

#include "host/linux/errno_keeper.h"

#include <syslog.h>
#include <utility>

namespace marrow {

namespace {

class Channel final : public LogHandle {
 public:
  Channel(LinuxLog& log, std::string subsystem, std::string category)
      : _log(log), _subsystem(std::move(subsystem)), _category(std::move(category)) {}

 private:
  void write(LogLevel level, const std::string& text, const LogOrigin& origin) override {
    const ErrnoKeeper keeper;
    try {
      _log.log({level, _subsystem, _category, text, origin});
    } catch (...) {
      // No memory is left to tell it.
    }
  }

  LinuxLog& _log;
  const std::string _subsystem;
  const std::string _category;
};

int syslogSeverity(LogLevel level) {
  switch (level) {
    case LogLevel::debug:
      return LOG_DEBUG;
    case LogLevel::info:
      return LOG_INFO;
    case LogLevel::standard:
      return LOG_NOTICE;
    case LogLevel::error:
      return LOG_ERR;
    case LogLevel::fault:
      return LOG_CRIT;
  }
  return LOG_CRIT;
}

std::string prefixFor(const std::string& category) {
  return category.empty() ? "marrowd: " : "marrowd[" + category + "]: ";
}

}  // namespace

LinuxLog::LinuxLog(KernelLog::Places places) : _kernelLog(std::move(places)) {}

std::unique_ptr<LogHandle> LinuxLog::createHandle(const std::string& subsystem,
                                                  const std::string& category) {
  return std::make_unique<Channel>(*this, subsystem, category);
}

LogHook LinuxLog::setHook(LogLevel minimum, LogHook hook) {
  auto installed = std::make_shared<const InstalledHook>(InstalledHook{minimum, std::move(hook)});
  const std::lock_guard lock(_hookMutex);
  _hook.swap(installed);
  return installed ? installed->hook : LogHook();
}

std::optional<std::string> LinuxLog::render(const LogMessage& message) { return message.text; }

void LinuxLog::log(const LogMessage& message) noexcept {
  const ErrnoKeeper keeper;
  try {
    _kernelLog.write(syslogSeverity(message.level), prefixFor(message.category), message.text);
    callHook(message);
  } catch (...) {
    // No memory is left to tell it.
  }
}

void LinuxLog::callHook(const LogMessage& message) {
  std::shared_ptr<const InstalledHook> installed;
  {
    const std::lock_guard lock(_hookMutex);
    installed = _hook;
  }
  if (installed && installed->hook && severity(message.level) >= severity(installed->minimum)) {
    installed->hook(message.level, message);
  }
}

}  // namespace marrow
