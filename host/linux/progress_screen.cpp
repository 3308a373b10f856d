#include "host/linux/progress_screen.h"

#include <algorithm>
#include <string_view>

namespace marrow {

namespace {

constexpr ScreenSize kSmallestScreen = {9, 24};
constexpr int kWidestBar = 40;  // cells; a picture of the screen is searched for just so many
constexpr std::string_view kNotice = "Finishing the system update. Keep the machine on.";

// Ends a sequence that somebody has left half written, keeps the cursor with its look and character
// set, and has places counted from the top of the screen.
constexpr std::string_view kTakeCursor = "\030\0337\033[?6l\033(B\017\033[0m";
constexpr std::string_view kGiveCursorBack = "\0338";
constexpr std::string_view kWholeScreenScrolls = "\033[r";
// Moving down stops at the bottom row and keeps the column.
constexpr std::string_view kToBottomRow = "\033[999B";

int regionTop(ScreenSize size) { return size.rows - std::max(3, size.rows / 3) + 1; }

std::string cursorTo(int row, int column) {
  return "\033[" + std::to_string(row) + ";" + std::to_string(column) + "H";
}

std::string scrollRegion(ScreenSize size) {
  return "\033[" + std::to_string(regionTop(size)) + ";" + std::to_string(size.rows) + "r";
}

std::string centered(ScreenSize size, int row, std::string_view text) {
  const auto room = static_cast<std::size_t>(size.columns - 1);
  const std::string_view part = text.substr(0, room);
  const int left = (size.columns - static_cast<int>(part.size())) / 2;
  return cursorTo(row, left + 1).append(part);
}

// What is no printable ASCII character is told as "?", one for each character of UTF-8.
std::string printable(const std::string& text) {
  std::string clean;
  for (const char byte : text) {
    const auto value = static_cast<unsigned char>(byte);
    if (value >= ' ' && value < 0x7f) {
      clean += byte;
    } else if ((value & 0xc0U) != 0x80U) {
      clean += '?';
    }
  }
  return clean;
}

std::string bar(ScreenSize size, int row, int percentage) {
  const int width = std::min(kWidestBar, size.columns - 4);
  const auto full = static_cast<std::size_t>(width * percentage / 100);
  const auto rest = static_cast<std::size_t>(width) - full;
  return cursorTo(row, (size.columns - width - 2) / 2 + 1) + "[\033[7m" + std::string(full, ' ') +
         "\033[27m" + std::string(rest, '.') + "]";
}

}  // namespace

bool fitsProgressScreen(ScreenSize size) {
  return size.rows >= kSmallestScreen.rows && size.columns >= kSmallestScreen.columns;
}

std::string beginProgressScreen(ScreenSize size) {
  return "\030\033[0m" + scrollRegion(size) + "\033[2J" + cursorTo(size.rows, 1);
}

std::string progressScreen(ScreenSize size, const std::string& title, int percentage) {
  const int last = regionTop(size) - 1;
  const int middle = last / 2 + 1;
  std::string text(kTakeCursor);
  text += scrollRegion(size);
  text += cursorTo(last, size.columns) + "\033[1J";  // all above is cleared
  text += centered(size, middle - 3, printable(title));
  text += centered(size, middle - 2, kNotice);
  text += bar(size, middle, percentage);
  text += centered(size, middle + 1, std::to_string(percentage) + "%");
  return text.append(kGiveCursorBack).append(kToBottomRow);
}

std::string endProgressScreen() {
  return std::string(kTakeCursor).append(kWholeScreenScrolls).append(kGiveCursorBack);
}

}  // namespace marrow
