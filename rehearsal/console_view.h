// What a person sees while a machine runs: its console as the daemon writes it and, apart from it,
// the progress bar.
#pragma once

#include <chrono>
#include <string>
#include <string_view>

namespace marrow::rehearsal {

// On a terminal the bar stays on the last line; elsewhere each new percentage is a line of its own.
class ConsoleView {
 public:
  struct Look {
    bool terminal = false;
    bool colours = false;
    // Says nothing at all.
    bool quiet = false;
  };

  explicit ConsoleView(Look look) : _look(look) {}

  // Asks standard output what it is. NO_COLOR (no-color.org) is honoured.
  static Look lookOfStandardOutput();

  // A line of the rehearsal's own, between those of the console.
  void say(std::string_view text);

  void consoleLine(std::chrono::milliseconds since, std::string_view text);
  void percentage(int percent);

  // Leaves the bar's last state standing and goes on below it.
  void finish();

  // The text in the colour (an SGR code such as "32") where colours are wanted.
  std::string coloured(std::string_view text, const char* code) const;

 private:
  void printLine(const std::string& line);
  void drawBar() const;

  Look _look;
  int _percent = -1;
};

}  // namespace marrow::rehearsal
