// How long the services of the system take where it counts: what happens at a swap of a large tree,
// reading a property list, telling something to the log.
#include "host/linux/linux_file_trees.h"
#include "host/linux/linux_log.h"
#include "host/linux/linux_task_queues.h"
#include "host/linux/property_list_reader.h"
#include "host/linux/property_list_writer.h"

#include <benchmark/benchmark.h>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdlib.h>
#include <string>
#include <system_error>

namespace marrow {

namespace {

namespace fs = std::filesystem;

class Folder {
 public:
  Folder() {
    if (::mkdtemp(_path.data()) == nullptr) {
      throw fs::filesystem_error("mkdtemp", _path, std::error_code(errno, std::generic_category()));
    }
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code error;
    fs::remove_all(_path, error);
  }
  std::string at(const std::string& name) const { return _path + '/' + name; }

 private:
  std::string _path = "/var/tmp/marrow-benchmark-XXXXXX";
};

class NoLog final : public LogHandle {
 public:
  void log(LogLevel /*level*/, const std::string& /*text*/) override {}
};

// 20,000 files in 200 folders.
void makeTree(const std::string& top) {
  for (int folder = 0; folder < 200; ++folder) {
    const std::string place = top + '/' + std::to_string(folder);
    fs::create_directories(place);
    for (int file = 0; file < 100; ++file) {
      std::ofstream(place + '/' + std::to_string(file)) << "text";
    }
  }
}

void SwapOfTwentyThousandFiles(benchmark::State& state) {
  const Folder folder;
  NoLog log;
  LinuxFileTrees trees(log);
  makeTree(folder.at("staged"));
  makeTree(folder.at("live"));
  for (auto _ : state) {
    if (trees.swap(folder.at("staged"), folder.at("live")) != 0) {
      state.SkipWithError("swap");
    }
  }
}
BENCHMARK(SwapOfTwentyThousandFiles)->Unit(benchmark::kMillisecond)->UseRealTime();

void RemovalOfTwentyThousandFiles(benchmark::State& state) {
  const Folder folder;
  NoLog log;
  LinuxFileTrees trees(log);
  for (auto _ : state) {
    state.PauseTiming();
    makeTree(folder.at("old"));
    state.ResumeTiming();
    if (trees.removeRecursively(folder.at("old")) != 0) {
      state.SkipWithError("removal");
    }
  }
}
BENCHMARK(RemovalOfTwentyThousandFiles)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(5);

PropertyListDictionary largeList(std::int64_t keys) {
  PropertyListDictionary list;
  for (std::int64_t number = 0; number < keys; ++number) {
    list.set("variable-" + std::to_string(number),
             PropertyListValue("the value of " + std::to_string(number)));
  }
  return list;
}

void ReadingAPropertyList(benchmark::State& state) {
  std::string problem;
  const auto text = writePropertyList(largeList(state.range(0)), problem);
  for (auto _ : state) {
    benchmark::DoNotOptimize(readPropertyList(*text, problem));
  }
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text->size()));
}
BENCHMARK(ReadingAPropertyList)->Arg(100)->Arg(10000);

void WritingAPropertyList(benchmark::State& state) {
  std::string problem;
  const PropertyListDictionary list = largeList(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(writePropertyList(list, problem));
  }
}
BENCHMARK(WritingAPropertyList)->Arg(100)->Arg(10000);

void LoggingAText(benchmark::State& state) {
  const Folder folder;
  std::ofstream(folder.at("kmsg"));
  LinuxLog log({folder.at("kmsg"), folder.at("none")});
  const auto channel = log.createHandle("com.corvane.Marrow", "Operations");
  const std::string text(static_cast<std::size_t>(state.range(0)), 'x');
  for (auto _ : state) {
    channel->log(LogLevel::standard, text);
  }
}
BENCHMARK(LoggingAText)->Arg(80)->Arg(8000);

void ATaskThereAndBack(benchmark::State& state) {
  LinuxTaskQueues queues;
  const auto queue = queues.createSerialQueue("benchmark");
  for (auto _ : state) {
    queue->sync([] {});
  }
}
BENCHMARK(ATaskThereAndBack)->UseRealTime();

}  // namespace

}  // namespace marrow
