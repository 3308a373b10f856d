#include "tests/host/in_memory_log.h"

#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

namespace marrow {

namespace {

const char* levelName(LogLevel level) {
  switch (level) {
    case LogLevel::standard:
      return "default";
    case LogLevel::info:
      return "info";
    case LogLevel::debug:
      return "debug";
    case LogLevel::error:
      return "error";
    case LogLevel::fault:
      return "fault";
  }
  return "unknown";
}

std::string callOf(const LogMessage& message) {
  const std::string category = message.category.empty() ? "" : "[" + message.category + "]";
  return std::string("Log.") + levelName(message.level) + category;
}

class InMemoryLogHandle : public LogHandle {
 public:
  InMemoryLogHandle(InMemoryLog& log, std::string subsystem, std::string category)
      : _log(log), _subsystem(std::move(subsystem)), _category(std::move(category)) {}

 private:
  void write(LogLevel level, std::string text, const LogOrigin& origin) override {
    _log.log({level, _subsystem, _category, std::move(text), origin});
  }

  InMemoryLog& _log;
  const std::string _subsystem;
  const std::string _category;
};

template <typename Predicate>
std::vector<std::string> textsWhere(const std::vector<LogMessage>& messages, Predicate predicate) {
  std::vector<std::string> texts;
  for (const LogMessage& message : messages) {
    if (predicate(message)) {
      texts.push_back(message.text);
    }
  }
  return texts;
}

}  // namespace

std::unique_ptr<LogHandle> InMemoryLog::createHandle(const std::string& subsystem,
                                                     const std::string& category) {
  _calls.note("LogService.createHandle", subsystem + " '" + category + "'");
  errno = ENOTTY;
  return std::make_unique<InMemoryLogHandle>(*this, subsystem, category);
}

LogHook InMemoryLog::setHook(LogLevel minimum, LogHook hook) {
  _calls.note("LogService.setHook", levelName(minimum));
  const std::lock_guard lock(_mutex);
  return std::exchange(_hook, Hook{minimum, std::move(hook)}).run;
}

std::optional<std::string_view> InMemoryLog::render(const LogMessage& message) {
  if (_calls.made("LogService.render", message.text)) {
    return std::nullopt;
  }
  return message.text;
}

void InMemoryLog::log(const LogMessage& message) {
  const int saved = errno;
  _calls.note(callOf(message), message.text);
  const Hook hook = keep(message);
  if (hook.run && severity(message.level) >= severity(hook.minimum)) {
    hook.run(message.level, message);
  }
  errno = saved;
}

InMemoryLog::Hook InMemoryLog::keep(const LogMessage& message) {
  const std::lock_guard lock(_mutex);
  if (!_calls.powerIsCut()) {
    _messages.push_back(message);
  }
  return _hook;
}

std::vector<LogMessage> InMemoryLog::messages() const {
  const std::lock_guard lock(_mutex);
  return _messages;
}

std::vector<std::string> InMemoryLog::texts() const {
  return textsWhere(messages(), [](const LogMessage&) { return true; });
}

std::vector<std::string> InMemoryLog::texts(LogLevel level) const {
  return textsWhere(messages(), [&](const LogMessage& message) { return message.level == level; });
}

std::vector<std::string> InMemoryLog::textsOf(std::string_view category) const {
  return textsWhere(messages(),
                    [&](const LogMessage& message) { return message.category == category; });
}

bool InMemoryLog::has(LogLevel level, std::string_view category, std::string_view text) const {
  const auto all = messages();
  return std::any_of(all.begin(), all.end(), [&](const LogMessage& message) {
    return message.level == level && message.category == category && message.text == text;
  });
}

bool InMemoryLog::has(LogLevel level, std::string_view text) const {
  const auto all = texts(level);
  return std::find(all.begin(), all.end(), text) != all.end();
}

void InMemoryLog::clear() {
  const std::lock_guard lock(_mutex);
  _messages.clear();
}

void InMemoryLog::dropHook() {
  const std::lock_guard lock(_mutex);
  _hook = {};
}

}  // namespace marrow
