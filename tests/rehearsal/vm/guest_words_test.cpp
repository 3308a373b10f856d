// What goes into a virtual machine and comes out of it: plans, reports, boot entries.
#include "rehearsal/problem.h"
#include "rehearsal/vm/boot_entries.h"
#include "rehearsal/vm/guest/guest_plan.h"
#include "rehearsal/vm/guest/guest_report.h"
#include "rehearsal/vm/vm_expectations.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace marrow::rehearsal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST(GuestPlans, ReadAsWritten) {
  const GuestPlan plan{.scenario = "full-upgrade",
                       .group = "GROUP",
                       .bootObjectsPath = "GROUP/boot/new",
                       .seed = 0xffffffffffffffff,
                       .treeSize = {.files = 3, .bytes = 4}};
  const GuestPlan read = guestPlanFrom(jsonOf(plan));
  EXPECT_EQ(read.scenario, plan.scenario);
  EXPECT_EQ(read.group, plan.group);
  EXPECT_EQ(read.bootObjectsPath, plan.bootObjectsPath);
  EXPECT_EQ(read.seed, plan.seed);
  EXPECT_EQ(read.treeSize.files, 3U);
  EXPECT_EQ(read.treeSize.bytes, 4U);
}

TEST(GuestPlans, ThatAreDamagedAreRefused) {
  EXPECT_THROW(guestPlanFrom(""), Problem);
  EXPECT_THROW(guestPlanFrom("{}"), Problem);
}

TEST(GuestReports, ReadAsWritten) {
  const GuestReport report{
      .system = "new-system", .snapshot = {{"a", "b"}, {"c", "\"\n\xff"}}, .problem = "none"};
  const std::string line = lineOf(report);
  EXPECT_EQ(line.find('\n'), std::string::npos);
  const auto read = guestReportFrom(line);
  ASSERT_TRUE(read);
  EXPECT_EQ(read->system, "new-system");
  EXPECT_EQ(read->snapshot.at("a"), "b");
  EXPECT_EQ(read->problem, "none");
}

TEST(GuestReports, AreNotSeenInOtherLines) {
  EXPECT_FALSE(guestReportFrom("BdsDxe: loading Boot0001"));
  EXPECT_FALSE(guestReportFrom("{}"));
  EXPECT_FALSE(guestReportFrom(R"({"system":7,"snapshot":{},"problem":""})"));
}

class BootEntries : public testing::Test {
 protected:
  BootEntries() {
    disk.group = "ABCD";
    disk.bootObjectsPath = "ABCD/boot/new";
  }

  std::string fileAt(const std::string& path) const {
    const auto files = loaderFiles(disk, scenario, "rd.systemd.unit=marrow.target");
    const auto found = std::ranges::find(files, path, &LoaderFile::path);
    return found == files.end() ? "" : found->content;
  }

  BootDisk disk;
  Scenario scenario;
};

TEST_F(BootEntries, StartTheInstallerFirst) {
  EXPECT_THAT(fileAt("loader/loader.conf"), HasSubstr("default marrow-installer.conf\n"));
  EXPECT_THAT(fileAt("loader/entries/marrow-installer.conf"), HasSubstr(" marrow_vm=installer\n"));
}

TEST_F(BootEntries, NameTheNewSystemAfterItsGroupInLowerCase) {
  EXPECT_THAT(fileAt("loader/entries/marrow-abcd.conf"), HasSubstr(" marrow_vm=new-system\n"));
}

TEST_F(BootEntries, LackTheNewSystemWhereTheScenarioSaysSo) {
  scenario.entryMissing = true;
  EXPECT_EQ(fileAt("loader/entries/marrow-abcd.conf"), "");
  EXPECT_NE(fileAt("loader/entries/marrow-before.conf"), "");
}

TEST_F(BootEntries, TellTheBaseSystemWhatItStandsFor) {
  const std::string entry = fileAt("loader/entries/marrow-base-system.conf");
  EXPECT_THAT(entry, HasSubstr(" kern.bootuuid=ABCD kern.bootobjectspath=ABCD/boot/new "));
  EXPECT_THAT(entry, HasSubstr("rd.systemd.unit=marrow.target\n"));
  EXPECT_LT(entry.find("initrd /marrow/base-system.img\n"),
            entry.find("initrd /marrow/base-system-addition.img\n"));
}

class ExpectedSystems : public testing::Test {
 protected:
  std::vector<std::string> of(const char* scenario, const char* defaultEntry) const {
    BootDisk disk;
    disk.group = "G";
    Expectation expectation;
    expectation.after["firmware.default"] = defaultEntry;
    return expectedSystems(scenarioNamed(scenario, Stage::kVirtualMachine), disk, expectation);
  }
};

TEST_F(ExpectedSystems, EndInTheSystemThatIsTheDefault) {
  EXPECT_THAT(of("booted-from-proposed", "marrow-g.conf"),
              ElementsAre("installer", "base-system", "new-system"));
  EXPECT_THAT(of("migrator-missing", "marrow-before.conf"),
              ElementsAre("installer", "base-system", "old-system"));
}

TEST_F(ExpectedSystems, StartTheBaseSystemOnceMoreAfterAPanic) {
  EXPECT_THAT(of("simulated-panic", "marrow-g.conf"),
              ElementsAre("installer", "base-system", "base-system", "new-system"));
}

TEST_F(ExpectedSystems, AreFiveWhenTheBaseSystemIsEnteredTwice) {
  EXPECT_THAT(of("base-system-entered-twice", "marrow-g.conf"),
              ElementsAre("installer", "base-system", "new-system", "base-system", "new-system"));
}

}  // namespace
}  // namespace marrow::rehearsal
