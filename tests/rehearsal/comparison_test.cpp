#include "rehearsal/console_view.h"
#include "rehearsal/report.h"
#include "rehearsal/run_events.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace marrow::rehearsal {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

MachineRun runWith(std::vector<ConsoleLine> console) {
  MachineRun run;
  run.console = std::move(console);
  run.duration = milliseconds(900);
  run.end = {MachineEnd::Kind::kReboot};
  run.percentages = {0, 50, 100};
  return run;
}

const MachineRun kGoodRun = runWith(
    {{milliseconds(100), "x: MWOperationQueue: Performing (MWUnmountContainerOperation)..."},
     {milliseconds(300), "x: MWOperationQueue: Skipping (MWLoamMigratorOperation)..."},
     {milliseconds(350), "x: MWOperationQueue: Performing (MWBlessVolumeOperation)..."},
     {milliseconds(600), "x: All Marrow operations have completed successfully!"}});

Snapshot snapshotOf(const std::string& value) {
  Snapshot snapshot;
  for (const Item& item : items()) {
    snapshot[item.key] = value;
  }
  return snapshot;
}

TEST(OperationTimes, EndWhereTheNextOneBeginsOrTheQueueIsDone) {
  const std::vector<OperationTime> times = operationTimes(kGoodRun);
  ASSERT_EQ(times.size(), 3U);
  EXPECT_EQ(times[0].name, "MWUnmountContainerOperation");
  EXPECT_EQ(times[0].duration, milliseconds(200));
  EXPECT_EQ(times[1].how, "skipped");
  EXPECT_EQ(times[2].duration, milliseconds(250));
}

TEST(OperationTimes, EndWithTheMachineWhenTheQueueWasNeverDone) {
  const auto times = operationTimes(
      runWith({{milliseconds(100), "MWOperationQueue: Performing (MWBlessVolumeOperation)..."}}));
  ASSERT_EQ(times.size(), 1U);
  EXPECT_EQ(times[0].duration, milliseconds(800));
}

TEST(Verdict, IsWhatTheConsoleSays) {
  EXPECT_EQ(verdictOf(kGoodRun), "all completed");
  EXPECT_EQ(verdictOf(runWith({{{}, "One of the Marrow operations has failed: x"}})), "one failed");
  EXPECT_EQ(verdictOf(runWith({})), "no word");
}

TEST(Comparison, FindsWhatDidNotBecomeWhatItHadTo) {
  Snapshot after = snapshotOf("new");
  after["preboot.sealed"] = "old";
  const auto rows = compareSnapshots(snapshotOf("old"), after, {snapshotOf("new"), {}, {}, {}});
  for (const Row& row : rows) {
    EXPECT_EQ(row.asExpected(), row.key != "preboot.sealed") << row.key;
  }
}

TEST(Comparison, TakesAnyEndWhereNoneIsExpected) {
  for (const Row& row : compareSnapshots(snapshotOf("a"), snapshotOf("b"), {})) {
    EXPECT_TRUE(row.asExpected());
  }
}

TEST(Comparison, FindsAProgressBarThatWentBack) {
  MachineRun run = kGoodRun;
  run.percentages = {0, 60, 50};
  bool found = false;
  for (const Row& row : compareRun(run, scenarioNamed("other-nonce"), {})) {
    if (row.key == "run.progress") {
      found = true;
      EXPECT_FALSE(row.asExpected());
    }
  }
  EXPECT_TRUE(found);
}

TEST(Comparison, FindsWordsThatTheConsoleLacks) {
  const Scenario& scenario = scenarioNamed("migrator-fails");
  const Row missing = compareRun(kGoodRun, scenario, {}).back();
  EXPECT_FALSE(missing.asExpected());
  const Row there =
      compareRun(runWith({{{}, "x " + scenario.consoleWords.front()}}), scenario, {}).back();
  EXPECT_TRUE(there.asExpected());
}

