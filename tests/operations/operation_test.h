// A test with a machine, its storage controller and the shared state, and what operations need of
// them.
#pragma once

#include "engine/operation.h"
#include "power/state_manager.h"
#include "storage/storage_controller.h"
#include "tests/host/host_test.h"

#include <memory>
#include <string>
#include <utility>

namespace marrow {

class OperationTest : public HostTest {
 protected:
  OperationTest() {
    const Host host = machine.host();
    controller = MWStorageController::initWithError(
        {host.kernelVariables, host.deviceRegistry, host.media, host.diskArbitration,
         host.taskQueues, host.files, host.propertyListFiles, host.process},
        nullptr);
    state = std::make_shared<MWStateManager>(controller, machine.power);
    forgetTheStart();
  }

  // A new operation that shares the state.
  template <typename Operation, typename... Arguments>
  std::shared_ptr<Operation> create(Arguments&&... arguments) {
    auto operation = std::make_shared<Operation>(std::forward<Arguments>(arguments)...);
    operation->setOperationQueueDataSource(state);
    return operation;
  }

  void forgetTheStart() {
    machine.journal.clear();
    machine.log.clear();
  }

  bool hasLogged(LogLevel level, const std::string& text) const {
    return machine.log.has(level, "Operations", text);
  }

  bool isRefusingMounts() const { return machine.arbitration.scheduledSessions() > 0; }

  std::shared_ptr<MWStorageController> controller;
  std::shared_ptr<MWStateManager> state;
};

// What an error record says beside its domain and code.
inline ErrorRef underlying(const ErrorRef& error) {
  return error ? error->underlyingError() : nullptr;
}

inline void expectError(const ErrorRef& error, const std::string& domain, std::int64_t code) {
  ASSERT_TRUE(error);
  EXPECT_EQ(error->domain(), domain);
  EXPECT_EQ(error->code(), code);
}

}  // namespace marrow
