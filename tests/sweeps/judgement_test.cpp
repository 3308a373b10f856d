// What is said of the state that an interruption leaves.
#include "sweep/judgement.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::sweep {
namespace {

using rehearsal::kNothing;
using rehearsal::Snapshot;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

class JudgedCut : public testing::Test {
 protected:
  JudgedCut() {
    for (const rehearsal::Item& item : rehearsal::items()) {
      before[item.key] = kNothing;
    }
    for (const char* object :
         {"preboot.sealed", "preboot.restore", "recovery.group", "recovery.boot"}) {
      before[object] = std::string("old ") + object;
      before[std::string(object) + "-staged"] = std::string("new ") + object;
    }
    before["firmware.nonce"] = "old nonce";
    before["firmware.proposed"] = "new nonce";
    before["firmware.default"] = "old entry";
    before["preboot.active"] = "old-objects";
    end = before;
    for (const char* object :
         {"preboot.sealed", "preboot.restore", "recovery.group", "recovery.boot"}) {
      end[object] = before[std::string(object) + "-staged"];
      end[std::string(object) + "-staged"] = kNothing;
    }
    end["firmware.nonce"] = "new nonce";
    end["firmware.proposed"] = kNothing;
    end["firmware.default"] = "new entry";
    end["preboot.active"] = "new-objects";
    atCut = before;
  }

  void finish(std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
      atCut[key] = end[key];
    }
  }

  Complaints judge() const { return judgeCut(before, atCut, end); }

  Snapshot before, end, atCut;
};

TEST_F(JudgedCut, IsGoodBeforeAnythingWasDoneAndWhenAllIs) {
  EXPECT_THAT(judge(), IsEmpty());
  atCut = end;
  EXPECT_THAT(judge(), IsEmpty());
}

TEST_F(JudgedCut, IsGoodWhereTheBeginningOfTheStepsIsDone) {
  finish({"firmware.nonce", "firmware.proposed", "preboot.sealed"});
  atCut["preboot.sealed-staged"] = "the rest of the old tree";
  EXPECT_THAT(judge(), IsEmpty());
}

TEST_F(JudgedCut, IsBadWhereALaterStepIsDoneFirst) {
  finish({"firmware.nonce", "firmware.proposed", "firmware.default"});
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("firmware.default is done before preboot.sealed")));
}

TEST_F(JudgedCut, IsBadWhereALivePlaceIsMissingOrMixed) {
  finish({"firmware.nonce", "firmware.proposed"});
  atCut["preboot.sealed"] = kNothing;
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("preboot.sealed is neither old nor new")));
  atCut["preboot.sealed"] = "some of both";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("preboot.sealed is neither old nor new")));
}

TEST_F(JudgedCut, IsBadWhereWhatIsStagedForAnOldPlaceIsNotWhole) {
  atCut["preboot.restore-staged"] = "a part";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("preboot.restore-staged is not whole any more")));
}

TEST_F(JudgedCut, AllowsTheBeginningOfTheActiveFileInItsTurnAlone) {
  atCut["preboot.active"] = "";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("preboot.active is neither old nor new")));
  finish({"firmware.nonce", "firmware.proposed", "preboot.sealed", "preboot.sealed-staged",
          "preboot.restore", "preboot.restore-staged", "recovery.group", "recovery.group-staged",
          "recovery.boot", "recovery.boot-staged"});
  EXPECT_THAT(judge(), IsEmpty());
  atCut["preboot.active"] = "new-obj";
  EXPECT_THAT(judge(), IsEmpty());
  atCut["preboot.active"] = std::string("new\0\0\0\0", 7);
  EXPECT_THAT(judge(), IsEmpty());
  atCut["preboot.active"] = "rubbish";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("preboot.active is neither old nor new")));
}

TEST_F(JudgedCut, IsBadWhereSomethingElseHasChanged) {
  atCut["disk.others"] = "changed";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("disk.others has changed")));
}

TEST_F(JudgedCut, IsFollowedByARunWithoutTheFaultThatWasTakenUp) {
  rehearsal::Scenario scenario;
  scenario.simulation = rehearsal::Simulation{"operation", "error", ""};
  before["firmware.simulation"] = "operation error";
  EXPECT_TRUE(afterCut(scenario, before, before).simulation);
  EXPECT_FALSE(afterCut(scenario, before, atCut).simulation);
}

}  // namespace
}  // namespace marrow::sweep
