#include "benchmarks/node_reads.h"

#include <array>
#include <stdexcept>
#include <sys/inotify.h>
#include <unistd.h>

namespace marrow {

NodeReads::NodeReads(const std::string& node) : _watch(::inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
  if (::inotify_add_watch(_watch, node.c_str(), IN_OPEN | IN_ACCESS) < 0) {
    ::close(_watch);
    throw std::runtime_error("Cannot watch " + node);
  }
}

NodeReads::~NodeReads() { ::close(_watch); }

// The kernel makes one event of several reads in a row. A node has no name beside its event.
int NodeReads::take() {
  std::array<inotify_event, 256> events{};
  int reads = 0;
  bool isOpened = false;
  while (true) {
    const auto length = ::read(_watch, events.data(), sizeof events);
    if (length <= 0) {
      return reads;
    }
    const auto count = static_cast<std::size_t>(length) / sizeof(inotify_event);
    for (std::size_t at = 0; at < count; ++at) {
      if ((events.at(at).mask & IN_Q_OVERFLOW) != 0) {
        throw std::runtime_error("More reads of a node than can be counted.");
      }
      const bool isRead = (events.at(at).mask & IN_ACCESS) != 0;
      reads += isRead && isOpened ? 1 : 0;
      isOpened = !isRead;
    }
  }
}

}  // namespace marrow
