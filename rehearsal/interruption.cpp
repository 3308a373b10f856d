#include "rehearsal/interruption.h"

#include "rehearsal/problem.h"

#include <csignal>
#include <pthread.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    sigaddset(&signals, signal);
  }
  return signals;
}

}  // namespace

Interruption::Interruption() {
  const sigset_t signals = endingSignals();
  ::pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  _signals =
      Descriptor(checked(::signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC), "wait for signals"));
}

// What is still waiting has been obeyed by now.
Interruption::~Interruption() {
  while (take() != 0) {
  }
  restoreSignals();
}

void Interruption::check() {
  if (const int signal = take(); signal != 0) {
    throw Interrupted(signal);
  }
}

int Interruption::take() {
  signalfd_siginfo arrived{};
  const bool any = ::read(_signals.number(), &arrived, sizeof arrived) == sizeof arrived;
  return any ? static_cast<int>(arrived.ssi_signo) : 0;
}

bool Interruption::isEnding(int signal) {
  const sigset_t signals = endingSignals();
  return sigismember(&signals, signal) == 1;
}

void Interruption::restoreSignals() {
  const sigset_t signals = endingSignals();
  ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
}

}  // namespace marrow::rehearsal
