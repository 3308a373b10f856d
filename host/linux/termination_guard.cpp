#include "host/linux/termination_guard.h"

#include <array>
#include <atomic>
#include <csignal>
#include <mutex>
#include <unistd.h>

namespace marrow {

namespace {

// The termination signals that a process can see coming (signal(7)).
constexpr std::array<int, 4> kSignals = {SIGHUP, SIGINT, SIGQUIT, SIGTERM};

std::mutex mutex;
int guards = 0;                                          // under mutex
std::array<struct sigaction, kSignals.size()> previous;  // under mutex
std::array<std::atomic<bool>, kSignals.size()> noted;
static_assert(std::atomic<bool>::is_always_lock_free);  // as a signal handler needs it

void note(int number) {
  for (std::size_t index = 0; index < kSignals.size(); ++index) {
    if (kSignals[index] == number) {
      noted[index] = true;
    }
  }
}

void holdOff(std::size_t index) {
  struct sigaction action {};
  action.sa_handler = note;
  action.sa_flags = SA_RESTART;
  ::sigaction(kSignals[index], nullptr, &previous[index]);
  if (previous[index].sa_handler != SIG_IGN) {
    ::sigaction(kSignals[index], &action, nullptr);
  }
}

void letGo(std::size_t index) {
  ::sigaction(kSignals[index], &previous[index], nullptr);
  if (noted[index].exchange(false)) {
    ::kill(::getpid(), kSignals[index]);
  }
}

}  // namespace

TerminationGuard::TerminationGuard() {
  const std::lock_guard lock(mutex);
  if (guards++ == 0) {
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
      holdOff(index);
    }
  }
}

TerminationGuard::~TerminationGuard() {
  const std::lock_guard lock(mutex);
  if (--guards == 0) {
    for (std::size_t index = 0; index < kSignals.size(); ++index) {
      letGo(index);
    }
  }
}

}  // namespace marrow
