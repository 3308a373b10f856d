#include "benchmarks/logging/log_places.h"

#include "daemon/console_mirror.h"
#include "daemon/log_channels.h"
#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <cstring>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>

namespace marrow {

namespace {

constexpr const char* kJournalName = "/journal";
constexpr const char* kQueueLimit = "/proc/sys/net/unix/max_dgram_qlen";

// What stands in place of /dev/kmsg, and of the kernel's switch.
KernelLog::Places kernelLogPlaces(const std::string& folder, bool isKept) {
  const std::string records = folder + "/kmsg";
  if (isKept) {
    rehearsal::writeFile(records, "");
  }
  return {isKept ? records : "/dev/null", folder + "/none"};
}

// Until the journal's queue (unix(7)) is full and its patience is over, which takes a second.
void fillJournal() {
  const int room = std::stoi(rehearsal::readFile(kQueueLimit).value_or("10"));
  for (int count = 0; count < room + 2; ++count) {
    generalLogChannel().log(LogLevel::debug, "nobody reads this");
  }
}

}  // namespace

LogPlaces::LogPlaces(const LogPlan& plan)
    : _folder(_workplace.folder("log")),
      _waits(_noLog),
      _files(_waits),
      _log(_folder + kJournalName, kernelLogPlaces(_folder, plan.kernelLog)) {
  useLogService(&_log);
  if (plan.journal != JournalPlan::absent) {
    openJournal(plan.journal == JournalPlan::read);
  }
  if (plan.console) {
    mirrorToConsole();
  }
}

LogPlaces::~LogPlaces() { useLogService(nullptr); }

void LogPlaces::openJournal(bool isRead) {
  _journal = rehearsal::Descriptor(
      rehearsal::checked(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0), "make a socket"));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = _folder + kJournalName;
  std::memcpy(address.sun_path, path.c_str(), path.size());
  rehearsal::checked(
      ::bind(_journal.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
      "listen as a journal");
  if (isRead) {
    _journalReader.emplace(_journal.number());
  } else {
    fillJournal();
  }
}

// Only this process sees the terminal there.
void LogPlaces::mirrorToConsole() {
  rehearsal::checked(::mount(_console.path().c_str(), "/dev/console", nullptr, MS_BIND, nullptr),
                     "put a terminal at /dev/console");
  _consoleReader.emplace(_console.descriptor());
  installConsoleMirror(_log, _files);
}

}  // namespace marrow
