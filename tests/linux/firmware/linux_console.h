// A virtual terminal of the kernel that is nobody's screen: what its console makes of what is
// written is read back from the kernel (vcs(4)).
#pragma once

#include "host/linux/descriptor.h"

#include <string>
#include <string_view>
#include <vector>

namespace marrow {

class LinuxConsole {
 public:
  // Clean, in the character set that is asked for.
  explicit LinuxConsole(bool utf8);
  LinuxConsole(const LinuxConsole&) = delete;
  LinuxConsole& operator=(const LinuxConsole&) = delete;
  ~LinuxConsole();

  const std::string& path() const { return _path; }

  // As another program, or the kernel, would.
  void write(std::string_view text) const;

  // The rows, without blanks at their ends. A byte for each character cell.
  std::vector<std::string> rows() const;
  // How many cells of a row, counted from 0, are shown in reverse.
  int reversedCells(int row) const;

  // KD_TEXT or KD_GRAPHICS (ioctl_console(2)).
  int mode() const;
  void setMode(int mode) const;

 private:
  struct Picture {
    int columns = 0;
    std::string cells;  // two bytes each: the character and how it looks
  };
  Picture picture() const;

  int _number = 0;
  Descriptor _terminal;
  std::string _path;
};

}  // namespace marrow
