#include "benchmarks/comparison.h"
#include "benchmarks/logging/log_places.h"
#include "benchmarks/machine/child_result.h"
#include "benchmarks/spread.h"
#include "benchmarks/text_table.h"
#include "daemon/log_channels.h"

#include <algorithm>
#include <chrono>
#include <iostream>
#include <latch>

namespace marrow {

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;
using Microseconds = std::chrono::duration<double, std::micro>;

constexpr int kMessages = 4000;  // of all threads together
constexpr int kFewMessages = 80;
constexpr int kManyThreads = 8;

struct Series {
  const char* name;
  LogPlan plan;
  int threads = 1;
  std::vector<double> times;  // each the median of a round
  std::vector<double> rates;
};

struct Round {
  double microseconds;  // that a message takes its caller, the median
  double messages;      // a second, of all threads together
};

// Of one thread.
struct Messages {
  Clock::time_point begin;
  Clock::time_point end;
  std::vector<double> times;
};

void logMessages(Messages& messages) {
  const std::string name = "MWCommitBootObjectsOperation";
  messages.begin = Clock::now();
  auto before = messages.begin;
  for (double& time : messages.times) {
    log(operationsLogChannel(), LogLevel::standard, "MWOperationQueue: Performing (%@)...", name);
    messages.end = Clock::now();
    time = Microseconds(messages.end - before).count();
    before = messages.end;
  }
}

void logOnThreads(std::vector<Messages>& all) {
  std::latch ready(static_cast<std::ptrdiff_t>(all.size()));
  std::vector<std::thread> threads;
  threads.reserve(all.size());
  for (Messages& messages : all) {
    threads.emplace_back([&ready, &messages] {
      ready.arrive_and_wait();
      logMessages(messages);
    });
  }
  for (auto& thread : threads) {
    thread.join();
  }
}

Round summaryOf(const std::vector<Messages>& all) {
  auto begin = all.front().begin;
  auto end = all.front().end;
  std::vector<double> times;
  for (const Messages& messages : all) {
    begin = std::min(begin, messages.begin);
    end = std::max(end, messages.end);
    times.insert(times.end(), messages.times.begin(), messages.times.end());
  }
  return {spreadOf(times).median, static_cast<double>(times.size()) / Seconds(end - begin).count()};
}

Round runRound(const LogPlan& plan, std::size_t threads, std::size_t messages) {
  const LogPlaces places(plan);
  // The first one opens what there is.
  generalLogChannel().log(LogLevel::standard, "Daemon starting up...");
  std::vector<Messages> all(threads);
  for (Messages& one : all) {
    one.times.resize(messages / threads);
  }
  logOnThreads(all);
  return summaryOf(all);
}

std::vector<Series> allSeries() {
  const std::vector<std::pair<const char*, LogPlan>> plans = {
      {"nowhere", {}},
      {"console", {.console = true}},
      {"journal", {.journal = JournalPlan::read}},
      {"kernel's log", {.kernelLog = true}},
      {"console, journal", {.console = true, .journal = JournalPlan::read}},
      {"console, kernel's log", {.console = true, .kernelLog = true}},
      {"all: a journal that nobody reads",
       {.console = true, .journal = JournalPlan::unread, .kernelLog = true}}};
  std::vector<Series> all;
  for (const auto& [name, plan] : plans) {
    for (const int threads : {1, kManyThreads}) {
      all.push_back({name, plan, threads, {}, {}});
    }
  }
  return all;
}

void measure(Series& series, int messages) {
  const Round round = valueOfChild<Round>([&] {
    return runRound(series.plan, static_cast<std::size_t>(series.threads),
                    static_cast<std::size_t>(messages));
  });
  series.times.push_back(round.microseconds);
  series.rates.push_back(round.messages);
}

}  // namespace

void measureLogging(const BenchOptions& options) {
  std::vector<Series> all = allSeries();
  for (int round = 0; round < options.rounds; ++round) {
    for (Series& series : all) {
      measure(series, options.isShort ? kFewMessages : kMessages);
    }
  }
  std::cout << "## A message, the console a terminal, the kernel's log a file in memory\n\n";
  TextTable table({"goes to", "threads", "µs a message", "messages a second"});
  for (const Series& series : all) {
    table.add({series.name, std::to_string(series.threads), spreadText(spreadOf(series.times), 1),
               spreadText(spreadOf(series.rates), 0)});
  }
  table.print(std::cout);
  std::cout << std::endl;
}

}  // namespace marrow