class ComparisonAtCut : public testing::Test {
 protected:
  ComparisonAtCut() {
    for (auto& [key, value] : before) {
      if (key == "firmware.proposed" || key.ends_with("-staged")) {
        value = "new";
      }
    }
  }

  bool allExpected() const {
    const auto rows = compareAtCut(before, atCut, kGoodRun);
    return !rows.empty() && std::ranges::all_of(rows, &Row::asExpected);
  }

  Snapshot before = snapshotOf("old");
  Snapshot atCut = before;
};

TEST_F(ComparisonAtCut, TakesTheOldAndTheNew) {
  EXPECT_TRUE(allExpected());
  atCut["preboot.sealed"] = "new";
  atCut["preboot.sealed-staged"] = "partly removed";
  EXPECT_TRUE(allExpected());
}

TEST_F(ComparisonAtCut, RefusesAnythingBetween) {
  atCut["preboot.restore"] = "half";
  EXPECT_FALSE(allExpected());
}

TEST_F(ComparisonAtCut, RefusesALivePlaceThatIsGone) {
  atCut["recovery.boot"] = kNothing;
  EXPECT_FALSE(allExpected());
}

Report reportWith(std::vector<Row> rows) {
  return {.scenario = "other-nonce",
          .outcome = "It ends.",
          .disk = "ext4",
          .seed = 7,
          .rows = std::move(rows),
          .runs = {kGoodRun},
          .logs = "/logs"};
}

TEST(Report, TellsChangesAndCountsWhatStayed) {
  const std::string text = describeReport(
      reportWith({{"a", "moved", "x", "y", "y"}, {"b", "kept", "z", "z", "z"}}), ConsoleView({}));
  EXPECT_THAT(text, HasSubstr("moved"));
  EXPECT_THAT(text, Not(HasSubstr("kept")));
  EXPECT_THAT(text, HasSubstr("(1 further things had to stay as they were, and did)"));
  EXPECT_THAT(text, HasSubstr("MWBlessVolumeOperation"));
  EXPECT_THAT(text, HasSubstr("Logs: /logs"));
  EXPECT_THAT(text, HasSubstr("All is as expected."));
}

TEST(Report, TellsWhatWasExpectedInstead) {
  const Report report = reportWith({{"a", "stuck", "x", "x", "y"}});
  EXPECT_FALSE(report.asExpected());
  const std::string text = describeReport(report, ConsoleView({}));
  EXPECT_THAT(text, HasSubstr("EXPECTED y"));
  EXPECT_THAT(text, HasSubstr("Not all is as expected."));
}

TEST(Report, HasColoursOnlyWhereTheyAreWanted) {
  const Report report = reportWith({});
  EXPECT_THAT(describeReport(report, ConsoleView({})), Not(HasSubstr("\033")));
  EXPECT_THAT(describeReport(report, ConsoleView({.terminal = true, .colours = true})),
              HasSubstr("\033["));
}

TEST(JsonReport, HoldsEveryRowAndRun) {
  const auto json = nlohmann::json::parse(
      jsonOf(reportWith({{"a", "stuck", "x", "x", "y"}, {"b", "open", "x", "y", std::nullopt}})));
  EXPECT_EQ(json.at("scenario"), "other-nonce");
  EXPECT_EQ(json.at("seed"), 7);
  EXPECT_FALSE(json.at("as_expected").get<bool>());
  EXPECT_EQ(json.at("rows").at(0).at("expected"), "y");
  EXPECT_TRUE(json.at("rows").at(1).at("expected").is_null());
  EXPECT_EQ(json.at("runs").at(0).at("operations").at(0).at("duration_ms"), 200);
  EXPECT_EQ(json.at("runs").at(0).at("end"), "reboot");
}

TEST(JsonReport, SurvivesAConsoleThatIsNotUtf8) {
  Report report = reportWith({});
  report.runs.front().console.push_back({milliseconds(1), "\xff\xfe"});
  EXPECT_TRUE(nlohmann::json::accept(jsonOf(report)));
}

}  // namespace
}  // namespace marrow::rehearsal
