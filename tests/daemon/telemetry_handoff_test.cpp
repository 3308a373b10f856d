#include "tests/daemon/manager_test.h"

#include <cerrno>

namespace marrow {
namespace {

constexpr char kVariable[] = "OTA-migrator-metrics";

class TelemetryHandoffTest : public ManagerTest {
 protected:
  TelemetryHandoffTest() : manager(makeManager()) {
    machine.fileSystem.write(kMigratorLog, kMigratorLogText);
    machine.fileSystem.write(kMigratorMetrics, kMigratorMetricsText);
    manager->stateManager()->setLoamMigratorLogPath(kMigratorLog);
    manager->stateManager()->setLoamMigratorMetricsPath(kMigratorMetrics);
    machine.log.clear();
    machine.journal.clear();
  }

  void synchronize() { manager->_synchronizeTelemetryToUpdateVolume(); }

  static std::string onUpdateVolume(const std::string& name) {
    return InMemoryPartitions::root(kUpdateVolume) + "/" + name;
  }

  std::optional<PropertyListDictionary> shadow() const {
    return machine.fileSystem.dictionary(onUpdateVolume("nvram.plist"));
  }

  void expectMetricsWritten() {
    EXPECT_EQ(machine.firmware.committedValue(kVariable), "volumes=7 errors=0");
    EXPECT_FALSE(machine.fileSystem.exists(kMigratorMetrics));
    EXPECT_TRUE(machine.log.has(LogLevel::standard,
                                "Loam Metrics: Have been successfully written to NVRAM."));
  }

