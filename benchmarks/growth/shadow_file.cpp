#include "benchmarks/curves/curve.h"
#include "benchmarks/growth/growth.h"
#include "benchmarks/memory_folder.h"
#include "benchmarks/no_log.h"
#include "benchmarks/stopwatch.h"
#include "host/linux/linux_property_list_files.h"

#include <fstream>
#include <stdexcept>

namespace marrow {

namespace {

constexpr std::size_t kEntry = 100;  // bytes
constexpr std::size_t kFrame = 200;  // bytes around the entries
constexpr char kMetrics[] = "OTA-migrator-metrics";
constexpr char kFileOnly[] = "brask-file-only-vars";

std::string entry(std::size_t number) {
  std::string text = "<key>" + std::to_string(number) + "</key><string>";
  const std::string end = "</string>\n";
  return text + std::string(kEntry - text.size() - end.size(), 'v') + end;
}

std::string entries(std::size_t count) {
  std::string text;
  for (std::size_t number = 0; number < count; ++number) {
    text += entry(number);
  }
  return text;
}

// Half of the variables are those that only the file holds.
void makeShadowFile(const std::string& path, std::size_t bytes) {
  const std::string half = entries((bytes - kFrame) / kEntry / 2);
  std::ofstream file(path);
  file << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<plist version=\"1.0\">\n<dict>\n"
       << half << "<key>" << kFileOnly << "</key>\n<dict>\n"
       << half << "</dict>\n</dict>\n</plist>\n";
  if (!file.flush()) {
    throw std::runtime_error("Cannot write " + path);
  }
}

// As when the metrics are handed over.
void change(PropertyListDictionary& variables, const std::string& value) {
  variables.set(kMetrics, value);
  if (auto* const fileOnly = variables.find(kFileOnly)) {
    fileOnly->as<PropertyListDictionary>()->set(kMetrics, value);
  }
}

std::vector<double> measureOnce(const std::string& path, int round) {
  NoLog log;
  LinuxPropertyListFiles files(log);
  std::optional<PropertyListDictionary> variables;
  const double reading = millisecondsOf([&] { variables = files.readDictionary(path, nullptr); });
  if (!variables) {
    throw std::runtime_error("Cannot read " + path);
  }
  const double changing = millisecondsOf([&] { change(*variables, std::to_string(round)); });
  const double writing = millisecondsOf([&] {
    if (!files.writeDictionary(*variables, path)) {
      throw std::runtime_error("Cannot write " + path);
    }
  });
  return {reading, changing, writing};
}

}  // namespace

void measureShadowFile(const BenchOptions& options) {
  const std::vector<CurveSize> sizes = {
      {1e3, "1 KB"}, {1e4, "10 KB"}, {1e5, "100 KB"}, {1e6, "1 MB"}, {1e7, "10 MB"}};
  const MemoryFolder folder;
  for (const auto& size : sizes) {
    makeShadowFile(folder.at(size.label), static_cast<std::size_t>(size.size));
  }
  Curve curve({"What the shadow file costs, by its size (in memory, where a flush costs nothing)",
               "size of the file",
               {{"shadow-file", "The shadow file, by its size", "ms", "time, ms"}}},
              sizes,
              {{"reading it", "ms", 3},
               {"changing one value", "ms", 4},
               {"writing it beside, renaming it over", "ms", 3}});
  int round = 0;
  curve.measure(options, [&](std::size_t size) {
    return measureOnce(folder.at(sizes[size].label), ++round);
  });
  curve.present(options);
}

}  // namespace marrow
