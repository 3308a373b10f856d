// A test with a storage controller on the default machine.
#pragma once

#include "storage/storage_controller.h"
#include "tests/host/host_test.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

class StorageTest : public HostTest {
 protected:
  using Texts = std::vector<std::string>;

  MWStorageController::Services services() {
    return {machine.kernelVariables, machine.registry, machine.partitions,    machine.arbitration,
            machine.queues,          machine.files,    machine.propertyLists, machine.process};
  }

  // A new controller; the journal and the log begin after its creation.
  std::shared_ptr<MWStorageController> createController() {
    ErrorRef error;
    auto controller = MWStorageController::initWithError(services(), &error);
    EXPECT_NE(controller, nullptr) << describe(error);
    EXPECT_EQ(error, nullptr);
    machine.journal.clear();
    machine.log.clear();
    return controller;
  }

  // Every message as "LEVEL[CATEGORY] TEXT", in order.
  Texts logged() { return machine.journal.calls("Log."); }

  static std::string node(const std::string& name) { return "/dev/" + name; }
};

}  // namespace marrow
