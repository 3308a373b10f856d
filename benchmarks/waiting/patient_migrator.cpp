// A migrator that takes a minute. Built twice: one reports its progress a hundred times a second,
// one never does. The daemon asks for it as `-g FIFO` (its other arguments do not matter here).
#include <fcntl.h>
#include <string>
#include <thread>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;

constexpr int kReports = 6000;
constexpr auto kPause = 10ms;

int openFIFO(int count, char** words) {
  for (int at = 1; at + 1 < count; ++at) {
    if (std::string(words[at]) == "-g") {
      return ::open(words[at + 1], O_WRONLY | O_CLOEXEC);
    }
  }
  return -1;
}

}  // namespace

int main(int argc, char** argv) {
  if (!MARROW_MIGRATOR_REPORTS) {
    std::this_thread::sleep_for(kReports * kPause);
    return 0;
  }
  const int progress = openFIFO(argc, argv);
  auto next = std::chrono::steady_clock::now();
  for (int report = 0; report < kReports; ++report) {
    const std::string line = std::to_string(report * 100 / kReports) + "\n";
    if (::write(progress, line.data(), line.size()) < 0) {
      return 1;
    }
    next += kPause;
    std::this_thread::sleep_until(next);
  }
  return 0;
}
