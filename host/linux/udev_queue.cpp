#include "host/linux/udev_queue.h"

#include "host/linux/descriptor.h"
#include "host/linux/small_file.h"
#include "host/linux/text_pieces.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace marrow {

namespace {

// No event tells that udev was killed, nor, without a watch, that its file went.
constexpr int kRecheckMilliseconds = 1000;

// net/unix/af_unix.c: __SO_ACCEPTCON in the flags of /proc/net/unix.
constexpr unsigned long kListening = 0x10000;
constexpr std::size_t kFlagsColumn = 3;

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

Descriptor watchRemovals(const std::string& directory) {
  Descriptor watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (watch && ::inotify_add_watch(watch.number(), directory.c_str(),
                                   IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF) < 0) {
    watch.reset();
  }
  return watch;
}

// A line of /proc/net/unix: "ADDRESS: REFERENCES PROTOCOL FLAGS TYPE STATE INODE PATH".
bool isListeningAt(std::string_view line, const std::string& path) {
  const auto words = piecesOf(line, " ");
  unsigned long flags = 0;
  if (words.size() > kFlagsColumn) {
    const std::string_view word = words[kFlagsColumn];
    std::from_chars(word.data(), word.data() + word.size(), flags, 16);
  }
  return (flags & kListening) != 0 && line.ends_with(" " + path);
}

void drain(const Descriptor& watch) {
  std::array<char, 4096> events{};
  while (watch && ::read(watch.number(), events.data(), events.size()) > 0) {
  }
}

}  // namespace

UdevQueue::UdevQueue(const std::string& run, const std::string& procfs, WaitWatch& waits)
    : _directory(run + "/udev"), _sockets(procfs + "/net/unix"), _waits(waits) {}

bool UdevQueue::isEmpty() const { return !exists(_directory + "/queue") || !isListening(); }

// The kernel's table is asked, for a connection would disturb udev. Where there is no table, the
// socket's file has to do.
bool UdevQueue::isListening() const {
  const std::string path = _directory + "/control";
  const auto table = readSmallFile(_sockets);
  if (!table) {
    return exists(path);
  }
  const auto lines = piecesOf(*table, "\n");
  return std::ranges::any_of(lines, [&](auto line) { return isListeningAt(line, path); }) &&
         exists(path);
}

void UdevQueue::waitUntilEmpty() const {
  if (isEmpty()) {
    return;
  }
  const WaitWatch::Wait wait(
      _waits, [this] { return "udev to deal with its events (" + _directory + "/queue)"; });
  // The watch comes before the second look, so that a removal in between is not missed.
  const Descriptor watch = watchRemovals(_directory);
  while (!isEmpty()) {
    pollfd event{watch.number(), POLLIN, 0};
    ::poll(&event, 1, kRecheckMilliseconds);
    drain(watch);
  }
}

}  // namespace marrow
