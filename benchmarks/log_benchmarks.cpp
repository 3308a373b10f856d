// What a message costs whoever logs it. The records go to a file, not to the machine's own log.
#include "benchmarks/scratch_disk.h"
#include "host/linux/linux_log.h"
#include "host/text_format.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>

namespace marrow {

namespace {

KernelLog::Places placesOnDisk() {
  const KernelLog::Places places{scratchDisk().at("kmsg"), scratchDisk().at("none")};
  std::ofstream(places.records, std::ios::trunc).flush();
  return places;
}

void FormattingAMessage(benchmark::State& state) {
  const std::string path = "/run/marrow/mnt/vda4-Xy12Zw/loam_migrator.log";
  const std::optional<std::string> absent;
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        formatText("Failed to copy (%@) -> (%@). %s %{tarn.errno}d", path, absent, "text", 28));
  }
}
BENCHMARK(FormattingAMessage);

// A log that nobody has used yet: the channel is made and the place of the records opened.
void TheFirstMessage(benchmark::State& state) {
  const KernelLog::Places places = placesOnDisk();
  for (auto _ : state) {
    LinuxLog log(scratchDisk().at("no-journal"), places);
    log.createHandle("com.corvane.Marrow", "")->log(LogLevel::standard, "Daemon starting up...");
  }
}
BENCHMARK(TheFirstMessage);

void LoggingAText(benchmark::State& state) {
  LinuxLog log(scratchDisk().at("no-journal"), placesOnDisk());
  const auto channel = log.createHandle("com.corvane.Marrow", "Operations");
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    channel->log(LogLevel::standard, text);
  }
  std::filesystem::resize_file(scratchDisk().at("kmsg"), 0);
}
BENCHMARK(LoggingAText)->ArgName("bytes")->Arg(80)->Arg(8000)->Iterations(10000);

}  // namespace

}  // namespace marrow
