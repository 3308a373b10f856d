#include "tests/linux/firmware/linux_console.h"

#include "host/linux/small_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/kd.h>
#include <linux/vt.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace marrow {

namespace {

constexpr int kFirstSpare = 40;
constexpr int kLastSpare = 60;

// A terminal that no other test holds at the same time.
Descriptor takeSpareTerminal(int& number) {
  for (number = kFirstSpare; number <= kLastSpare; ++number) {
    Descriptor terminal(
        ::open(("/dev/tty" + std::to_string(number)).c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    if (terminal && ::flock(terminal.number(), LOCK_EX | LOCK_NB) == 0) {
      return terminal;
    }
  }
  throw std::runtime_error("this kernel has no virtual terminal to spare, or we are not root");
}

// What a cell looks like that is not reversed: light grey on black.
constexpr unsigned char kUsualLook = 0x07;

}  // namespace

LinuxConsole::LinuxConsole(bool utf8)
    : _terminal(takeSpareTerminal(_number)), _path("/dev/tty" + std::to_string(_number)) {
  setMode(KD_TEXT);
  write(utf8 ? "\033c\033%G" : "\033c\033%@");
}

LinuxConsole::~LinuxConsole() {
  setMode(KD_TEXT);
  write("\033c");
  _terminal.reset();
  const Descriptor any(::open("/dev/tty0", O_WRONLY | O_NOCTTY | O_CLOEXEC));
  ::ioctl(any.number(), VT_DISALLOCATE, _number);  // unless somebody has taken it meanwhile
}

void LinuxConsole::write(std::string_view text) const {
  EXPECT_EQ(::write(_terminal.number(), text.data(), text.size()),
            static_cast<ssize_t>(text.size()));
}

std::vector<std::string> LinuxConsole::rows() const {
  const Picture seen = picture();
  std::vector<std::string> rows;
  for (std::size_t start = 0; start < seen.cells.size();
       start += 2 * static_cast<std::size_t>(seen.columns)) {
    std::string row;
    for (std::size_t column = 0; column < static_cast<std::size_t>(seen.columns); ++column) {
      row += seen.cells.at(start + 2 * column);
    }
    row.erase(row.find_last_not_of(' ') + 1);
    rows.push_back(row);
  }
  return rows;
}

int LinuxConsole::reversedCells(int row) const {
  const Picture seen = picture();
  int reversed = 0;
  for (int column = 0; column < seen.columns; ++column) {
    const auto cell = static_cast<std::size_t>(row * seen.columns + column);
    const auto look = static_cast<unsigned char>(seen.cells.at(2 * cell + 1));
    reversed += look != kUsualLook ? 1 : 0;
  }
  return reversed;
}

int LinuxConsole::mode() const {
  int mode = -1;
  EXPECT_EQ(::ioctl(_terminal.number(), KDGETMODE, &mode), 0);
  return mode;
}

void LinuxConsole::setMode(int mode) const {
  EXPECT_EQ(::ioctl(_terminal.number(), KDSETMODE, mode), 0);
}

// The first four bytes are rows, columns and the cursor's place.
LinuxConsole::Picture LinuxConsole::picture() const {
  const std::string bytes =
      readSmallFile("/dev/vcsa" + std::to_string(_number)).value_or(std::string(4, '\0'));
  EXPECT_GT(bytes.size(), 4U) << "/dev/vcsa" << _number;
  return {static_cast<unsigned char>(bytes.at(1)), bytes.substr(4)};
}

}  // namespace marrow
