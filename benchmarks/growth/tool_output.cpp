#include "benchmarks/curves/curve.h"
#include "benchmarks/growth/growth.h"
#include "benchmarks/no_log.h"
#include "benchmarks/stopwatch.h"
#include "benchmarks/waiting/process_sample.h"
#include "host/linux/descriptor.h"
#include "host/linux/linux_task_launcher.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <malloc.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

using Values = std::array<double, 2>;  // milliseconds, KiB

constexpr double kPage = 4;  // KiB

double mostResident() {
  return static_cast<double>(sampleOf(::getpid()).value_or(ProcessSample()).mostKibibytes);
}

// False when the program fails, or less is kept of its output than there is room for.
bool collect(std::size_t bytes) {
  NoLog log;
  WaitWatch waits(log);
  LinuxTaskLauncher launcher(waits);
  const auto task =
      launcher.launch("/usr/bin/head", {"-c", std::to_string(bytes), "/dev/zero"}, nullptr);
  const auto output = task ? task->readOutputToEnd(nullptr) : std::nullopt;
  if (!output) {
    return false;
  }
  task->waitUntilExit();
  return task->terminationStatus() == 0 &&
         output->size() >= std::min(bytes, LinuxTaskLauncher::Settings().outputLimit);
}

[[noreturn]] void measureAndEnd(std::size_t bytes, int result) {
  const double before = mostResident();
  bool done = false;
  const double time = millisecondsOf([&] { done = collect(bytes); });
  const Values values = {time, std::max(mostResident() - before, kPage)};
  const bool told = ::write(result, values.data(), sizeof values) == sizeof values;
  ::_exit(done && told ? 0 : 1);
}

// In a process of its own, which has not yet had more memory than it has now.
std::vector<double> measureOnce(std::size_t bytes) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::runtime_error("Cannot make a pipe.");
  }
  const Descriptor reading(ends[0]);
  const Descriptor writing(ends[1]);
  ::malloc_trim(0);
  const pid_t child = ::fork();
  if (child == 0) {
    measureAndEnd(bytes, writing.number());
  }
  Values values{};
  int status = 0;
  if (::waitpid(child, &status, 0) != child || status != 0 ||
      ::read(reading.number(), values.data(), sizeof values) != sizeof values) {
    throw std::runtime_error("A program's output was not collected.");
  }
  return {values.begin(), values.end()};
}

}  // namespace

void measureToolOutput(const BenchOptions& options) {
  const std::vector<CurveSize> sizes = {{1e3, "1 KB"}, {1e4, "10 KB"}, {1e5, "100 KB"},
                                        {1e6, "1 MB"}, {1e7, "10 MB"}, {1e8, "100 MB"}};
  Curve curve({"What a tool's output costs, by its size (64 MiB of it are kept)",
               "output of the tool",
               {{"tool-output", "A tool's output, by its size", "ms", "time, ms"},
                {"tool-output-memory", "Memory for a tool's output, by its size", "KiB",
                 "resident memory, KiB"}}},
              sizes,
              {{"from its start to its collected end", "ms"},
               {"most resident memory beyond that before", "KiB", 0}});
  curve.measure(options, [&](std::size_t size) {
    return measureOnce(static_cast<std::size_t>(sizes[size].size));
  });
  curve.present(options);
}

}  // namespace marrow
