#include "daemon/log_channels.h"
#include "tests/daemon/manager_test.h"

#include <cerrno>
#include <cstdlib>
#include <new>
#include <utility>

namespace {

// The allocation of this size that fails, or 0 for none.
std::size_t failingAllocation = 0;

}  // namespace

// The form that answers null instead of throwing: what the metrics are read into.
void* operator new[](std::size_t size, const std::nothrow_t& /*tag*/) noexcept {
  if (size == failingAllocation) {
    return nullptr;
  }
  try {
    return ::operator new[](size);
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

namespace marrow {
namespace {

constexpr char kMetrics[] = "/private/tmp/metrics";
constexpr char kMetricsVariable[] = "OTA-migrator-metrics";

class TelemetryMetricsTest : public ManagerTest {
 protected:
  TelemetryMetricsTest() : manager(makeManager()) { machine.log.clear(); }

  void write(const std::string& metrics) {
    machine.fileSystem.write(kMetrics, metrics);
    manager->_writeLoamMigratorMetricsToNVRAMForPath(kMetrics, std::nullopt);
  }

  std::optional<std::string> variable() const { return machine.firmware.value(kMetricsVariable); }

  // Everything stayed as it was, and this was the one thing logged.
  void expectFailure(const std::string& text) {
    EXPECT_EQ(machine.log.texts(), std::vector<std::string>{text});
    EXPECT_TRUE(machine.log.has(LogLevel::error, "", text));
    EXPECT_EQ(variable(), std::nullopt);
    expectFileKept();
  }

  void expectFileKept() {
    EXPECT_TRUE(machine.fileSystem.exists(kMetrics));
    EXPECT_TRUE(machine.files.openPaths().empty());
    EXPECT_FALSE(machine.journal.contains("FirmwareVariables.forceSync"));
  }

  std::shared_ptr<MWDaemonManager> manager;
};

TEST_F(TelemetryMetricsTest, AFileOf1025BytesIsCutTo1024AndSaysSo) {
  write(std::string(1025, 'm'));
  EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                              "Loam Metrics: Truncating log from /private/tmp/metrics to 1024 "
                              "bytes from 1025\n"));
  EXPECT_EQ(variable(), std::string(1024, 'm'));
}

TEST_F(TelemetryMetricsTest, WhiteSpaceBeforeTheCutIsTrimmedToo) {
  write(std::string(1020, 'm') + "    more");
  EXPECT_EQ(variable(), std::string(1020, 'm'));
}

TEST_F(TelemetryMetricsTest, AFileOfExactly1024BytesIsNotCut) {
  write(std::string(1024, 'm'));
  EXPECT_TRUE(machine.log.texts(LogLevel::error).empty());
  EXPECT_EQ(variable(), std::string(1024, 'm'));
}

TEST_F(TelemetryMetricsTest, AFileOfWhiteSpaceAloneIsRefusedAndKept) {
  write("\n\n  \t");
  expectFailure("Loam Metrics: Metrics file only has space characters in it (" +
                std::string(kMetrics) + ").");
}

TEST_F(TelemetryMetricsTest, EveryKindOfWhiteSpaceAtTheEndIsTrimmed) {
  write("abc \t\n\v\f\r");
  EXPECT_EQ(variable(), "abc");
}

TEST_F(TelemetryMetricsTest, LettersABlankAndANewlineBecomeTheLetters) {
  write("abc \n");
  EXPECT_EQ(variable(), "abc");
}

TEST_F(TelemetryMetricsTest, SuccessIsLoggedCommittedAndRemovesTheFile) {
  write("abc");
  EXPECT_EQ(machine.log.texts(),
            (std::vector<std::string>{"Metrics from /private/tmp/metrics: abc\n",
                                      "Loam Metrics: Have been successfully written to NVRAM."}));
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "", "Metrics from /private/tmp/metrics: abc\n"));
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "",
                              "Loam Metrics: Have been successfully written to NVRAM."));
  EXPECT_EQ(machine.firmware.committedValue(kMetricsVariable), "abc");
  EXPECT_FALSE(machine.fileSystem.exists(kMetrics));
  EXPECT_TRUE(machine.files.openPaths().empty());
}

TEST_F(TelemetryMetricsTest, CallsComeInOrder) {
  machine.fileSystem.writeDictionary("/Volumes/u/nvram.plist", {});
  machine.fileSystem.write(kMetrics, "abc");
  machine.journal.clear();
  manager->_writeLoamMigratorMetricsToNVRAMForPath(kMetrics, "/Volumes/u");
  const auto calls = machine.journal.calls({"Files.", "FirmwareVariables.", "PropertyListFiles."});
  std::vector<std::string> names;
  for (const std::string& call : calls) {
    names.push_back(call.substr(0, call.find(' ')));
  }
  EXPECT_EQ(names, (std::vector<std::string>{
                       "Files.open", "Files.statusOf", "Files.read", "FirmwareVariables.setString",
                       "PropertyListFiles.readDictionary", "PropertyListFiles.writeDictionary",
                       "FirmwareVariables.forceSync", "Files.unlink", "Files.close"}));
}

TEST_F(TelemetryMetricsTest, AMissingFileIsToldWithItsErrno) {
  manager->_writeLoamMigratorMetricsToNVRAMForPath(kMetrics, std::nullopt);
  EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                              "Loam Metrics: Error trying to open file (/private/tmp/metrics). No "
                              "such file or directory"));
}

TEST_F(TelemetryMetricsTest, AFailingStatusIsToldWithItsErrno) {
  machine.faults.fail("Files.statusOf", EIO);
  write("abc");
  expectFailure(
      "Loam Metrics: Error trying to stat file (/private/tmp/metrics). Input/output error");
}

