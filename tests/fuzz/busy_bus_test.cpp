// A system bus that always has something to do and never gets ready.
#include "fuzz/bus_answers.h"
#include "host/linux/shared_library.h"
#include "host/linux/sleep_inhibitor.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <string_view>

namespace marrow {

namespace {

TEST(BusyBus, IsGivenUpAfterItsTime) {
  // New, address, client, descriptors, start; then, without end, not ready and one thing done.
  constexpr std::string_view kAnswers("\1\1\1\1\1\0\1", 7);
  decltype(&setBusAnswers) setAnswers = nullptr;
  decltype(&heldByBus) held = nullptr;
  const SharedLibrary library(MARROW_BUS_ANSWERS);
  ASSERT_TRUE(library.find("setBusAnswers", setAnswers) && library.find("heldByBus", held));
  setAnswers(kAnswers.data(), kAnswers.size(), 2);
  errno = 0;
  EXPECT_FALSE(
      takeSleepInhibitor("/", {.what = "sleep", .who = "test", .why = "test"}, MARROW_BUS_ANSWERS));
  EXPECT_EQ(errno, ETIMEDOUT);
  EXPECT_EQ(held(), 0);
}

}  // namespace

}  // namespace marrow
