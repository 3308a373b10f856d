#include "rehearsal/console_view.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

constexpr int kBarWidth = 50;
constexpr const char* kClearLine = "\r\033[K";
constexpr const char* kDim = "2";

// What a daemon writes must not steer the person's terminal.
std::string printable(std::string_view text) {
  std::string result;
  for (const char character : text) {
    const auto value = static_cast<unsigned char>(character);
    result += value < ' ' || value == 0x7f ? '.' : character;
  }
  return result;
}

std::string seconds(std::chrono::milliseconds time) {
  std::array<char, 32> text{};
  std::snprintf(text.data(), text.size(), "%8.3f", static_cast<double>(time.count()) / 1000);
  return text.data();
}

}  // namespace

ConsoleView::Look ConsoleView::lookOfStandardOutput() {
  const bool terminal = ::isatty(STDOUT_FILENO) == 1;
  const char* refused = std::getenv("NO_COLOR");  // NOLINT(concurrency-mt-unsafe): nobody sets
  return {.terminal = terminal, .colours = terminal && (refused == nullptr || *refused == '\0')};
}

std::string ConsoleView::coloured(std::string_view text, const char* code) const {
  const std::string plain(text);
  return _look.colours ? std::string("\033[") + code + 'm' + plain + "\033[0m" : plain;
}

void ConsoleView::say(std::string_view text) { printLine(std::string(text)); }

void ConsoleView::consoleLine(std::chrono::milliseconds since, std::string_view text) {
  printLine(coloured('[' + seconds(since) + ']', kDim) + ' ' + printable(text));
}

void ConsoleView::percentage(int percent) {
  if (percent == _percent || _look.quiet) {
    return;
  }
  _percent = percent;
  if (_look.terminal) {
    drawBar();
  } else {
    std::printf("progress: %d%%\n", percent);
  }
  std::fflush(stdout);
}

void ConsoleView::finish() {
  if (_look.terminal && !_look.quiet && _percent >= 0) {
    std::printf("\n");
  }
  _percent = -1;
  std::fflush(stdout);
}

void ConsoleView::printLine(const std::string& line) {
  if (_look.quiet) {
    return;
  }
  std::printf("%s%s\n", _look.terminal ? kClearLine : "", line.c_str());
  if (_look.terminal && _percent >= 0) {
    drawBar();
  }
  std::fflush(stdout);
}

void ConsoleView::drawBar() const {
  const int full = _percent * kBarWidth / 100;
  const std::string bar = std::string(static_cast<std::size_t>(full), '#') +
                          std::string(static_cast<std::size_t>(kBarWidth - full), '.');
  std::printf("%sprogress [%s] %3d%%", kClearLine, bar.c_str(), _percent);
}

}  // namespace marrow::rehearsal
