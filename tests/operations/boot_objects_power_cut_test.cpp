// The machine loses its power at each call of an installation in turn, starts anew, and installs
// again.
#include "daemon/log_channels.h"
#include "operations/commit_boot_objects_operation.h"
#include "power/state_manager.h"
#include "storage/storage_controller.h"
#include "tests/host/in_memory_host.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace marrow {
namespace {

struct Live {
  std::string path;
  std::string oldContents;
  std::string newContents;
};

const std::array<Live, 4> kLive = {{
    {kPrebootGroup + "/morrel1/current/image", "old image", "new image"},
    {kPrebootGroup + "/restore/manifest", "old manifest", "new manifest"},
    {kRecoveryGroup + "/" + kBaseSystemImage, "old image", "new image"},
    {"/@disk0s6/" + kBootObjectsPath + "/" + kBaseSystemImage, "old image", "new image"},
}};

class Machine {
 public:
  Machine() { useLogService(&machine.log); }
  ~Machine() { useLogService(nullptr); }
  Machine(const Machine&) = delete;
  Machine& operator=(const Machine&) = delete;

  // One life of the daemon.
  bool install() {
    const Host host = machine.host();
    const auto controller = MWStorageController::initWithError(
        {host.kernelVariables, host.deviceRegistry, host.media, host.diskArbitration,
         host.taskQueues, host.files, host.propertyListFiles, host.process},
        nullptr);
    if (!controller) {
      return false;
    }
    const auto state = std::make_shared<MWStateManager>(controller, host.powerAssertions);
    MWCommitBootObjectsOperation operation(host.files, host.fileTrees);
    operation.setOperationQueueDataSource(state);
    operation.start();
    return operation.success();
  }

  // False when the installation ended before that call.
  bool installCutAt(std::size_t call) {
    machine.faults.cutPowerAtCall(call);
    install();
    return machine.faults.powerIsCut();
  }

  std::string contents(const Live& live) const {
    return machine.fileSystem.contents(live.path).value_or("(missing)");
  }

  void expectInstalled() const {
    for (const Live& live : kLive) {
      EXPECT_EQ(contents(live), live.newContents) << live.path;
    }
  }

  InMemoryHost machine;
};

// Cuts the power at each call in turn; tells how often it did.
std::size_t forEachCut(const std::function<void(Machine&)>& check) {
  for (std::size_t call = 1;; ++call) {
    SCOPED_TRACE("power cut at call " + std::to_string(call));
    Machine machine;
    if (!machine.installCutAt(call)) {
      return call - 1;
    }
    check(machine);
  }
}

// The one moment at which what lies at a staged name is not what was staged.
bool wasCutBeforeAnOldTreeWasRemoved(const Machine& machine) {
  const InMemoryFileSystem& files = machine.machine.fileSystem;
  return files.contents(kPrebootGroup + "/morrel1/proposed/image") == "old image" ||
         files.contents(kPrebootGroup + "/restore-staged/manifest") == "old manifest";
}

TEST(BootObjectsPowerCut, LeavesEveryLiveObjectWhole) {
  const std::size_t cuts = forEachCut([](Machine& machine) {
    for (const Live& live : kLive) {
      const std::string contents = machine.contents(live);
      EXPECT_TRUE(contents == live.oldContents || contents == live.newContents)
          << live.path << " is " << contents;
    }
  });
  EXPECT_GT(cuts, 20U);
}

TEST(BootObjectsPowerCut, IsMadeGoodByARerun) {
  const std::size_t cuts = forEachCut([](Machine& machine) {
    machine.machine.restart();
    EXPECT_TRUE(machine.install());
    machine.expectInstalled();
  });
  EXPECT_GT(cuts, 20U);
}

TEST(BootObjectsPowerCut, BeforeAnOldTreeWasRemovedDoesNotBringItBack) {
  std::size_t cases = 0;
  forEachCut([&cases](Machine& machine) {
    if (!wasCutBeforeAnOldTreeWasRemoved(machine)) {
      return;
    }
    ++cases;
    machine.machine.restart();
    EXPECT_TRUE(machine.install());
    machine.expectInstalled();
    EXPECT_FALSE(machine.machine.fileSystem.exists(kPrebootGroup + "/morrel1/proposed"));
    EXPECT_FALSE(machine.machine.fileSystem.exists(kPrebootGroup + "/restore-staged"));
  });
  EXPECT_EQ(cases, 2U);
}

TEST(BootObjectsPowerCut, IsMadeGoodAlsoWhileTheOldTreeCannotBeRemoved) {
  forEachCut([](Machine& machine) {
    if (!wasCutBeforeAnOldTreeWasRemoved(machine)) {
      return;
    }
    machine.machine.restart();
    machine.machine.faults.fail("FileTrees.removeRecursively", EIO);
    EXPECT_TRUE(machine.install());
    machine.expectInstalled();
    machine.machine.restart();
    EXPECT_TRUE(machine.install());
    machine.expectInstalled();
  });
}

}  // namespace
}  // namespace marrow
