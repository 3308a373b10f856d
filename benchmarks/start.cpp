#include "benchmarks/comparison.h"
#include "benchmarks/spread.h"
#include "benchmarks/text_table.h"

#include <array>
#include <chrono>
#include <fcntl.h>
#include <iostream>
#include <spawn.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr int kStartsInRound = 40;

struct Start {
  double microseconds;
  double pageFaults;
};

// Outside a base system the daemon ends at once, without having looked at anything else: what is
// left is the loader's work, and that of its constructors.
Start startOnce(const std::string& program, int status) {
  std::string path = program;
  std::array<char*, 2> words = {path.data(), nullptr};
  posix_spawn_file_actions_t quiet{};
  ::posix_spawn_file_actions_init(&quiet);
  ::posix_spawn_file_actions_addopen(&quiet, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t process = 0;
  int ended = 0;
  rusage usage{};
  const auto start = std::chrono::steady_clock::now();
  if (::posix_spawn(&process, path.c_str(), &quiet, nullptr, words.data(), environ) != 0 ||
      ::wait4(process, &ended, 0, &usage) != process || WEXITSTATUS(ended) != status) {
    throw std::runtime_error("Cannot start " + program);
  }
  const std::chrono::duration<double, std::micro> time = std::chrono::steady_clock::now() - start;
  ::posix_spawn_file_actions_destroy(&quiet);
  return {time.count(), static_cast<double>(usage.ru_minflt + usage.ru_majflt)};
}

struct Series {
  std::string name;
  std::string program;
  int status;
  std::vector<double> times;  // each the median of a round
  Start last;
};

// The programs take turns, so that what slows one start down slows down all.
void measureRound(std::vector<Series>& all) {
  std::vector<std::vector<double>> times(all.size());
  for (int start = 0; start < kStartsInRound; ++start) {
    for (std::size_t at = 0; at < all.size(); ++at) {
      all[at].last = startOnce(all[at].program, all[at].status);
      times[at].push_back(all[at].last.microseconds);
    }
  }
  for (std::size_t at = 0; at < all.size(); ++at) {
    all[at].times.push_back(spreadOf(times[at]).median);
  }
}

}  // namespace

void compareStarts(const BenchOptions& options) {
  std::vector<Series> all = {{"libc and libstdc++ alone", MARROW_EMPTY_PROGRAM, 0, {}, {}},
                             {"marrowd", options.daemon, 77, {}, {}}};
  for (int round = 0; round < options.rounds; ++round) {
    measureRound(all);
  }
  std::cout << "## From the start of the program to its end, when there is nothing to do\n\n";
  TextTable table({"program", "µs", "of the first", "page faults"});
  for (const auto& series : all) {
    table.add({series.name, spreadText(spreadOf(series.times), 0),
               spreadText(spreadOf(ratios(series.times, all.front().times)), 2),
               numberText(series.last.pageFaults, 0)});
  }
  table.print(std::cout);
  std::cout << std::endl;
}

}  // namespace marrow
