#include "rehearsal/vm/lock_watch.h"

#include "rehearsal/vm/watcher.h"

#include <string>

namespace marrow::rehearsal {
namespace {

constexpr const char* kLocksMark = "locks: ";
constexpr const char* kAllLocks = "idle idle sleep";

// logind keeps a file for each lock (systemd's internal format: WHAT, MODE, WHO and more, a line
// each) beside the FIFO that its owner holds.
constexpr const char* kListLocks = R"(list() {
  for lock in /run/systemd/inhibit/*[0-9]; do
    [ -f "$lock" ] || continue
    what='' mode=''
    while IFS== read -r key value; do
      case $key in
        WHAT) what=$value ;;
        MODE) mode=$value ;;
      esac
    done <"$lock"
    [ "$mode" != block ] || echo "$what"
  done | sort | while read -r what; do printf ' %s' "$what"; done
}

last=
while :; do
  now=$(list)
  [ "$now" = "$last" ] || echo "locks:${now:- none}" >/dev/console
  last=$now
  sleep 0.05
done 2>/dev/null
)";

// All that was told, in order.
std::vector<std::string> locksIn(const std::vector<VmBoot>& boots) {
  std::vector<std::string> all;
  for (const VmBoot& boot : boots) {
    for (const ConsoleLine& line : boot.run.console) {
      if (const std::size_t place = line.text.find(kLocksMark); place != std::string::npos) {
        all.push_back(line.text.substr(place + std::string_view(kLocksMark).size()));
      }
    }
  }
  return all;
}

std::string courseOf(const std::vector<std::string>& locks) {
  std::string last = "none";
  for (const std::string& now : locks) {
    if (now.size() < last.size() && last != "none") {
      return last.append(", then ").append(now);
    }
    last = now;
  }
  return last;
}

}  // namespace

void installLockWatch(const std::filesystem::path& root) {
  installWatcher(root, "lock-watch", kListLocks);
}

Row rowOfLocks(const std::vector<VmBoot>& boots) {
  return {"run.locks", "locks against sleep", "", courseOf(locksIn(boots)), kAllLocks};
}

}  // namespace marrow::rehearsal
