// The input as the migrator's metrics file, carried into the firmware and the shadow file of a
// whole machine in memory.
#include "daemon/daemon_manager.h"
#include "daemon/log_channels.h"
#include "daemon/process_entry.h"
#include "fuzz/fuzz.h"
#include "host/unicode.h"
#include "tests/host/default_machine.h"
#include "tests/host/in_memory_host.h"

#include <memory>
#include <optional>
#include <string>

using namespace marrow;

namespace {

constexpr char kVariable[] = "OTA-migrator-metrics";
constexpr std::size_t kMost = 1024;

struct Daemon {
  Daemon() {
    useLogService(&machine.log);
    manager = MWDaemonManager::init(daemonServices(machine.host()));
  }
  ~Daemon() { useLogService(nullptr); }
  Daemon(const Daemon&) = delete;
  Daemon& operator=(const Daemon&) = delete;

  InMemoryHost machine;
  std::shared_ptr<MWDaemonManager> manager;
};

// A new one every now and then: the machine in memory gets slower with what it has been through.
Daemon& freshDaemon() {
  constexpr int kRuns = 200;
  static std::unique_ptr<Daemon> daemon;
  static int runs = 0;
  if (runs++ % kRuns == 0) {
    daemon.reset();
    daemon = std::make_unique<Daemon>();
  }
  return *daemon;
}

// What is to be stored; absent when nothing is.
std::optional<std::string> expected(std::string_view file) {
  const std::string_view read = file.substr(0, kMost);
  const std::size_t end = read.find_last_not_of(" \t\n\v\f\r");
  if (end == std::string_view::npos) {
    return std::nullopt;
  }
  const std::string text(read.substr(0, end + 1).data(), read.substr(0, end + 1).size());
  const std::string upToZero = text.c_str();
  return isValidUTF8(upToZero) ? std::optional(upToZero) : std::nullopt;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Daemon& daemon = freshDaemon();
  InMemoryHost& machine = daemon.machine;
  const std::string file(fuzzText(data, size));
  machine.firmware.set(kVariable, "old");
  machine.fileSystem.write(kMigratorMetrics, file);
  daemon.manager->_writeLoamMigratorMetricsToNVRAMForPath(kMigratorMetrics, std::nullopt);

  const auto wanted = expected(file);
  const auto stored = machine.firmware.value(kVariable);
  expect(stored.value_or("") == wanted.value_or("old"), "the variable holds what is to be stored");
  expect(!stored || stored->size() <= kMost, "a variable of at most 1024 bytes");
  expect(machine.fileSystem.exists(kMigratorMetrics) != wanted.has_value(),
         "the file goes when it was carried on, and only then");
  expect(machine.files.openPaths().empty(), "the file is closed");
  machine.journal.clear();
  machine.log.clear();
  return 0;
}
