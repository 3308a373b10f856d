#include "host/linux/linux_log.h"

#include "host/error_record.h"
#include "host/linux/errno_keeper.h"
#include "host/linux/journal_fields.h"
#include "host/linux/text_cut.h"

#include <cerrno>
#include <string_view>
#include <utility>

namespace marrow {

namespace {

class Channel final : public LogHandle {
 public:
  Channel(LinuxLog& log, std::string subsystem, std::string category)
      : _log(log), _subsystem(std::move(subsystem)), _category(std::move(category)) {}

 private:
  void write(LogLevel level, std::string text, const LogOrigin& origin) override {
    const ErrnoKeeper keeper;
    try {
      _log.log({level, _subsystem, _category, std::move(text), origin});
    } catch (...) {
      // No memory is left to tell it.
    }
  }

  LinuxLog& _log;
  const std::string _subsystem;
  const std::string _category;
};

std::string prefixFor(const std::string& category) {
  return category.empty() ? "marrowd: " : "marrowd[" + category + "]: ";
}

}  // namespace

LinuxLog::LinuxLog(const std::string& journalSocket, KernelLog::Places places)
    : _journal(journalSocket), _kernelLog(std::move(places)) {}

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

std::optional<std::string_view> LinuxLog::render(const LogMessage& message) { return message.text; }

void LinuxLog::log(const LogMessage& message) noexcept {
  const ErrnoKeeper keeper;
  try {
    record(message);
    callHook(message);
  } catch (...) {
    // No memory is left to tell it.
  }
}

void LinuxLog::record(const LogMessage& message) {
  if (message.text.size() <= kJournalTextLimit) {
    recordPart(message);
    return;
  }
  LogMessage part{message.level, message.subsystem, message.category, "", message.origin};
  for (std::string_view rest = message.text; !rest.empty(); rest.remove_prefix(part.text.size())) {
    part.text = cutText(rest, kJournalTextLimit);
    recordPart(part);
  }
}

void LinuxLog::recordPart(const LogMessage& message) {
  const JournalAnswer answer = _journal.send(journalEntry(message).bytes());
  if (answer == JournalAnswer::refused) {
    tellOfRefusal(errno);
  }
  if (answer != JournalAnswer::taken) {
    recordInKernel(message);
  }
}

void LinuxLog::recordInKernel(const LogMessage& message) {
  _kernelLog.write(syslogSeverity(message.level), prefixFor(message.category), message.text);
}

void LinuxLog::tellOfRefusal(int errorNumber) {
  if (!_toldOfRefusal.exchange(true)) {
    const LogMessage told{LogLevel::error, kHostSubsystem, "",
                          "The journal takes no messages: " + errorNumberText(errorNumber) +
                              ". What it does not take goes to the kernel's log."};
    recordInKernel(told);
    callHook(told);
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
