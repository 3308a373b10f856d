#include "power/state_manager.h"

#include "tests/host/host_test.h"

#include <cerrno>
#include <vector>

namespace marrow {
namespace {

class StateManager : public HostTest {
 protected:
  using Texts = std::vector<std::string>;

  MWStateManager createManager() { return {nullptr, machine.power}; }
  void refuse(const std::string& type, int status) {
    machine.faults.fail("PowerAssertions.create", status).when(type);
  }
  // The assertions that a manager made, and what was logged, in order.
  Texts assertionsAndLog() { return machine.journal.calls({"PowerAssertions.", "Log."}); }
};

const std::string kSoftwareUpdate = "PowerAssertions.create SoftwareUpdateTask 255 marrowd";
const std::string kSystemSleep = "PowerAssertions.create PreventUserIdleSystemSleep 255 marrowd";
const std::string kDisplaySleep =
    "PowerAssertions.create PreventUserIdleDisplaySleep 255 Kilnworks";

TEST_F(StateManager, AnnouncesAndTakesThreeAssertionsInOrder) {
  createManager();
  EXPECT_EQ(assertionsAndLog(),
            (Texts{"Log.default Taking Software Update power assertion", kSoftwareUpdate,
                   "Log.default Disabling system idle sleep.", kSystemSleep,
                   "Log.default Disabling user idle display sleep.", kDisplaySleep}));
}

TEST_F(StateManager, StoresTheIdentifiersThatTheMachineHandedBack) {
  const auto manager = createManager();
  const auto& held = machine.power.held();
  ASSERT_EQ(held.size(), 3U);
  EXPECT_EQ(manager.softwareUpdateAssertion(), held[0].identifier);
  EXPECT_EQ(manager.systemSleepAssertion(), held[1].identifier);
  EXPECT_EQ(manager.displaySleepAssertion(), held[2].identifier);
  EXPECT_NE(manager.softwareUpdateAssertion(), manager.systemSleepAssertion());
  EXPECT_NE(manager.systemSleepAssertion(), manager.displaySleepAssertion());
}

TEST_F(StateManager, NamesTheDisplayAssertionUnlikeTheOthers) {
  createManager();
  const auto& held = machine.power.held();
  ASSERT_EQ(held.size(), 3U);
  EXPECT_EQ(held[0].name, "marrowd");
  EXPECT_EQ(held[1].name, "marrowd");
  EXPECT_EQ(held[2].name, "Kilnworks");
}

TEST_F(StateManager, NeverReleasesAnAssertion) {
  { createManager(); }
  EXPECT_EQ(machine.power.held().size(), 3U);
}

TEST_F(StateManager, IsCreatedAlsoWhenEveryAssertionIsRefused) {
  machine.faults.fail("PowerAssertions.create", ENOSYS);
  const auto manager = createManager();
  EXPECT_EQ(manager.softwareUpdateAssertion(), 0U);
  EXPECT_EQ(manager.systemSleepAssertion(), 0U);
  EXPECT_EQ(manager.displaySleepAssertion(), 0U);
  EXPECT_EQ(machine.journal.calls("Log.error"),
            (Texts{"Log.error Software update power assertion failed: 38",
                   "Log.error System sleep prevention failed: 38",
                   "Log.error Display sleep prevention failed: 38"}));
}

TEST_F(StateManager, TakesTheOthersWhenTheFirstIsRefused) {
  refuse("SoftwareUpdateTask", EPERM);
  const auto manager = createManager();
  EXPECT_EQ(manager.softwareUpdateAssertion(), 0U);
  EXPECT_NE(manager.systemSleepAssertion(), 0U);
  EXPECT_NE(manager.displaySleepAssertion(), 0U);
  EXPECT_EQ(machine.journal.calls("Log.error"),
            Texts{"Log.error Software update power assertion failed: 1"});
}

TEST_F(StateManager, TakesTheThirdWhenTheSecondIsRefused) {
  refuse("PreventUserIdleSystemSleep", EPERM);
  const auto manager = createManager();
  EXPECT_NE(manager.softwareUpdateAssertion(), 0U);
  EXPECT_EQ(manager.systemSleepAssertion(), 0U);
  EXPECT_NE(manager.displaySleepAssertion(), 0U);
  EXPECT_EQ(assertionsAndLog(),
            (Texts{"Log.default Taking Software Update power assertion", kSoftwareUpdate,
                   "Log.default Disabling system idle sleep.", kSystemSleep,
                   "Log.error System sleep prevention failed: 1",
                   "Log.default Disabling user idle display sleep.", kDisplaySleep}));
}

TEST_F(StateManager, KeepsTheOthersWhenTheThirdIsRefused) {
  refuse("PreventUserIdleDisplaySleep", EPERM);
  const auto manager = createManager();
  EXPECT_NE(manager.softwareUpdateAssertion(), 0U);
  EXPECT_NE(manager.systemSleepAssertion(), 0U);
  EXPECT_EQ(manager.displaySleepAssertion(), 0U);
  EXPECT_EQ(machine.journal.calls("Log.error"),
            Texts{"Log.error Display sleep prevention failed: 1"});
}

// Refuses with a status beyond the signed range, and hands an identifier back nevertheless.
class StrangePower : public PowerAssertions {
 public:
  std::uint32_t create(const std::string&, std::uint32_t, const std::string&,
                       PowerAssertionID& assertion) override {
    EXPECT_EQ(assertion, 0U);
    assertion = 7;
    return 0xE00002BC;
  }
};

TEST_F(StateManager, PrintsTheStatusWithoutASign) {
  StrangePower power;
  const MWStateManager manager(nullptr, power);
  EXPECT_TRUE(machine.log.has(LogLevel::error, "", "System sleep prevention failed: 3758097084"));
}

TEST_F(StateManager, IgnoresTheIdentifierOfARefusedAssertion) {
  StrangePower power;
  const MWStateManager manager(nullptr, power);
  EXPECT_EQ(manager.softwareUpdateAssertion(), 0U);
  EXPECT_EQ(manager.systemSleepAssertion(), 0U);
  EXPECT_EQ(manager.displaySleepAssertion(), 0U);
}

TEST_F(StateManager, HasNoMigratorPathsAtFirst) {
  const auto manager = createManager();
  EXPECT_EQ(manager.loamMigratorLogPath(), std::nullopt);
  EXPECT_EQ(manager.loamMigratorMetricsPath(), std::nullopt);
}

TEST_F(StateManager, ServesTheOperationsAsTheirDataSource) {
  auto manager = createManager();
  MWOperationQueueDataSource& source = manager;
  source.setLoamMigratorLogPath("/tmp/log");
  source.setLoamMigratorMetricsPath("/tmp/metrics");
  EXPECT_EQ(source.loamMigratorLogPath(), "/tmp/log");
  EXPECT_EQ(source.loamMigratorMetricsPath(), "/tmp/metrics");
  EXPECT_EQ(manager.loamMigratorLogPath(), "/tmp/log");
  EXPECT_EQ(manager.loamMigratorMetricsPath(), "/tmp/metrics");
  source.setLoamMigratorLogPath(std::nullopt);
  EXPECT_EQ(source.loamMigratorLogPath(), std::nullopt);
  EXPECT_EQ(source.loamMigratorMetricsPath(), "/tmp/metrics");
}

TEST_F(StateManager, KeepsTheStorageControllerThatItIsGiven) {
  const auto controller = MWStorageController::initWithError(
      {machine.kernelVariables, machine.registry, machine.partitions, machine.arbitration,
       machine.queues, machine.files, machine.propertyLists, machine.process},
      nullptr);
  ASSERT_NE(controller, nullptr);
  MWStateManager manager(controller, machine.power);
  EXPECT_EQ(manager.storageController(), controller);
  EXPECT_EQ(controller.use_count(), 2);
  manager.setStorageController(nullptr);
  EXPECT_EQ(manager.storageController(), nullptr);
}

TEST_F(StateManager, KeepsTheIdentifiersThatItsSettersAreGiven) {
  auto manager = createManager();
  manager.setSoftwareUpdateAssertion(11);
  manager.setSystemSleepAssertion(12);
  manager.setDisplaySleepAssertion(13);
  EXPECT_EQ(manager.softwareUpdateAssertion(), 11U);
  EXPECT_EQ(manager.systemSleepAssertion(), 12U);
  EXPECT_EQ(manager.displaySleepAssertion(), 13U);
}

}  // namespace
}  // namespace marrow
