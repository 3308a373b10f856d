// A message as an entry of the journal (systemd.journal-fields(7)):
//
//   MESSAGE             the text
//   PRIORITY            the severity of syslog(3)
//   SYSLOG_FACILITY     3, a daemon
//   SYSLOG_IDENTIFIER   "marrowd"
//   SUBSYSTEM, CATEGORY those of the channel; the general channel's category is empty
//   MESSAGE_ID          where the message is an event (message_ids.h)
//   CODE_FILE, CODE_LINE, CODE_FUNC   where it is logged
#pragma once

#include "host/linux/journal_entry.h"
#include "host/log.h"

namespace marrow {

// The severity of syslog(3), from 7 (debug) to 2 (fault).
int syslogSeverity(LogLevel level);

JournalEntry journalEntry(const LogMessage& message);

}  // namespace marrow
