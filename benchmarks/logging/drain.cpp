#include "benchmarks/logging/drain.h"

#include "rehearsal/problem.h"

#include <array>
#include <cerrno>
#include <poll.h>
#include <sys/eventfd.h>

namespace marrow {

namespace {

constexpr std::size_t kMostAtOnce = 65536;

}  // namespace

Drain::Drain(int descriptor)
    : _descriptor(descriptor),
      _stop(rehearsal::checked(::eventfd(0, EFD_CLOEXEC), "make an event")),
      _thread([this] { read(); }) {}

Drain::~Drain() {
  ::eventfd_write(_stop.number(), 1);
  _thread.join();
}

void Drain::read() const {
  std::array<char, kMostAtOnce> bytes{};
  std::array<pollfd, 2> sources{pollfd{_stop.number(), POLLIN, 0}, pollfd{_descriptor, POLLIN, 0}};
  while (sources[0].revents == 0) {
    ::poll(sources.data(), sources.size(), -1);
    if (sources[1].revents != 0 && ::read(_descriptor, bytes.data(), bytes.size()) <= 0 &&
        errno != EAGAIN) {
      return;
    }
  }
}

}  // namespace marrow
