// A progress display on a text terminal.
#pragma once

#include "host/linux/descriptor.h"
#include "host/linux/progress_screen.h"

#include <string>

namespace marrow {

// Shows whole percentages: on a terminal as a full screen, and on what is none, or is too small to
// read, as a line "N%" each. Gives the screen back when it ends. One thread at a time.
class ProgressBar {
 public:
  explicit ProgressBar(std::string title) : _title(std::move(title)) {}
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar();

  // 0, or an errno value; then nothing is shown.
  int open(const std::string& terminal);

  // `percentage` is from 0 to 100. A screen that does not take it within a second stays as it is.
  void show(int percentage);

  // Repairs a full screen, whatever others have written to the terminal.
  void redraw(int percentage);

 private:
  void draw(int percentage);

  const std::string _title;
  Descriptor _output;
  ScreenSize _size;  // that was drawn for; nothing was while it is 0
};

}  // namespace marrow
