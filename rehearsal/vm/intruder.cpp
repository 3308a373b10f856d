#include "rehearsal/vm/intruder.h"

#include "rehearsal/files.h"
#include "rehearsal/run_events.h"

#include <algorithm>

namespace marrow::rehearsal {
namespace {

constexpr const char* kIntruderUnitName = "marrow-intruder.service";
constexpr const char* kIntruderUnit =
    "[Unit]\nDefaultDependencies=no\n"
    "[Service]\nType=oneshot\nExecStart=/usr/lib/marrow/intruder\n";

// The log tells of a try a moment after it.
constexpr const char* kIntruderProgram = R"(
place=/run/intruder
say() { echo "intruder: $*" >/dev/console; }

told() {
  journalctl --sync
  journalctl --output=cat SUBSYSTEM=com.corvane.Marrow.host | while read -r line; do
    case $line in
      *' tried to mount '*) echo "$line" ;;
    esac
  done >"$place.told"
  count=0
  while read -r line; do count=$((count + 1)); done <"$place.told"
}

mkdir -p "$place"
for attempt in 1 2 3; do
  if mount "$node" "$place"; then
    say "got in"
    umount "$place"
  else
    say "was refused"
  fi
done
for look in 1 2 3 4 5 6 7 8 9 10; do
  told
  [ "$count" -lt 3 ] || break
  sleep 0.5
done
while read -r line; do say "was told of: $line"; done <"$place.told"
)";

long linesSaying(const std::vector<VmBoot>& boots, const std::string& words) {
  long count = 0;
  for (const VmBoot& boot : boots) {
    count += std::ranges::count_if(boot.run.console, [&](const ConsoleLine& line) {
      return line.text.find("intruder: " + words) != std::string::npos;
    });
  }
  return count;
}

std::string triesText(long refused, long inside, long told) {
  return std::to_string(refused) + " refused, " + std::to_string(inside) + " let in, told of " +
         std::to_string(told);
}

}  // namespace

std::string installIntruder(const std::filesystem::path& root, const std::string& node) {
  writeFile(root / "usr/lib/marrow/intruder", "#!/bin/sh\nnode=" + node + kIntruderProgram, 0755);
  writeFile(root / "etc/systemd/system" / kIntruderUnitName, kIntruderUnit);
  return std::string("systemctl start ") + kIntruderUnitName;
}

Row rowOfIntruder(const std::vector<VmBoot>& boots) {
  return {"run.intruder", "mounts of others", "",
          triesText(linesSaying(boots, "was refused"), linesSaying(boots, "got in"),
                    linesSaying(boots, "was told of: mount (")),
          triesText(3, 0, 3)};
}

}  // namespace marrow::rehearsal
