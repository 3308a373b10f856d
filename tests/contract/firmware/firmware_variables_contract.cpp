#include "tests/contract/firmware/firmware_machine.h"

namespace marrow {
namespace {

const std::string kKey = "OTA-migrator-metrics";

class FirmwareVariablesContract : public FirmwareContract {
 protected:
  FirmwareVariables& variables = machine->firmwareVariables();
};

TEST_P(FirmwareVariablesContract, AVariableThatWasNeverSetIsAbsent) {
  EXPECT_EQ(variables.string(kKey), std::nullopt);
}

TEST_P(FirmwareVariablesContract, AVariableIsReadBackAsItWasSet) {
  EXPECT_TRUE(variables.setString("volumes=7 \xc3\xa9", kKey, std::nullopt));
  EXPECT_EQ(variables.string(kKey), "volumes=7 \xc3\xa9");
}

TEST_P(FirmwareVariablesContract, ALaterValueTakesThePlaceOfTheFormerWhateverTheirLengths) {
  for (const std::string& value : {std::string("long value"), std::string("x"), std::string("xy"),
                                   std::string(1024, 'z'), std::string("end")}) {
    EXPECT_TRUE(variables.setString(value, kKey, std::nullopt));
    EXPECT_EQ(variables.string(kKey), value);
  }
}

TEST_P(FirmwareVariablesContract, NoValueDeletes) {
  variables.setString("value", kKey, std::nullopt);
  EXPECT_TRUE(variables.setString(std::nullopt, kKey, std::nullopt));
  EXPECT_EQ(variables.string(kKey), std::nullopt);
}

TEST_P(FirmwareVariablesContract, DeletingWhatIsNotThereSucceeds) {
  EXPECT_TRUE(variables.setString(std::nullopt, kKey, std::nullopt));
}

TEST_P(FirmwareVariablesContract, AnEmptyValueReadsAsNothingOrAsEmpty) {
  variables.setString("value", kKey, std::nullopt);
  EXPECT_TRUE(variables.setString("", kKey, std::nullopt));
  EXPECT_EQ(variables.string(kKey).value_or(""), "");
}

TEST_P(FirmwareVariablesContract, KeysAreDistinctAndTheirCaseCounts) {
  variables.setString("lower", "key", std::nullopt);
  variables.setString("upper", "KEY", std::nullopt);
  EXPECT_EQ(variables.string("key"), "lower");
  EXPECT_EQ(variables.string("KEY"), "upper");
}

TEST_P(FirmwareVariablesContract, ANamespaceOfItsOwnIsNotTheDefaultOne) {
  const std::string other = "4a67b082-0a4c-41cf-b6c7-440b29bb8c4f";
  variables.setString("ours", kKey, std::nullopt);
  EXPECT_TRUE(variables.setString("theirs", kKey, other));
  EXPECT_EQ(variables.string(kKey), "ours");
  EXPECT_TRUE(variables.setString(std::nullopt, kKey, other));
  EXPECT_EQ(variables.string(kKey), "ours");
}

TEST_P(FirmwareVariablesContract, ACommittedVariableOutlivesTheRestart) {
  variables.setString("value", kKey, std::nullopt);
  EXPECT_TRUE(variables.forceSync());
  machine->restart();
  EXPECT_EQ(machine->firmwareVariables().string(kKey), "value");
}

TEST_P(FirmwareVariablesContract, WhatTheStoreRefusesLeavesTheVariableAsItWas) {
  variables.setString("old", kKey, std::nullopt);
  machine->refuseVariables();
  EXPECT_FALSE(variables.setString("new", kKey, std::nullopt));
  EXPECT_EQ(variables.string(kKey), "old");
  EXPECT_FALSE(variables.setString(std::nullopt, kKey, std::nullopt));
  EXPECT_EQ(variables.string(kKey), "old");
}

INSTANTIATE_TEST_SUITE_P(Machines, FirmwareVariablesContract, kFirmwareMachines,
                         firmwareMachineName);

}  // namespace
}  // namespace marrow
