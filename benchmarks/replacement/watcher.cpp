#include "benchmarks/replacement/watcher.h"

#include <algorithm>
#include <chrono>
#include <fcntl.h>
#include <unistd.h>

namespace marrow {

namespace {

using Clock = std::chrono::steady_clock;

// The letter that the file begins with, or 0 where there is none.
char generationAt(const std::string& path) {
  char generation = 0;
  const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (file < 0 || ::read(file, &generation, 1) != 1) {
    generation = 0;
  }
  ::close(file);
  return generation;
}

// A stretch of looks that all saw the same fault.
class Stretch {
 public:
  Stretch(std::uint64_t& count, double& longest) : _count(count), _longest(longest) {}

  void look(bool isFaulty, Clock::time_point now) {
    if (!isFaulty) {
      _started = Clock::time_point();
      return;
    }
    ++_count;
    if (_started == Clock::time_point()) {
      _started = now;
    }
    const std::chrono::duration<double, std::milli> length = Clock::now() - _started;
    _longest = std::max(_longest, length.count());
  }

 private:
  std::uint64_t& _count;
  double& _longest;
  Clock::time_point _started;
};

}  // namespace

Watcher::Watcher(const std::string& live, const TreeShape& shape)
    : _first(live + '/' + firstFileOf(shape)),
      _last(live + '/' + lastFileOf(shape)),
      _thread([this] { look(); }) {}

Seen Watcher::stop() {
  _stopped = true;
  if (_thread.joinable()) {
    _thread.join();
  }
  return _seen;
}

// The first file is read again after the last: where it has stayed the same and the last is of the
// other tree, both were there at once.
void Watcher::look() {
  Stretch missing(_seen.missing, _seen.missingMilliseconds);
  Stretch mixed(_seen.mixed, _seen.mixedMilliseconds);
  while (!_stopped) {
    const auto now = Clock::now();
    const char before = generationAt(_first);
    const char last = generationAt(_last);
    const char after = generationAt(_first);
    missing.look(before == 0 || last == 0 || after == 0, now);
    mixed.look(before != 0 && last != 0 && before == after && before != last, now);
    ++_seen.looks;
  }
}

}  // namespace marrow
