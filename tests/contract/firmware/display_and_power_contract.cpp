// What keeps the machine awake, and what it shows.
#include "tests/contract/firmware/firmware_machine.h"

#include <cerrno>
#include <cmath>
#include <gmock/gmock.h>

namespace marrow {
namespace {

using testing::ElementsAre;

class PowerAssertionsContract : public FirmwareContract {};
class ProgressDisplayContract : public FirmwareContract {};

const std::vector<std::string> kTypes = {"SoftwareUpdateTask", "PreventUserIdleSystemSleep",
                                         "PreventUserIdleDisplaySleep"};

TEST_P(PowerAssertionsContract, EachAssertionHasAnIdentifierOfItsOwn) {
  machine->allowAssertions(true);
  std::vector<PowerAssertionID> taken;
  for (const std::string& type : kTypes) {
    PowerAssertionID assertion = 0;
    EXPECT_EQ(machine->powerAssertions().create(type, kPowerAssertionLevelOn, "marrowd", assertion),
              0U);
    EXPECT_NE(assertion, 0U);
    EXPECT_THAT(taken, testing::Not(testing::Contains(assertion)));
    taken.push_back(assertion);
  }
}

TEST_P(PowerAssertionsContract, AMachineThatCannotBeKeptAwakeLeavesTheIdentifier) {
  machine->allowAssertions(false);
  for (const std::string& type : kTypes) {
    PowerAssertionID assertion = 77;
    EXPECT_EQ(machine->powerAssertions().create(type, kPowerAssertionLevelOn, "marrowd", assertion),
              static_cast<std::uint32_t>(ENOSYS));
    EXPECT_EQ(assertion, 77U);
  }
}

TEST_P(PowerAssertionsContract, AnUnknownTypeOrLevelIsRefusedAndLeavesTheIdentifier) {
  machine->allowAssertions(true);
  PowerAssertionID assertion = 77;
  const auto refused = static_cast<std::uint32_t>(EINVAL);
  EXPECT_EQ(machine->powerAssertions().create("PreventEverything", kPowerAssertionLevelOn,
                                              "marrowd", assertion),
            refused);
  EXPECT_EQ(machine->powerAssertions().create(kTypes[0], 0, "marrowd", assertion), refused);
  EXPECT_EQ(assertion, 77U);
}

TEST_P(ProgressDisplayContract, RisingPercentagesAreShownInOrder) {
  const auto client = machine->progressDisplay().createClient("Marrow");
  ASSERT_NE(client, nullptr);
  client->showProgressUI();
  client->setProgress(0.0F, false);
  client->setProgress(50.0F, true);
  client->setProgress(100.0F, true);
  EXPECT_THAT(machine->shownPercentages(), ElementsAre(0, 50, 100));
}

TEST_P(ProgressDisplayContract, APercentageThatDoesNotRiseIsNotShown) {
  const auto client = machine->progressDisplay().createClient("Marrow");
  client->showProgressUI();
  for (const float percentage : {0.0F, 30.0F, 20.0F, 30.9F, 31.0F, 0.0F, 100.0F, 99.0F}) {
    client->setProgress(percentage, true);
  }
  EXPECT_THAT(machine->shownPercentages(), ElementsAre(0, 30, 31, 100));
}

TEST_P(ProgressDisplayContract, TheWholeIsShownAsItComes) {
  const auto client = machine->progressDisplay().createClient("Marrow");
  client->showProgressUI();
  client->setProgress(1.0F, true);
  client->setProgress(100.0F, true);
  EXPECT_THAT(machine->shownPercentages(), ElementsAre(1, 100));
}

TEST_P(ProgressDisplayContract, WhatLiesOutsideIsBroughtInsideAndWhatIsNoNumberIsNotShown) {
  const auto client = machine->progressDisplay().createClient("Marrow");
  client->showProgressUI();
  for (const float percentage : {-5.0F, std::nanf(""), 50.0F, 101.0F}) {
    client->setProgress(percentage, true);
  }
  EXPECT_THAT(machine->shownPercentages(), ElementsAre(0, 50, 100));
}

TEST_P(ProgressDisplayContract, NothingIsShownBeforeTheDisplayIs) {
  const auto client = machine->progressDisplay().createClient("Marrow");
  client->setProgress(10.0F, false);
  EXPECT_THAT(machine->shownPercentages(), ElementsAre());
  client->showProgressUI();
  client->showProgressUI();
  EXPECT_THAT(machine->shownPercentages(), ElementsAre(10));
}

TEST_P(ProgressDisplayContract, WhatIsDrawnReachesTheScreenOnceUpdatesAreEnabled) {
  EXPECT_FALSE(machine->displayUpdatesAreEnabled());
  machine->graphicsServer().enableDisplayUpdates();
  EXPECT_TRUE(machine->displayUpdatesAreEnabled());
}

INSTANTIATE_TEST_SUITE_P(Machines, PowerAssertionsContract, kFirmwareMachines, firmwareMachineName);
INSTANTIATE_TEST_SUITE_P(Machines, ProgressDisplayContract, kFirmwareMachines, firmwareMachineName);

}  // namespace
}  // namespace marrow
