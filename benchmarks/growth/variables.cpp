#include "benchmarks/curves/curve.h"
#include "benchmarks/growth/growth.h"
#include "benchmarks/memory_folder.h"
#include "benchmarks/no_log.h"
#include "benchmarks/stopwatch.h"
#include "host/linux/linux_firmware_variables.h"

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace marrow {

namespace {

constexpr int kRepeats = 101;
constexpr double kMicroseconds = 1000;

void writeVariable(const std::string& folder, const std::string& name) {
  std::ofstream file(folder + '/' + name + '-' + kMarrowVendor, std::ios::binary);
  file << std::string("\7\0\0\0", 4) << "some value of the firmware's";
  if (!file.flush()) {
    throw std::runtime_error("Cannot write the variable " + name);
  }
}

void makeStore(const std::string& folder, int count) {
  std::filesystem::create_directory(folder);
  for (int number = 0; number < count; ++number) {
    writeVariable(folder, "Variable" + std::to_string(number));
  }
}

// The median, so that who takes the processor away for a moment does not count.
template <typename Work>
double microsecondsOf(const Work& work) {
  std::vector<double> times;
  for (int repeat = 0; repeat < kRepeats; ++repeat) {
    times.push_back(millisecondsOf([&] { work(repeat); }) * kMicroseconds);
  }
  return spreadOf(times).median;
}

void check(bool done) {
  if (!done) {
    throw std::runtime_error("The store of firmware variables does not work.");
  }
}

std::vector<double> measureOnce(const std::string& folder, int round) {
  NoLog log;
  EFIVariableStore store(log, folder);
  LinuxFirmwareVariables variables(store, log);
  const double reading =
      microsecondsOf([&](int) { check(variables.string("Variable7") != std::nullopt); });
  const double missing = microsecondsOf([&](int) { check(!variables.string("postota-sim-step")); });
  const double setting = microsecondsOf([&](int repeat) {
    const std::string value = std::to_string(round) + " and " + std::to_string(repeat);
    check(variables.setString(value, "OTA-migrator-metrics", std::nullopt));
  });
  return {reading, missing, setting};
}

}  // namespace

void measureVariables(const BenchOptions& options) {
  const std::vector<CurveSize> sizes = {
      {10, "10"}, {100, "100"}, {1'000, "1,000"}, {10'000, "10,000"}};
  const MemoryFolder folder;
  for (const auto& size : sizes) {
    makeStore(folder.at(size.label), static_cast<int>(size.size));
  }
  Curve curve(
      {"What the firmware's variables cost, by their number (files in memory; nothing lists them)",
       "variables in the store",
       {{"variables", "Firmware variables, by their number", "µs", "time, µs"}}},
      sizes,
      {{"reading one", "µs"}, {"asking for one that is missing", "µs"}, {"setting one", "µs"}});
  int round = 0;
  curve.measure(options, [&](std::size_t size) {
    return measureOnce(folder.at(sizes[size].label), ++round);
  });
  curve.present(options);
}

}  // namespace marrow
