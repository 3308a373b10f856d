#include "host/linux/journal_fields.h"

#include "host/linux/message_ids.h"

#include <string>
#include <syslog.h>

namespace marrow {

namespace {

void addOrigin(JournalEntry& entry, const LogOrigin& origin) {
  if (origin.event != LogEvent::none) {
    entry.add("MESSAGE_ID", messageID(origin.event));
  }
  if (origin.place.line != 0) {
    entry.add("CODE_FILE", origin.place.file);
    entry.add("CODE_LINE", std::to_string(origin.place.line));
    entry.add("CODE_FUNC", origin.place.function);
  }
}

}  // namespace

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

JournalEntry journalEntry(const LogMessage& message) {
  JournalEntry entry;
  entry.add("MESSAGE", message.text);
  entry.add("PRIORITY", std::to_string(syslogSeverity(message.level)));
  entry.add("SYSLOG_FACILITY", std::to_string(LOG_FAC(LOG_DAEMON)));
  entry.add("SYSLOG_IDENTIFIER", "marrowd");
  if (message.subsystem) {
    entry.add("SUBSYSTEM", *message.subsystem);
  }
  entry.add("CATEGORY", message.category);
  addOrigin(entry, message.origin);
  return entry;
}

}  // namespace marrow
