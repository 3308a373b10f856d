// A migrator that ends at once. The daemon asks for its metrics as `-m FILE` and for its log as
// `-l FILE`.
#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

bool writeLine(const char* path, std::string_view line) {
  const int file = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  return ::write(file, line.data(), line.size()) == static_cast<ssize_t>(line.size()) &&
         ::close(file) == 0;
}

}  // namespace

int main(int count, char** words) {
  bool done = true;
  for (int at = 1; at + 1 < count; ++at) {
    const std::string_view word = words[at];
    if (word == "-m" || word == "-l") {
      done = writeLine(words[at + 1], "nothing to do\n") && done;
    }
  }
  return done ? 0 : 1;
}
