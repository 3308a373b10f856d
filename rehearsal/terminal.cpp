#include "rehearsal/terminal.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

namespace marrow::rehearsal {

Terminal::Terminal()
    : _ours(checked(::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC),
                    "make a pseudo-terminal")) {
  std::array<char, 64> name{};
  if (::unlockpt(_ours.number()) != 0 ||
      ::ptsname_r(_ours.number(), name.data(), name.size()) != 0) {
    failWithErrno("name a pseudo-terminal");
  }
  _path = name.data();
  _theirs = openFile(_path, O_RDWR | O_NOCTTY);
  termios settings{};
  checked(::tcgetattr(_theirs.number(), &settings), "read the settings of a pseudo-terminal");
  ::cfmakeraw(&settings);
  checked(::tcsetattr(_theirs.number(), TCSANOW, &settings), "set up a pseudo-terminal");
}

std::string Terminal::take() const {
  std::string text;
  std::array<char, 4096> buffer{};
  ssize_t count = 0;
  while ((count = ::read(_ours.number(), buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

}  // namespace marrow::rehearsal
