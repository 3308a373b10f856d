// In place of the library that speaks to a message bus: every call gets its answer from a text, and
// is looked at. Loaded by the fuzzer and, under the same name, by what is fuzzed.
#include "fuzz/bus_answers.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace {

constexpr std::uint64_t kPatience = 1'000'000;  // microseconds

std::string_view answers;
std::string_view answersWithoutEnd;
int buses = 0;
int replies = 0;
bool ready = false;
int lock = -1;

char bus;
char reply;

void expect(bool held, const char* what) {
  if (!held) {
    std::fprintf(stderr, "Does not hold: %s\n", what);
    std::abort();
  }
}

// From -128 to 127, as sd-bus answers: negative errno values, 0, or more. The text's end is the end
// of the connection.
int nextAnswer() {
  answers = answers.empty() ? answersWithoutEnd : answers;
  if (answers.empty()) {
    return -ECONNRESET;
  }
  const auto answer = static_cast<signed char>(answers.front());
  answers.remove_prefix(1);
  return answer;
}

int answerFor(const sd_bus* asked) {
  expect(asked == reinterpret_cast<sd_bus*>(&bus) && buses == 1, "the bus is open");
  return nextAnswer();
}

}  // namespace

void setBusAnswers(const char* text, std::size_t size, std::size_t repeated) {
  answers = {text, size};
  answersWithoutEnd = answers.substr(size - repeated);
  ready = false;
}

int heldByBus() { return buses + replies + (lock >= 0 ? 1 : 0); }

int sd_bus_new(sd_bus** made) {
  const int answer = nextAnswer();
  if (answer >= 0) {
    *made = reinterpret_cast<sd_bus*>(&bus);
    ++buses;
  }
  return answer;
}

sd_bus* sd_bus_close_unref(sd_bus* closed) {
  if (closed != nullptr) {
    expect(--buses == 0, "a bus is closed once");
  }
  return nullptr;
}

int sd_bus_set_address(sd_bus* asked, const char* address) {
  expect(address != nullptr, "there is an address");
  return answerFor(asked);
}

int sd_bus_set_bus_client(sd_bus* asked, int /*yes*/) { return answerFor(asked); }
int sd_bus_negotiate_fds(sd_bus* asked, int /*yes*/) { return answerFor(asked); }
int sd_bus_start(sd_bus* asked) { return answerFor(asked); }

int sd_bus_is_ready(sd_bus* asked) {
  const int answer = answerFor(asked);
  ready = answer > 0;
  return answer;
}

int sd_bus_process(sd_bus* asked, sd_bus_message** /*message*/) { return answerFor(asked); }

int sd_bus_wait(sd_bus* asked, std::uint64_t limit) {
  expect(limit > 0 && limit <= kPatience, "a wait has a limit");
  return answerFor(asked);
}

int sd_bus_set_method_call_timeout(sd_bus* asked, std::uint64_t limit) {
  expect(limit > 0 && limit <= kPatience, "a call has a limit");
  return answerFor(asked);
}

int sd_bus_call_method(sd_bus* asked, const char*, const char*, const char*, const char*,
                       sd_bus_error*, sd_bus_message** answered, const char*, ...) {
  expect(ready, "nothing is asked before the bus is ready");
  const int answer = answerFor(asked);
  if (answer >= 0) {
    *answered = reinterpret_cast<sd_bus_message*>(&reply);
    ++replies;
  }
  return answer;
}

void sd_bus_error_free(sd_bus_error* /*error*/) {}

// Gives a descriptor that goes with the message, none, or a number that is none.
int sd_bus_message_read(sd_bus_message* read, const char* types, ...) {
  expect(read == reinterpret_cast<sd_bus_message*>(&reply) && replies == 1, "there is an answer");
  const int answer = nextAnswer();
  std::va_list arguments;
  va_start(arguments, types);
  if (answer > 0) {
    const int wanted = nextAnswer();
    lock = wanted > 0 ? ::open("/dev/null", O_RDONLY | O_CLOEXEC) : -1;
    *va_arg(arguments, int*) = wanted > 0 ? lock : wanted;
  }
  va_end(arguments);
  return answer;
}

sd_bus_message* sd_bus_message_unref(sd_bus_message* message) {
  if (message != nullptr) {
    expect(--replies == 0, "an answer is given back once");
    ::close(lock);
    lock = -1;
  }
  return nullptr;
}
