#include "tests/host/in_memory_process.h"

#include <csignal>
#include <string>

namespace marrow {

namespace {

RunEnded endedBy(const Calls& calls, RunEnded end) {
  end.kind = calls.powerIsCut() ? RunEnded::Kind::powerCut : end.kind;
  return end;
}

}  // namespace

void InMemoryProcess::setIsDaemon(bool isDaemon) {
  _calls.note("Process.setIsDaemon", isDaemon ? "true" : "false");
  _isDaemon = isDaemon;
}

void InMemoryProcess::exit(int status) {
  _calls.note("Process.exit", std::to_string(status));
  constexpr int kLowBits = 0xFF;
  throw endedBy(_calls, {RunEnded::Kind::exit, status & kLowBits, ""});
}

void InMemoryProcess::failAssertion(const std::string& text) {
  _calls.note("Process.failAssertion", text);
  _log.createHandle("com.corvane.Marrow.host", "")->log(LogLevel::fault, text);
  throw endedBy(_calls, {RunEnded::Kind::abort, SIGABRT, text});
}

}  // namespace marrow
