#include "benchmarks/machine/screen_reader.h"

#include "rehearsal/problem.h"

#include <array>
#include <csignal>
#include <poll.h>
#include <sys/eventfd.h>

namespace marrow {

namespace {

void takeFrom(const rehearsal::Terminal& terminal, std::vector<Arrival>& arrivals) {
  const auto now = std::chrono::steady_clock::now();
  std::string text = terminal.take();
  if (!text.empty()) {
    arrivals.push_back({now, std::move(text)});
  }
}

// The main thread waits for the machine, whose signals are its own.
void leaveSignalsToOthers() {
  sigset_t all{};
  ::sigfillset(&all);
  ::pthread_sigmask(SIG_SETMASK, &all, nullptr);
}

}  // namespace

ScreenReader::ScreenReader(rehearsal::MachineView& view)
    : _stop(rehearsal::checked(::eventfd(0, EFD_CLOEXEC), "make an event")) {
  view.console = _console.path();
  view.screen = _screen.path();
}

void ScreenReader::begin() {
  _thread = std::thread([this] {
    leaveSignalsToOthers();
    read();
  });
}

void ScreenReader::end() {
  if (_thread.joinable()) {
    ::eventfd_write(_stop.number(), 1);
    _thread.join();
  }
}

void ScreenReader::read() {
  std::array<pollfd, 3> sources{pollfd{_stop.number(), POLLIN, 0},
                                pollfd{_console.descriptor(), POLLIN, 0},
                                pollfd{_screen.descriptor(), POLLIN, 0}};
  while (sources[0].revents == 0) {
    ::poll(sources.data(), sources.size(), -1);
    take();
  }
}

void ScreenReader::take() {
  takeFrom(_console, _arrivedOnConsole);
  takeFrom(_screen, _arrivedOnScreen);
}

std::string textOf(const std::vector<Arrival>& arrivals) {
  std::string text;
  for (const Arrival& arrival : arrivals) {
    text += arrival.text;
  }
  return text;
}

}  // namespace marrow
