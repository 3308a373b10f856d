// Which calls are to fail, and how.
#include "sweep/fault_cases.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace marrow::sweep {
namespace {

using testing::IsEmpty;
using testing::SizeIs;

class CalledPlacesTest : public testing::Test {
 protected:
  // A call of this very process.
  void call(std::uint64_t number, std::int64_t result = 0) {
    SystemCall made{.number = number, .thread = ::getpid()};
    places.take(made);
    made.atEntry = false;
    made.result = result;
    places.take(made);
  }

  std::size_t casesOf(const char* place, bool onlyChanges = false) const {
    const auto all = places.cases(onlyChanges);
    return static_cast<std::size_t>(std::count_if(
        all.begin(), all.end(), [&](const FaultCase& one) { return one.place == place; }));
  }

  CalledPlaces places;
};

TEST_F(CalledPlacesTest, LeaveOutCallsThatDoNotFail) {
  call(SYS_getpid);
  places.endRun();
  EXPECT_THAT(places.cases(false), IsEmpty());
}

TEST_F(CalledPlacesTest, AreTriedWithEachErrorAtEachCallThatChangesSomething) {
  for (int i = 0; i < 5; ++i) {
    call(SYS_sync);
    call(SYS_kill);
  }
  places.endRun();
  EXPECT_EQ(casesOf("kill"), 5U);
  EXPECT_EQ(casesOf("kill", true), 5U);
}

TEST_F(CalledPlacesTest, AreTriedAtTheFirstTheMiddleAndTheLastThatOnlyLooks) {
  for (int i = 0; i < 9; ++i) {
    call(SYS_getrandom);
  }
  places.endRun();
  ASSERT_EQ(casesOf("getrandom"), 3U);
  EXPECT_EQ(places.cases(false)[1].occurrence, 5U);
  EXPECT_EQ(casesOf("getrandom", true), 0U);
}

TEST_F(CalledPlacesTest, CountWhatEveryRunHas) {
  call(SYS_kill);
  call(SYS_kill);
  places.endRun();
  call(SYS_kill);
  places.endRun();
  EXPECT_EQ(casesOf("kill"), 1U);
}

TEST_F(CalledPlacesTest, LeaveOutChildren) {
  places.take({.number = SYS_kill, .isOwn = false});
  places.endRun();
  EXPECT_THAT(places.cases(false), IsEmpty());
}

}  // namespace
}  // namespace marrow::sweep
