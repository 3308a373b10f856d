// What is said of a run in which something failed.
#include "sweep/disturbed_judgement.h"

#include <cerrno>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::sweep {
namespace {

using rehearsal::kNothing;
using rehearsal::MachineEnd;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

class JudgedFailure : public testing::Test {
 protected:
  JudgedFailure() {
    for (const rehearsal::Item& item : rehearsal::items()) {
      run.before[item.key] = kNothing;
    }
    for (const char* object :
         {"preboot.sealed", "preboot.restore", "recovery.group", "recovery.boot"}) {
      run.before[object] = std::string("old ") + object;
      run.before[std::string(object) + "-staged"] = std::string("new ") + object;
    }
    run.before["firmware.nonce"] = "old nonce";
    run.before["firmware.proposed"] = "new nonce";
    run.before["firmware.default"] = "old entry";
    run.before["preboot.active"] = "old-objects";
    run.end = run.before;
    for (const char* object :
         {"preboot.sealed", "preboot.restore", "recovery.group", "recovery.boot"}) {
      run.end[object] = run.before[std::string(object) + "-staged"];
      run.end[std::string(object) + "-staged"] = kNothing;
    }
    run.end["firmware.nonce"] = "new nonce";
    run.end["firmware.proposed"] = kNothing;
    run.end["firmware.default"] = "new entry";
    run.end["preboot.active"] = "new-objects";
    run.after = run.before;
    run.told = "Daemon starting up...\nOne has failed\n";
    run.usualLines = {"Daemon starting up..."};
    run.machine = {MachineEnd::Kind::kReboot};
  }

  void finish(std::initializer_list<const char*> keys) {
    for (const char* key : keys) {
      run.after[key] = run.end[key];
    }
  }

  Complaints judge(const Disturbance& disturbance = {}) const {
    return judgeDisturbed(run, disturbance);
  }

  DisturbedRun run;
};

TEST_F(JudgedFailure, IsGoodWhereItIsToldAndTheMachineReboots) {
  EXPECT_THAT(judge(), IsEmpty());
  EXPECT_EQ(outcomeOf(run), Outcome::kToldAndLeft);
  run.after = run.end;
  EXPECT_THAT(judge(), IsEmpty());
  EXPECT_EQ(outcomeOf(run), Outcome::kToldAndDone);
}

TEST_F(JudgedFailure, IsBadWhereNobodyIsTold) {
  run.told = "Daemon starting up...\n";
  EXPECT_THAT(judge(), Contains(HasSubstr("firmware.nonce was not done, and nobody was told")));
  run.after = run.end;
  EXPECT_THAT(judge(), IsEmpty());
  EXPECT_EQ(outcomeOf(run), Outcome::kUnnoticed);
  run.after["preboot.active"] = "";
  EXPECT_THAT(judge(), IsEmpty()) << "nothing builds on it";
}

TEST_F(JudgedFailure, IsBadWhereTheMachineDoesNotReboot) {
  run.machine = {MachineEnd::Kind::kDaemonEnded, 134};
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("marrowd ended with status 134")));
  EXPECT_THAT(judge({.mayEndProcess = true}), IsEmpty());
  run.machine.status = 0;
  EXPECT_THAT(judge({.mayEndProcess = true}), ElementsAre(HasSubstr("status 0")));
}

TEST_F(JudgedFailure, MayEndAProcessThatHasNotBegun) {
  run.machine = {MachineEnd::Kind::kDaemonEnded, 77};
  run.told.clear();
  EXPECT_THAT(judge(), IsEmpty());
  finish({"firmware.nonce"});
  EXPECT_THAT(judge(), Contains(HasSubstr("marrowd ended with status 77")));
}

TEST_F(JudgedFailure, IsBadWhereALivePlaceIsMissingOrWhatIsStagedForItIsNot) {
  run.after["preboot.restore"] = kNothing;
  run.after["recovery.group-staged"] = "a part";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("preboot.restore is neither old nor new"),
                                   HasSubstr("recovery.group-staged is not whole any more")));
}

TEST_F(JudgedFailure, IsBadWhereTheStartEntryNamesWhatIsNotThere) {
  finish({"firmware.default"});
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("firmware.default is done without firmware.nonce")));
}

TEST_F(JudgedFailure, PassesOverWhatCannotBeLookedAt) {
  finish({"firmware.nonce", "firmware.proposed", "preboot.restore", "recovery.group",
          "recovery.boot", "recovery.group-staged", "recovery.boot-staged", "firmware.default"});
  EXPECT_THAT(judge(), Contains(HasSubstr("is done without preboot.sealed")));
  run.told += "Skipping /volume/morrel1/proposed: Input/output error (5)\n";
  EXPECT_THAT(judge(), IsEmpty());
}

TEST_F(JudgedFailure, IsBadWhereMetricsAreCutOrSomethingElseHasChanged) {
  run.end["firmware.metrics"] = "volumes=7";
  run.after["firmware.metrics"] = "vol";
  run.after["disk.others"] = "changed";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("firmware.metrics is neither old nor new"),
                                   HasSubstr("disk.others has changed")));
  EXPECT_THAT(judge({.readsShort = true}), ElementsAre(HasSubstr("disk.others has changed")));
}

TEST_F(JudgedFailure, IsBadWhereTheLogIsNowhere) {
  run.told += "Loam Migrator Output: \n";
  EXPECT_THAT(judge(), ElementsAre(HasSubstr("update.log is nowhere")));
  run.after["base.log"] = "nothing to do";
  EXPECT_THAT(judge(), Not(Contains(HasSubstr("update.log is nowhere"))));
}

}  // namespace
}  // namespace marrow::sweep
