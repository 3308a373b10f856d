// A system bus, and a logind, that answer anything: there is a lock, or a reason why there is none,
// and everything that the bus lent is given back.
#include "fuzz/bus_answers.h"
#include "fuzz/fuzz.h"
#include "host/linux/shared_library.h"
#include "host/linux/sleep_inhibitor.h"

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

using namespace marrow;

namespace {

struct Answers {
  Answers() {
    const SharedLibrary library(MARROW_BUS_ANSWERS);
    expect(library.find("setBusAnswers", set) && library.find("heldByBus", held),
           "the answers are there");
  }

  decltype(&setBusAnswers) set = nullptr;
  decltype(&heldByBus) held = nullptr;
};

// The lowest number that is free.
int nextDescriptor() {
  const int number = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  ::close(number);
  return number;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const Answers answers;
  const std::string_view text = fuzzText(data, size);
  const int before = nextDescriptor();
  answers.set(text.data(), text.size(), 0);
  {
    errno = 0;
    const Descriptor lock = takeSleepInhibitor("/", {.what = "sleep", .who = "fuzz", .why = "fuzz"},
                                               MARROW_BUS_ANSWERS);
    expect(lock || errno != 0, "a lock, or a reason why there is none");
    expect(!lock || ::fcntl(lock.number(), F_GETFD) == FD_CLOEXEC, "a lock is ours alone");
    expect(answers.held() == 0, "what the bus lent is given back");
  }
  expect(nextDescriptor() == before, "no descriptor is left open");
  return 0;
}
