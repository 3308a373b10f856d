// What kind of system it is, and its kernel's variables.
#include "tests/contract/firmware/firmware_machine.h"

#include <cerrno>

namespace marrow {
namespace {

class OSVariantContract : public FirmwareContract {};
class KernelVariablesContract : public FirmwareContract {};

TEST_P(OSVariantContract, ASystemIsABaseSystemOrNot) {
  EXPECT_FALSE(machine->osVariant().isBaseSystem("com.corvane.marrowd"));
  machine->restart();
  machine->makeBaseSystem(true);
  EXPECT_TRUE(machine->osVariant().isBaseSystem("com.corvane.marrowd"));
}

TEST_P(OSVariantContract, ASystemIsInternalOrNot) {
  EXPECT_FALSE(machine->osVariant().hasInternalContent("com.corvane.marrowd"));
  machine->restart();
  machine->makeInternal(true);
  EXPECT_TRUE(machine->osVariant().hasInternalContent("com.corvane.marrowd"));
}

TEST_P(KernelVariablesContract, AVariableIsReadByItsName) {
  machine->setKernelVariable("kern.bootuuid", "6B29FC40");
  machine->setKernelVariable("kern.bootobjectspath", "6B29FC40/boot/A B");
  EXPECT_EQ(machine->kernelVariables().string("kern.bootuuid"), "6B29FC40");
  EXPECT_EQ(machine->kernelVariables().string("kern.bootobjectspath"), "6B29FC40/boot/A B");
}

TEST_P(KernelVariablesContract, AMissingVariableFailsWithENOENT) {
  machine->setKernelVariable("kern.bootuuid", std::nullopt);
  errno = 0;
  EXPECT_EQ(machine->kernelVariables().string("kern.bootuuid"), std::nullopt);
  EXPECT_EQ(errno, ENOENT);
}

TEST_P(KernelVariablesContract, AnEmptyVariableIsEmptyText) {
  machine->setKernelVariable("kern.bootuuid", "");
  EXPECT_EQ(machine->kernelVariables().string("kern.bootuuid"), "");
}

INSTANTIATE_TEST_SUITE_P(Machines, OSVariantContract, kFirmwareMachines, firmwareMachineName);
INSTANTIATE_TEST_SUITE_P(Machines, KernelVariablesContract, kFirmwareMachines, firmwareMachineName);

}  // namespace
}  // namespace marrow
