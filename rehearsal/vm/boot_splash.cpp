#include "rehearsal/vm/boot_splash.h"

#include "rehearsal/files.h"
#include "rehearsal/vm/watcher.h"

#include <algorithm>
#include <charconv>

namespace marrow::rehearsal {
namespace {

// Without a graphics driver the splash waits so many seconds for one before it takes the frame
// buffer of the firmware, which udev has to have seen by then: otherwise it would be text for good.
constexpr const char* kSettings = "[Daemon]\nTheme=spinner\nDeviceTimeout=1\n";
constexpr const char* kStart = "[Service]\nExecStartPre=/usr/bin/udevadm settle\n";

// Its debugging output is too much for a serial line, of which it loses what does not fit at once.
constexpr const char* kDebuggingOutput = "/run/marrow-splash.log";

// Hands on what is said of percentages. The output may end in the middle of a line for a moment.
constexpr const char* kRelay = R"(
until [ -e "$output" ]; do sleep 0.1; done
exec <"$output"
begun=
while :; do
  if read -r line; then
    case $begun$line in
      *'got system-update notification '*) echo "$begun$line" >/dev/ttyS1 ;;
    esac
    begun=
  else
    begun=$begun$line
    sleep 0.02
  fi
done
)";

// What it says of each percentage.
constexpr std::string_view kNotice = "got system-update notification ";

constexpr const char* kAsTold = "as it was told";

std::vector<int> toldTo(const VmBoot& boot) {
  std::vector<int> told;
  for (const ConsoleLine& line : boot.splash) {
    if (const auto percentage = splashPercentageIn(line.text)) {
      told.push_back(*percentage);
    }
  }
  return told;
}

std::string faultOf(const VmBoot& boot) {
  const std::vector<int> told = toldTo(boot);
  const std::vector<int>& shown = boot.run.percentages;
  if (told.empty()) {
    return "was told nothing";
  }
  if (!std::ranges::is_sorted(told)) {
    return "was told less than before";
  }
  const bool isKnown = std::ranges::all_of(
      shown, [&](int value) { return std::ranges::binary_search(told, value); });
  const bool isMoving = std::ranges::any_of(shown, [](int value) { return value > 0; });
  return isKnown && isMoving ? std::string() : "does not show what it was told";
}

}  // namespace

std::string bootSplashWords() {
  return std::string("splash plymouth.ignore-serial-consoles sysctl.kernel.printk=7") +
         " plymouth.debug=stream:" + kDebuggingOutput;
}

void installBootSplash(const std::filesystem::path& root) {
  writeFile(root / "etc/plymouth/plymouthd.conf", kSettings);
  writeFile(root / "etc/systemd/system/plymouth-start.service.d/settled.conf", kStart);
  installWatcher(root, "splash-relay", std::string("output=") + kDebuggingOutput + kRelay);
}

std::optional<int> splashPercentageIn(const std::string& line) {
  const std::size_t place = line.find(kNotice);
  if (place == std::string::npos) {
    return std::nullopt;
  }
  const char* const begin = line.data() + place + kNotice.size();
  int value = 0;
  const auto [end, error] = std::from_chars(begin, line.data() + line.size(), value);
  const bool isPercentage = error == std::errc() && end != line.data() + line.size() && *end == '%';
  return isPercentage ? std::optional(value) : std::nullopt;
}

Row rowOfSplash(const std::vector<VmBoot>& boots) {
  std::string seen = "was not there";
  for (const VmBoot& boot : boots) {
    if (boot.system == kBaseSystem) {
      const std::string fault = faultOf(boot);
      seen = fault.empty() ? kAsTold : fault;
    }
  }
  return {"run.splash", "boot splash", "", seen, kAsTold};
}

}  // namespace marrow::rehearsal