  std::shared_ptr<MWDaemonManager> manager;
};

TEST_F(TelemetryHandoffTest, CarriesMetricsAndLogAndFlushesTheUpdateVolumeInThisOrder) {
  synchronize();
  expectMetricsWritten();
  EXPECT_FALSE(machine.fileSystem.exists(kMigratorLog));
  EXPECT_EQ(machine.fileSystem.contents(onUpdateVolume("loam_migrator.log")), kMigratorLogText);
  EXPECT_TRUE(machine.journal.inOrder("DVStaticLoamVolume.mountAtTemporaryPath",
                                      "Files.open /private/tmp/loam_migrator_metrics.dat"));
  EXPECT_TRUE(machine.journal.inOrder("FirmwareVariables.forceSync", "FileTrees.moveFile"));
  EXPECT_TRUE(machine.journal.inOrder("FileTrees.moveFile", "Files.fullSync"));
}

TEST_F(TelemetryHandoffTest, WithoutAnUpdateVolumeTheMetricsStillReachTheFirmware) {
  machine.partitions.removeVolume(kUpdateVolume);
  synchronize();
  expectMetricsWritten();
}

TEST_F(TelemetryHandoffTest, WithoutAnUpdateVolumeTheLogStaysAndTheFlushIsAskedForWithoutAPath) {
  machine.partitions.removeVolume(kUpdateVolume);
  synchronize();
  EXPECT_TRUE(machine.fileSystem.exists(kMigratorLog));
  EXPECT_FALSE(machine.journal.contains("FileTrees.moveFile"));
  EXPECT_TRUE(machine.log.has(LogLevel::error, "", "Failed to open (null) for fsync: 2"));
}

TEST_F(TelemetryHandoffTest, TheShadowTakesTheValueAtTheTopAndAmongTheFileOnlyVariables) {
  synchronize();
  const auto variables = shadow();
  ASSERT_TRUE(variables.has_value());
  ASSERT_NE(variables->find(kVariable), nullptr);
  EXPECT_EQ(*variables->find(kVariable), PropertyListValue(std::string("volumes=7 errors=0")));
  const auto* fileOnly = variables->find("brask-file-only-vars")->as<PropertyListDictionary>();
  ASSERT_NE(fileOnly, nullptr);
  ASSERT_NE(fileOnly->find(kVariable), nullptr);
  EXPECT_EQ(*fileOnly->find(kVariable), PropertyListValue(std::string("volumes=7 errors=0")));
}

TEST_F(TelemetryHandoffTest, AShadowWithoutFileOnlyVariablesGetsTheTopEntryAlone) {
  PropertyListDictionary variables;
  variables.set("boot-args", std::string("-v"));
  machine.fileSystem.writeDictionary(onUpdateVolume("nvram.plist"), variables);
  synchronize();
  variables.set(kVariable, std::string("volumes=7 errors=0"));
  EXPECT_EQ(shadow(), variables);
}

TEST_F(TelemetryHandoffTest, TheShadowKeepsEveryEntryAndTypeThatItHad) {
  PropertyListDictionary fileOnly;
  fileOnly.set("data", PropertyListData{std::byte{0}, std::byte{255}});
  fileOnly.set(kVariable, std::int64_t{7});
  PropertyListDictionary variables;
  variables.set("flag", true);
  variables.set("count", std::int64_t{-5});
  variables.set("large", ~std::uint64_t{0});
  variables.set("share", PropertyListReal{"1.50"});
  variables.set("when", PropertyListDate{"2026-01-02T03:04:05Z"});
  variables.set("list", PropertyListArray{std::string("a"), false});
  variables.set("brask-file-only-vars", fileOnly);
  machine.fileSystem.writeDictionary(onUpdateVolume("nvram.plist"), variables);
  synchronize();
  fileOnly.set(kVariable, std::string("volumes=7 errors=0"));
  variables.set("brask-file-only-vars", fileOnly);
  variables.set(kVariable, std::string("volumes=7 errors=0"));
  EXPECT_EQ(shadow(), variables);
}

TEST_F(TelemetryHandoffTest, FileOnlyVariablesOfAnotherTypeStayAsTheyAre) {
  PropertyListDictionary variables;
  variables.set("brask-file-only-vars", std::string("none"));
  machine.fileSystem.writeDictionary(onUpdateVolume("nvram.plist"), variables);
  synchronize();
  EXPECT_EQ(*shadow()->find("brask-file-only-vars"), PropertyListValue(std::string("none")));
  EXPECT_NE(shadow()->find(kVariable), nullptr);
}

TEST_F(TelemetryHandoffTest, AMissingShadowFileIsNoFailureAndNoneIsMade) {
  machine.fileSystem.remove(onUpdateVolume("nvram.plist"));
  synchronize();
  expectMetricsWritten();
  EXPECT_FALSE(machine.fileSystem.exists(onUpdateVolume("nvram.plist")));
}

TEST_F(TelemetryHandoffTest, AShadowFileThatIsNoDictionaryIsNoFailureAndStays) {
  machine.fileSystem.write(onUpdateVolume("nvram.plist"), "no property list");
  synchronize();
  expectMetricsWritten();
  EXPECT_EQ(machine.fileSystem.contents(onUpdateVolume("nvram.plist")), "no property list");
}

TEST_F(TelemetryHandoffTest, WithoutAMetricsPathTheLogStillMovesAndTheDiskIsFlushed) {
  manager->stateManager()->setLoamMigratorMetricsPath(std::nullopt);
  synchronize();
  for (const std::string& text : machine.log.texts()) {
    EXPECT_EQ(text.find("Metrics"), std::string::npos) << text;
  }
  EXPECT_EQ(machine.firmware.value(kVariable), std::nullopt);
  EXPECT_TRUE(machine.fileSystem.exists(onUpdateVolume("loam_migrator.log")));
  EXPECT_TRUE(machine.journal.contains("Files.fullSync"));
}

TEST_F(TelemetryHandoffTest, WithoutALogPathNothingIsMoved) {
  manager->stateManager()->setLoamMigratorLogPath(std::nullopt);
  synchronize();
  EXPECT_FALSE(machine.journal.contains("FileTrees.moveFile"));
  EXPECT_TRUE(machine.journal.contains("Files.fullSync"));
}

TEST_F(TelemetryHandoffTest, WithoutEitherPathTheDiskIsStillFlushed) {
  manager->stateManager()->setLoamMigratorLogPath(std::nullopt);
  manager->stateManager()->setLoamMigratorMetricsPath(std::nullopt);
  synchronize();
  EXPECT_EQ(machine.journal.count("Files.fullSync"), 1U);
}

TEST_F(TelemetryHandoffTest, AMoveThatFailsIsToldAndTheDiskIsStillFlushed) {
  machine.faults.fail("FileTrees.moveFile", ENOSPC);
  synchronize();
  EXPECT_EQ(
      machine.journal.calls("Log.error"),
      std::vector<std::string>{"Log.error Failed to copy (/private/tmp/loam_migrator.log) -> (" +
                               machine.partitions.mountPaths(kUpdateVolume).front() +
                               "/loam_migrator.log). No space left on device"});
  EXPECT_TRUE(machine.journal.contains("Files.fullSync"));
  EXPECT_TRUE(machine.fileSystem.exists(kMigratorLog));
}

TEST_F(TelemetryHandoffTest, AFailureOfTheMetricsDoesNotKeepTheLogFromMoving) {
  machine.faults.fail("FirmwareVariables.setString", EIO);
  synchronize();
  EXPECT_TRUE(machine.fileSystem.exists(onUpdateVolume("loam_migrator.log")));
  EXPECT_TRUE(machine.fileSystem.exists(kMigratorMetrics));
}

TEST_F(TelemetryHandoffTest, SettingAShadowedValueWithoutAnUpdateVolumeSucceeds) {
  EXPECT_TRUE(manager->_setShadowedNVRAMValue("v", "k", std::nullopt));
  EXPECT_FALSE(machine.journal.contains("PropertyListFiles."));
}

TEST_F(TelemetryHandoffTest, SettingAShadowedValueTellsThatTheFileCannotBeWritten) {
  machine.fileSystem.writeDictionary("/Volumes/u/nvram.plist", {});
  machine.faults.fail("PropertyListFiles.writeDictionary", EROFS);
  EXPECT_FALSE(manager->_setShadowedNVRAMValue("v", "k", "/Volumes/u"));
}

}  // namespace
}  // namespace marrow
