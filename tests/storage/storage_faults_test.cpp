// Everything that a controller does, again and again, each time with another call failing.
#include "tests/storage/storage_test.h"

#include <cerrno>

namespace marrow {
namespace {

MWStorageController::Services servicesOf(InMemoryHost& machine) {
  return {machine.kernelVariables, machine.registry, machine.partitions,    machine.arbitration,
          machine.queues,          machine.files,    machine.propertyLists, machine.process};
}

// The life of a controller that is asked for everything.
void live(InMemoryHost& machine) {
  ErrorRef error;
  const auto controller = MWStorageController::initWithError(servicesOf(machine), &error);
  if (!controller) {
    EXPECT_NE(error, nullptr);
    return;
  }
  controller->systemVolume();
  controller->dataVolumeDevNode();
  controller->prebootVolumeMountPoint();
  controller->recoveryVolumeMountPoint();
  controller->updateVolumeMountPoint();
  controller->templateMigrationCookie();
  controller->startDissentingMounts();
  machine.arbitration.requestMount(kExternalVolume);
  controller->unmountContainer(&error);
  controller->syncChangesToDisk("/Volumes");
  controller->stopDissentingMounts();
}

// The same on a machine of its own whose call with this number fails. True when there was one.
bool liveWithFailingCall(std::size_t number) {
  InMemoryHost machine;
  useLogService(&machine.log);
  machine.faults.failCallNumber(number, EIO);
  try {
    live(machine);
  } catch (const RunEnded& end) {
    EXPECT_EQ(end.kind, RunEnded::Kind::abort);
    EXPECT_EQ(machine.journal.count("Files.close"), 1U);
  }
  const auto refused = machine.journal.count("Log.default[Operations] Dissenting mount of");
  EXPECT_EQ(machine.registry.references(), static_cast<int>(refused));
  EXPECT_EQ(machine.arbitration.sessions(), 0U);
  EXPECT_EQ(machine.queues.pendingTasks(), 0U);
  useLogService(nullptr);
  return machine.journal.calls().size() >= number;
}

TEST(StorageFaults, LoseNoReferenceAndNoSessionWhicheverCallFails) {
  std::size_t number = 1;
  while (liveWithFailingCall(number) && !testing::Test::HasFailure()) {
    ++number;
  }
  EXPECT_FALSE(testing::Test::HasFailure()) << "with call " << number << " failing";
  EXPECT_GT(number, 50U);
}

}  // namespace
}  // namespace marrow
