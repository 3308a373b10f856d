// Property lists as text, and replaced in a file on ext4.
#include "benchmarks/no_log.h"
#include "benchmarks/scratch_disk.h"
#include "host/linux/linux_property_list_files.h"
#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_writer.h"

#include <benchmark/benchmark.h>
#include <cstdint>
#include <filesystem>
#include <string>

namespace marrow {

namespace {

PropertyListDictionary listOf(std::int64_t keys) {
  PropertyListDictionary list;
  for (std::int64_t number = 0; number < keys; ++number) {
    list.set("variable-" + std::to_string(number),
             PropertyListValue("the value of " + std::to_string(number)));
  }
  return list;
}

void ReadingAPropertyList(benchmark::State& state) {
  std::string problem;
  const auto text = writePropertyList(listOf(state.range(0)), problem);
  for (auto _ : state) {
    benchmark::DoNotOptimize(readPropertyList(*text, problem));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text->size()));
}
BENCHMARK(ReadingAPropertyList)->ArgName("keys")->Arg(100)->Arg(10000);

void WritingAPropertyList(benchmark::State& state) {
  std::string problem;
  const PropertyListDictionary list = listOf(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(writePropertyList(list, problem));
  }
}
BENCHMARK(WritingAPropertyList)->ArgName("keys")->Arg(100)->Arg(10000);

// Durably: most of it is the medium's.
void ReplacingAPropertyListFile(benchmark::State& state) {
  const std::string path = scratchDisk().at("nvram.plist");
  NoLog log;
  LinuxPropertyListFiles files(log);
  const PropertyListDictionary list = listOf(100);
  for (auto _ : state) {
    if (!files.writeDictionary(list, path)) {
      state.SkipWithError("write");
    }
  }
  std::filesystem::remove(path);
}
BENCHMARK(ReplacingAPropertyListFile)->Unit(benchmark::kMicrosecond)->UseRealTime();

}  // namespace

}  // namespace marrow
