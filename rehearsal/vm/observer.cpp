#include "rehearsal/vm/observer.h"

#include "rehearsal/vm/watcher.h"

#include <algorithm>
#include <cstdio>
#include <optional>

namespace marrow::rehearsal {
namespace {

// Resident memory in KiB.
struct Use {
  unsigned threads = 0;
  unsigned descriptors = 0;
  unsigned resident = 0;
};

constexpr Use kBounds{.threads = 8, .descriptors = 40, .resident = 16 * 1024};

constexpr const char* kMark = "observer:";
constexpr const char* kLine = "observer: threads %u descriptors %u resident %u";

constexpr const char* kProgram = R"(daemon() {
  for folder in /proc/[0-9]*; do
    read -r name <"$folder/comm" && [ "$name" = marrowd ] && return
  done 2>/dev/null
  return 1
}

look() {
  set -- "$folder"/fd/*
  descriptors=$#
  while read -r key value unit; do
    case $key in
      Threads:) threads=$value ;;
      VmHWM:) resident=$value ;;
    esac
  done <"$folder/status"
}

until daemon; do sleep 0.05; done
most_threads=0 most_descriptors=0 most_resident=0
while look; do
  grown=
  [ "$threads" -gt "$most_threads" ] && most_threads=$threads grown=yes
  [ "$descriptors" -gt "$most_descriptors" ] && most_descriptors=$descriptors grown=yes
  [ "$resident" -gt "$most_resident" ] && most_resident=$resident grown=yes
  [ -z "$grown" ] || echo "observer: threads $most_threads descriptors $most_descriptors" \
    "resident $most_resident" >/dev/ttyS0 # a splash takes what is written to the console
  sleep 0.05
done 2>/dev/null
)";

std::optional<Use> useIn(const std::string& line) {
  const std::size_t place = line.find(kMark);
  Use use;
  if (place == std::string::npos ||
      std::sscanf(line.c_str() + place, kLine,  // NOLINT(cert-err34-c): numbers of our own script
                  &use.threads, &use.descriptors, &use.resident) != 3) {
    return std::nullopt;
  }
  return use;
}

Use mostOf(const Use& a, const Use& b) {
  return {.threads = std::max(a.threads, b.threads),
          .descriptors = std::max(a.descriptors, b.descriptors),
          .resident = std::max(a.resident, b.resident)};
}

std::optional<Use> mostIn(const std::vector<VmBoot>& boots) {
  std::optional<Use> most;
  for (const VmBoot& boot : boots) {
    for (const auto& line : boot.run.console) {
      if (const std::optional<Use> use = useIn(line.text)) {
        most = mostOf(*use, most.value_or(Use{}));
      }
    }
  }
  return most;
}

bool isWithinBounds(const Use& use) {
  return use.threads <= kBounds.threads && use.descriptors <= kBounds.descriptors &&
         use.resident <= kBounds.resident;
}

std::string textOf(const Use& use) {
  return std::to_string(use.threads) + " threads, " + std::to_string(use.descriptors) +
         " descriptors, " + std::to_string(use.resident) + " KiB";
}

}  // namespace

void installObserver(const std::filesystem::path& root) {
  installWatcher(root, "observer", kProgram);
}

Row rowOfUse(const std::vector<VmBoot>& boots) {
  const std::optional<Use> most = mostIn(boots);
  const std::string seen = most ? textOf(*most) : "not seen";
  const bool fine = most && isWithinBounds(*most);
  return {"run.use", "most that marrowd used", "", seen,
          fine ? seen : "at most " + textOf(kBounds)};
}

}  // namespace marrow::rehearsal
