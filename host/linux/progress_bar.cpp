#include "host/linux/progress_bar.h"

#include "host/linux/text_output.h"

#include <cerrno>
#include <sys/ioctl.h>
#include <unistd.h>

namespace marrow {

namespace {

// A terminal that does not say how large it is counts as one of the usual size.
constexpr ScreenSize kUsualScreen = {25, 80};

ScreenSize sizeOf(const Descriptor& terminal) {
  winsize size{};
  if (::ioctl(terminal.number(), TIOCGWINSZ, &size) != 0 || size.ws_row == 0 || size.ws_col == 0) {
    return kUsualScreen;
  }
  return {size.ws_row, size.ws_col};
}

bool takesFullScreen(const Descriptor& terminal) {
  return ::isatty(terminal.number()) == 1 && fitsProgressScreen(sizeOf(terminal));
}

}  // namespace

ProgressBar::~ProgressBar() {
  if (_output && _size != ScreenSize{}) {
    writeText(_output, endProgressScreen());
  }
}

int ProgressBar::open(const std::string& terminal) {
  _output = openTextOutput(terminal);
  return _output ? 0 : errno;
}

void ProgressBar::show(int percentage) {
  if (!_output) {
    return;
  }
  if (takesFullScreen(_output)) {
    draw(percentage);
  } else {
    writeText(_output, std::to_string(percentage) + "%\n");
  }
}

void ProgressBar::redraw(int percentage) {
  if (_output && takesFullScreen(_output)) {
    draw(percentage);
  }
}

void ProgressBar::draw(int percentage) {
  const ScreenSize size = sizeOf(_output);
  if (size != _size) {
    _size = size;
    writeText(_output, beginProgressScreen(size));
  }
  writeText(_output, progressScreen(size, _title, percentage));
}

}  // namespace marrow
