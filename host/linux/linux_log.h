// The log of a Linux machine. Every message becomes an entry of the journal, with the fields of
// journal_fields.h; where there is no journal, or none that takes it, a record of the kernel's log,
// as "marrowd: TEXT", or "marrowd[CATEGORY]: TEXT" where the channel has a category.
#pragma once

#include "host/linux/journal_socket.h"
#include "host/linux/kernel_log.h"
#include "host/log.h"

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>

namespace marrow {

// The subsystem of what the host itself has to tell.
inline constexpr char kHostSubsystem[] = "com.corvane.Marrow.host";

// A text beyond this many bytes becomes several entries of the journal: it drops an entry that does
// not fit into one of its files, which are as small as 512 KiB where there is little memory
// (RuntimeMaxFileSize= in journald.conf(5)).
inline constexpr std::size_t kJournalTextLimit = 256UL * 1024;

// Must outlive its handles.
class LinuxLog final : public LogService {
 public:
  explicit LinuxLog(const std::string& journalSocket = kJournalSocket,
                    KernelLog::Places places = {});

  std::unique_ptr<LogHandle> createHandle(const std::string& subsystem,
                                          const std::string& category) override;
  LogHook setHook(LogLevel minimum, LogHook hook) override;
  std::optional<std::string_view> render(const LogMessage& message) override;

  // Writes the message, then calls the hook. Never fails and keeps errno. A journal that stops
  // taking messages is told of once, in the kernel's log.
  void log(const LogMessage& message) noexcept;

 private:
  struct InstalledHook {
    LogLevel minimum;
    LogHook hook;
  };

  void record(const LogMessage& message);
  void recordPart(const LogMessage& message);
  void recordInKernel(const LogMessage& message);
  void tellOfRefusal(int errorNumber);
  void callHook(const LogMessage& message);

  JournalSocket _journal;
  std::atomic<bool> _toldOfRefusal = false;
  KernelLog _kernelLog;
  std::mutex _hookMutex;
  std::shared_ptr<const InstalledHook> _hook;  // under _hookMutex
};

}  // namespace marrow
