// What the lines of somebody who wants to mount a volume say of the daemon's refusal.
#include "rehearsal/vm/intruder.h"

#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

const std::string kTold = "intruder: was told of: mount (42) tried to mount vda8, which is refused";

Row rowFor(const std::vector<std::string>& lines) {
  VmBoot boot;
  for (const std::string& line : lines) {
    boot.run.console.push_back({std::chrono::milliseconds(0), line});
  }
  return rowOfIntruder({VmBoot(), boot});
}

TEST(Intruders, AreRefusedEachTimeAndToldOf) {
  const std::string refused = "[   17.0] intruder: was refused";
  EXPECT_TRUE(rowFor({refused, "mount: busy", refused, refused, kTold, kTold, kTold}).asExpected());
}

TEST(Intruders, ThatGotInOrAreNotToldOfAreNotAsExpected) {
  const std::string refused = "intruder: was refused";
  EXPECT_FALSE(rowFor({}).asExpected());
  EXPECT_FALSE(rowFor({refused, refused, refused}).asExpected());
  EXPECT_FALSE(rowFor({refused, refused, refused, kTold, kTold}).asExpected());
  EXPECT_EQ(rowFor({refused, refused, "intruder: got in", kTold, kTold, kTold}).after,
            "2 refused, 1 let in, told of 3");
}

}  // namespace
}  // namespace marrow::rehearsal
