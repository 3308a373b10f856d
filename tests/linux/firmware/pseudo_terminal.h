// A terminal whose screen a test reads.
#pragma once

#include "host/linux/descriptor.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <string>
#include <termios.h>
#include <unistd.h>

namespace marrow {

class PseudoTerminal {
 public:
  PseudoTerminal() : _screen(::posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(::grantpt(_screen.number()), 0);
    EXPECT_EQ(::unlockpt(_screen.number()), 0);
    std::array<char, 64> name{};
    EXPECT_EQ(::ptsname_r(_screen.number(), name.data(), name.size()), 0);
    _path = name.data();
    // Keeps it in operation between its writers.
    _kept = Descriptor(::open(_path.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC));
  }

  const std::string& path() const { return _path; }

  // As Ctrl-S and Ctrl-Q do (tcflow(3)).
  void stop() const { EXPECT_EQ(::tcflow(_kept.number(), TCOOFF), 0); }
  void goOn() const { EXPECT_EQ(::tcflow(_kept.number(), TCOON), 0); }

  // What has been written since the last time.
  std::string takeText() const {
    std::string text;
    std::array<char, 4096> buffer{};
    pollfd waiting{_screen.number(), POLLIN, 0};
    while (::poll(&waiting, 1, 50) == 1) {
      const ssize_t count = ::read(_screen.number(), buffer.data(), buffer.size());
      if (count <= 0) {
        break;
      }
      text.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return text;
  }

 private:
  Descriptor _screen;
  Descriptor _kept;
  std::string _path;
};

}  // namespace marrow
