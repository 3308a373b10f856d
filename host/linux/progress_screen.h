// The full-screen progress display of a text terminal, as what has to be written to it. Plain ASCII
// and reverse video alone, which every console shows alike, whatever it takes for its character
// set. The escape sequences are those of console_codes(4).
#pragma once

#include <string>

namespace marrow {

struct ScreenSize {
  int rows = 0;
  int columns = 0;

  bool operator==(const ScreenSize& other) const = default;
};

// Whether the display is readable there. 80 by 25 is.
bool fitsProgressScreen(ScreenSize size);

// Clears the terminal. Its lower part becomes a scroll region that takes what others write: their
// lines begin at the bottom and scroll up, and never reach the display above.
std::string beginProgressScreen(ScreenSize size);

// The display. It leaves the cursor where the others have left it, on the bottom row, and repairs
// what they may have done to the display or to the scroll region. Less than 2 KiB, which a terminal
// takes in one piece, and free of line ends. `percentage` is from 0 to 100.
std::string progressScreen(ScreenSize size, const std::string& title, int percentage);

// Gives the whole terminal back to the others.
std::string endProgressScreen();

}  // namespace marrow
