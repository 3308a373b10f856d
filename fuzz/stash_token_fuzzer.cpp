// The token of the stashed key, made a committed one.
#include "fuzz/fuzz.h"
#include "host/linux/stash_token.h"

#include <string>

using namespace marrow;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string before(fuzzText(data, size));
  std::string token = before;
  const auto state = commitStashToken(token);
  expect(state == StashState::staged || token == before, "only a staged token changes");
  std::string again = token;
  expect(state != StashState::staged || commitStashToken(again) == StashState::committed,
         "a staged token becomes a committed one");
  expect(again == token, "a committed token stays as it is");
  return 0;
}
