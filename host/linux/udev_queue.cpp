#include "host/linux/udev_queue.h"

#include "host/linux/descriptor.h"

#include <array>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

namespace marrow {

namespace {

// Without a watch (the user's watches are used up) nothing else tells when the file goes.
constexpr int kRecheckMilliseconds = 1000;
constexpr int kNoLimit = -1;

bool exists(const std::string& path) { return ::access(path.c_str(), F_OK) == 0; }

Descriptor watchRemovals(const std::string& directory) {
  Descriptor watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  if (watch && ::inotify_add_watch(watch.number(), directory.c_str(),
                                   IN_DELETE | IN_MOVED_FROM | IN_DELETE_SELF | IN_MOVE_SELF) < 0) {
    watch.reset();
  }
  return watch;
}

void drain(const Descriptor& watch) {
  std::array<char, 4096> events{};
  while (watch && ::read(watch.number(), events.data(), events.size()) > 0) {
  }
}

}  // namespace

UdevQueue::UdevQueue(const std::string& run) : _directory(run + "/udev") {}

bool UdevQueue::isEmpty() const {
  return !exists(_directory + "/control") || !exists(_directory + "/queue");
}

void UdevQueue::waitUntilEmpty() const {
  if (isEmpty()) {
    return;
  }
  // The watch comes before the second look, so that a removal in between is not missed.
  const Descriptor watch = watchRemovals(_directory);
  while (!isEmpty()) {
    pollfd event{watch.number(), POLLIN, 0};
    ::poll(&event, 1, watch ? kNoLimit : kRecheckMilliseconds);
    drain(watch);
  }
}

}  // namespace marrow
