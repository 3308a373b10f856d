#include "rehearsal/options.h"

#include "rehearsal/problem.h"
#include "rehearsal/scenario.h"

#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

std::optional<Options> parse(std::vector<const char*> words, int& status) {
  words.insert(words.begin(), "marrow-rehearse");
  testing::internal::CaptureStdout();
  testing::internal::CaptureStderr();
  auto options = parseOptions(static_cast<int>(words.size()), words.data(), status);
  testing::internal::GetCapturedStdout();
  testing::internal::GetCapturedStderr();
  return options;
}

int statusOf(const std::vector<const char*>& words) {
  int status = -1;
  EXPECT_FALSE(parse(words, status));
  return status;
}

Options optionsOf(const std::vector<const char*>& words) {
  int status = -1;
  return parse(words, status).value();
}

TEST(Options, DefaultToTheFirstScenarioOnExt4) {
  const Options options = optionsOf({});
  EXPECT_EQ(options.scenario, "booted-from-proposed");
  EXPECT_EQ(options.fileSystem, FileSystem::kExt4);
}

TEST(Options, TakeTheScenarioWithAndWithoutItsOption) {
  EXPECT_EQ(optionsOf({"cut"}).scenario, "cut");
  EXPECT_EQ(optionsOf({"--scenario", "cut"}).scenario, "cut");
}

TEST(Options, TakeSizesWithUnits) {
  EXPECT_EQ(optionsOf({"--tree-bytes", "3M"}).treeSize.bytes, 3U << 20U);
}

TEST(Options, TakeEveryFileSystem) {
  EXPECT_EQ(optionsOf({"--fs", "btrfs"}).fileSystem, FileSystem::kBtrfs);
  EXPECT_EQ(optionsOf({"--fs", "xfs"}).fileSystem, FileSystem::kXfs);
}

TEST(Options, EndWith0AfterHelp) { EXPECT_EQ(statusOf({"--help"}), 0); }

TEST(Options, RefuseWhatMakesNoSense) {
  EXPECT_EQ(statusOf({"--scenario", "nothing"}), 2);
  EXPECT_EQ(statusOf({"--fs", "fat"}), 2);
  EXPECT_EQ(statusOf({"--tree-files", "0"}), 2);
  EXPECT_EQ(statusOf({"--disk", "/there/is/no/such/image"}), 2);
  EXPECT_EQ(statusOf({"--unknown"}), 2);
}

TEST(Options, RefuseAFreshFileSystemOnAPersonsOwnDisk) {
  EXPECT_EQ(statusOf({"--disk", "/proc/self/exe", "--fs", "xfs"}), 2);
}

TEST(Options, OfAVirtualMachineAreKnownWithItAlone) {
  const Options options = optionsOf({"--vm", "--init", "bare", "--cut", "3", "--cut-at", "1.5"});
  EXPECT_EQ(options.stage(), Stage::kVirtualMachine);
  EXPECT_EQ(options.init, "bare");
  EXPECT_EQ(options.cuts, 3U);
  EXPECT_EQ(options.cutAtSeconds, 1.5);
  EXPECT_EQ(statusOf({"--cut", "3"}), 2);
  EXPECT_EQ(statusOf({"--vm", "--cut-at", "1"}), 2);
  EXPECT_EQ(statusOf({"--vm", "--init", "other"}), 2);
  EXPECT_EQ(statusOf({"--vm", "--cut", "0"}), 2);
}

TEST(Scenarios, HaveNamesOfTheirOwnAndAreExplained) {
  for (const Stage stage : {Stage::kNamespaces, Stage::kVirtualMachine}) {
    const std::string text = explainScenarios(stage);
    for (const Scenario& scenario : scenariosOn(stage)) {
      EXPECT_EQ(scenarioNamed(scenario.name, stage).name, scenario.name);
      EXPECT_NE(text.find(scenario.situation), std::string::npos);
      EXPECT_NE(text.find(scenario.outcome), std::string::npos);
    }
  }
  EXPECT_EQ(scenariosOn(Stage::kNamespaces).size(), 15U);
  EXPECT_EQ(scenariosOn(Stage::kVirtualMachine).size(), 19U);
}

TEST(Scenarios, ThatAStageCannotPlayAreUnknownThere) {
  EXPECT_THROW(scenarioNamed("simulated-panic", Stage::kNamespaces), Problem);
  EXPECT_THROW(scenarioNamed("reboot-refused", Stage::kVirtualMachine), Problem);
  EXPECT_NO_THROW(scenarioNamed("simulated-panic", Stage::kVirtualMachine));
  EXPECT_NO_THROW(scenarioNamed("wrong-nonce", Stage::kNamespaces));
}

TEST(Scenarios, AreNamedWhenAnUnknownOneIsAskedFor) {
  try {
    scenarioNamed("nothing");
    FAIL();
  } catch (const Problem& problem) {
    EXPECT_NE(std::string(problem.what()).find("reboot-refused"), std::string::npos);
  }
}

}  // namespace
}  // namespace marrow::rehearsal
