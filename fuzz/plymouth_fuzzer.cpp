// A boot splash that answers anything, or nothing, and shows what it is asked to: what the display
// asks of it has the form that its daemon reads, and what the splash does not take stands on the
// terminal, each percentage once and none below the last.
#include "fuzz/fuzz.h"
#include "fuzz/splash.h"
#include "host/linux/linux_progress_display.h"

#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

using namespace marrow;

namespace {

class NoLog final : public LogHandle {
  void write(LogLevel /*level*/, std::string /*text*/, const LogOrigin& /*origin*/) override {}
};

std::string textOf(int file) {
  std::string text(1U << 16U, '\0');
  const ssize_t count = ::pread(file, text.data(), text.size(), 0);
  text.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return text;
}

void checkScreen(std::string_view text) {
  int last = -1;
  while (!text.empty()) {
    const std::string line(takeLine(text));
    const int percentage = std::atoi(line.c_str());
    expect(line == std::to_string(percentage) + "%", "a line is a percentage");
    expect(percentage > last && percentage <= 100, "percentages grow");
    last = percentage;
  }
}

void showAll(KQUnifiedProgressClient& client, std::string_view bytes) {
  client.showProgressUI();
  for (float value = 0; bytes.size() >= sizeof value; bytes.remove_prefix(sizeof value)) {
    std::memcpy(&value, bytes.data(), sizeof value);
    client.setProgress(value, false);
  }
}

}  // namespace

// A byte that says how many answers follow, the answers, and the values to show.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Splash splash;
  std::string_view rest = fuzzText(data, size);
  const std::size_t count = rest.empty() ? 0 : static_cast<unsigned char>(rest.front());
  rest.remove_prefix(rest.empty() ? 0 : 1);
  splash.answerWith(rest.substr(0, count));
  rest.remove_prefix(std::min(count, rest.size()));
  const int terminal = ::memfd_create("terminal", MFD_CLOEXEC);
  {
    NoLog log;
    LinuxProgressDisplay display(
        log, {.terminal = "/proc/self/fd/" + std::to_string(terminal), .splash = splash.address()});
    showAll(*display.createClient("Fuzz"), rest);
  }
  splash.finish();
  checkScreen(textOf(terminal));
  ::close(terminal);
  return 0;
}