TEST_F(TelemetryMetricsTest, AnEmptyFileIsRefused) {
  write("");
  expectFailure("Loam Metrics: Metrics file has a 0-size (/private/tmp/metrics).");
}

TEST_F(TelemetryMetricsTest, AFailingAllocationNamesTheLengthPlusOne) {
  failingAllocation = 101;
  write(std::string(100, 'm'));
  failingAllocation = 0;
  expectFailure("Loam Metrics: Cannot allocate metrics buffer of size(101).");
}

TEST_F(TelemetryMetricsTest, AFailingReadNamesTheReadLength) {
  machine.faults.fail("Files.read", EIO);
  write("abc");
  expectFailure("Loam Metrics: Error reading metrics file into log buffer of size(3).");
}

TEST_F(TelemetryMetricsTest, AShortReadIsTakenAsItIs) {
  machine.files.setTransferLimit(2);
  write("abc");
  EXPECT_EQ(variable(), "ab");
  EXPECT_EQ(machine.journal.count("Files.read"), 1U);
}

TEST_F(TelemetryMetricsTest, AReadOfNothingCountsAsWhiteSpaceAlone) {
  machine.files.setTransferLimit(0);
  write("abc");
  expectFailure("Loam Metrics: Metrics file only has space characters in it (" +
                std::string(kMetrics) + ").");
}

TEST_F(TelemetryMetricsTest, ACharacterThatTheCutTearsApartIsNotUTF8) {
  write(std::string(1023, 'm') + "\xC3\xA9");
  EXPECT_EQ(
      machine.journal.calls("Log.error"),
      (std::vector<std::string>{
          "Log.error Loam Metrics: Truncating log from /private/tmp/metrics to 1024 bytes from "
          "1025\n",
          "Log.error Loam Metrics: Metrics file could not be turned into a UTF-8 string."}));
  EXPECT_EQ(variable(), std::nullopt);
  expectFileKept();
}

TEST_F(TelemetryMetricsTest, TheTextEndsAtItsFirstZeroByte) {
  write(std::string("abc\0def", 7));
  EXPECT_EQ(variable(), "abc");
  EXPECT_TRUE(machine.log.has(LogLevel::standard, "Metrics from /private/tmp/metrics: abc\n"));
}

TEST_F(TelemetryMetricsTest, BytesBehindAZeroByteNeedNotBeUTF8) {
  write(std::string("abc\0\xFF", 5));
  EXPECT_EQ(variable(), "abc");
}

TEST_F(TelemetryMetricsTest, AFirmwareStoreThatRefusesIsTold) {
  machine.faults.fail("FirmwareVariables.setString", ENOSPC);
  write("abc");
  EXPECT_EQ(machine.journal.calls("Log.error"),
            std::vector<std::string>{"Log.error "
                                     "Loam Metrics: Unable to write metrics to NVRAM."});
  expectFileKept();
}

TEST_F(TelemetryMetricsTest, AShadowFileThatCannotBeWrittenIsTold) {
  machine.fileSystem.writeDictionary("/Volumes/u/nvram.plist", {});
  machine.faults.fail("PropertyListFiles.writeDictionary", ENOSPC);
  machine.fileSystem.write(kMetrics, "abc");
  manager->_writeLoamMigratorMetricsToNVRAMForPath(kMetrics, "/Volumes/u");
  EXPECT_EQ(machine.journal.calls("Log.error"),
            std::vector<std::string>{"Log.error "
                                     "Loam Metrics: Unable to write metrics to shadow file."});
  expectFileKept();
}

TEST_F(TelemetryMetricsTest, AFailingRemovalOfTheFileIsIgnored) {
  machine.faults.fail("Files.unlink", EACCES);
  write("abc");
  EXPECT_TRUE(machine.log.has(LogLevel::standard,
                              "Loam Metrics: Have been successfully written to NVRAM."));
}

TEST_F(TelemetryMetricsTest, AFailingCommitOfTheStoreIsIgnored) {
  machine.faults.fail("FirmwareVariables.forceSync", EIO);
  write("abc");
  EXPECT_TRUE(machine.log.has(LogLevel::standard,
                              "Loam Metrics: Have been successfully written to NVRAM."));
  EXPECT_FALSE(machine.fileSystem.exists(kMetrics));
}

TEST_F(TelemetryMetricsTest, AFailingCloseEndsTheProcessWithErrno) {
  machine.faults.fail("Files.close", EIO).when(kMetrics);
  machine.fileSystem.write(kMetrics, "abc");
  const RunEnded end =
      endOf([this] { manager->_writeLoamMigratorMetricsToNVRAMForPath(kMetrics, std::nullopt); });
  EXPECT_EQ(end.kind, RunEnded::Kind::abort);
  EXPECT_NE(end.text.find(std::to_string(EIO)), std::string::npos) << end.text;
}

TEST_F(TelemetryMetricsTest, AHugeFileNamesItsSizeCutToASigned32BitNumber) {
  for (const auto& [size, named] : {std::pair{(std::int64_t{1} << 32U) + 5, "5"},
                                    std::pair{std::int64_t{1} << 31U, "-2147483648"}}) {
    machine.fileSystem.write(kMetrics, std::string(2000, 'm'));
    machine.fileSystem.node(kMetrics)->hole = size - 2000;
    manager->_writeLoamMigratorMetricsToNVRAMForPath(kMetrics, std::nullopt);
    EXPECT_TRUE(machine.log.has(LogLevel::error, "",
                                "Loam Metrics: Truncating log from /private/tmp/metrics to 1024 "
                                "bytes from " +
                                    std::string(named) + "\n"));
    EXPECT_EQ(variable(), std::string(1024, 'm'));
  }
}

}  // namespace
}  // namespace marrow
