// Power cuts judged and counted.
#include "rehearsal/vm/cut_outcome.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

VmBoot bootWith(std::initializer_list<const char*> lines, VmBoot::End end = VmBoot::End::kCut) {
  VmBoot boot;
  boot.system = kBaseSystem;
  boot.end = end;
  for (const char* line : lines) {
    boot.run.console.push_back({std::chrono::milliseconds(1), line});
  }
  return boot;
}

TEST(PlaceOfACut, IsWhereTheRunWas) {
  constexpr const char* kBegun = "com.corvane.Marrow: Daemon starting up...";
  constexpr const char* kObjects = "Performing (MWCommitBootObjectsOperation)...";
  VmBoot dark;
  dark.end = VmBoot::End::kCut;
  EXPECT_EQ(placeOfCut(dark), "before the kernel");
  EXPECT_EQ(placeOfCut(bootWith({"Linux version"})), "before the daemon");
  EXPECT_EQ(placeOfCut(bootWith({kBegun})), "before the operations");
  const std::string line = std::string("MWOperationQueue: ") + kObjects;
  EXPECT_EQ(placeOfCut(bootWith({kBegun, line.c_str()})), "in CommitBootObjects");
  EXPECT_EQ(
      placeOfCut(bootWith({line.c_str(), "All Marrow operations have completed successfully!"})),
      "after the operations");
  EXPECT_EQ(placeOfCut(bootWith({kBegun}, VmBoot::End::kRestart)), "after the restart");
}

class AtACut : public testing::Test {
 protected:
  AtACut() {
    for (const Item& item : items()) {
      before[item.key] = kNothing;
    }
    before["firmware.default"] = "old.conf";
    for (const char* place : {"firmware.nonce", "preboot.sealed", "preboot.restore",
                              "recovery.group", "recovery.boot"}) {
      before[place] = "old";
    }
    for (const char* place :
         {"firmware.proposed", "preboot.sealed-staged", "preboot.restore-staged",
          "recovery.group-staged", "recovery.boot-staged"}) {
      before[place] = "new";
    }
    atCut = before;
  }

  std::vector<std::string> losses() const {
    return lossesIn(compareAtVmCut(before, atCut, bootWith({}), "new.conf"), "at the cut");
  }

  Snapshot before;
  Snapshot atCut;
};

TEST_F(AtACut, NothingChangedIsAllRight) { EXPECT_THAT(losses(), IsEmpty()); }

TEST_F(AtACut, SomePlacesMayBeNewAndOthersOld) {
  atCut["firmware.nonce"] = "new";
  atCut["preboot.sealed"] = "new";
  atCut["preboot.sealed-staged"] = kNothing;
  EXPECT_THAT(losses(), IsEmpty());
}

TEST_F(AtACut, AMissingOrMixedPlaceIsALoss) {
  atCut["preboot.restore"] = kNothing;
  EXPECT_THAT(losses(), ElementsAre(HasSubstr("restore is (none), expected old")));
  atCut["preboot.restore"] = "mixed";
  EXPECT_THAT(losses(), ElementsAre(HasSubstr("restore is mixed")));
}

TEST_F(AtACut, ANonceWhoseObjectsCannotFollowIsALoss) {
  atCut["firmware.nonce"] = "new";
  atCut["recovery.boot-staged"] = kNothing;
  EXPECT_THAT(losses(), ElementsAre(HasSubstr("recovery.boot cannot follow")));
}

TEST_F(AtACut, TheDefaultEntryIsTheOldOneOrTheNewOne) {
  atCut["firmware.default"] = "new.conf";
  EXPECT_THAT(losses(), IsEmpty());
  atCut["firmware.default"] = kNothing;
  EXPECT_THAT(losses(), ElementsAre(HasSubstr("LoaderEntryDefault is (none)")));
}

TEST(CutTallies, CountOutcomesOfAKind) {
  CutTally tally;
  tally.add({.place = "in BlessVolume", .boots = 2});
  tally.add({.place = "in BlessVolume", .boots = 2});
  tally.add({.place = "before the daemon", .boots = 3});
  const std::vector<Row> rows = tally.rows();
  ASSERT_EQ(rows.size(), 3U);
  EXPECT_EQ(rows[0].what, "cut before the daemon");
  EXPECT_EQ(rows[0].before, "finished, 3 boots later");
  EXPECT_EQ(rows[0].after, "1 time");
  EXPECT_EQ(rows[1].after, "2 times");
  EXPECT_TRUE(rows[2].asExpected());
}

TEST(CutTallies, WithALossAreNotAsExpected) {
  CutTally tally;
  tally.add({.place = "in BlessVolume", .boots = 2});
  tally.add({.place = "in BlessVolume", .boots = 2, .losses = {"gone"}});
  const std::vector<Row> rows = tally.rows();
  EXPECT_EQ(rows.back().what, "lost of 2 cuts");
  EXPECT_EQ(rows.back().after, "1");
  EXPECT_FALSE(rows.back().asExpected());
}

}  // namespace
}  // namespace marrow::rehearsal
