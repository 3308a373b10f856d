// What the observer's lines say of the daemon's use of the machine.
#include "rehearsal/vm/observer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

VmBoot bootSaying(const std::vector<std::string>& lines) {
  VmBoot boot;
  for (const std::string& line : lines) {
    boot.run.console.push_back({std::chrono::milliseconds(0), line});
  }
  return boot;
}

TEST(Observers, TellTheMostOfEachOfAllBoots) {
  const Row row =
      rowOfUse({bootSaying({"observer: threads 3 descriptors 20 resident 4000",
                            "[daemon] observer: threads 2 descriptors 22 resident 5000"}),
                bootSaying({"observer: threads 4 descriptors 5 resident 6", "something else"})});
  EXPECT_EQ(row.after, "4 threads, 22 descriptors, 5000 KiB");
  EXPECT_TRUE(row.asExpected());
}

TEST(Observers, AllowWhatIsRightAtTheBounds) {
  EXPECT_TRUE(
      rowOfUse({bootSaying({"observer: threads 8 descriptors 40 resident 16384"})}).asExpected());
}

class UseBeyondBounds : public testing::TestWithParam<const char*> {};

TEST_P(UseBeyondBounds, IsNotAsExpected) {
  const Row row = rowOfUse({bootSaying({GetParam()})});
  EXPECT_FALSE(row.asExpected());
  EXPECT_EQ(row.expected, "at most 8 threads, 40 descriptors, 16384 KiB");
}

INSTANTIATE_TEST_SUITE_P(Each, UseBeyondBounds,
                         testing::Values("observer: threads 9 descriptors 40 resident 16384",
                                         "observer: threads 8 descriptors 41 resident 16384",
                                         "observer: threads 8 descriptors 40 resident 16385"));

TEST(Observers, ThatSayNothingAreNotAsExpected) {
  const Row row = rowOfUse({bootSaying({"observer: threads", "all is well"})});
  EXPECT_FALSE(row.asExpected());
  EXPECT_EQ(row.after, "not seen");
}

}  // namespace
}  // namespace marrow::rehearsal
