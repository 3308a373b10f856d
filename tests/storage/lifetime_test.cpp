// What the end of a controller does, and in which order.
#include "tests/storage/storage_test.h"

#include <functional>

namespace marrow {
namespace {

// A queue that says when it is released.
class WatchedQueue : public SerialTaskQueue {
 public:
  WatchedQueue(std::shared_ptr<SerialTaskQueue> queue, std::function<void()> released)
      : _queue(std::move(queue)), _released(std::move(released)) {}
  ~WatchedQueue() override { _released(); }
  const std::string& label() const override { return _queue->label(); }
  void async(Task task) override { _queue->async(std::move(task)); }
  void sync(Task task) override { _queue->sync(std::move(task)); }
  std::unique_ptr<QueueTimer> createTimer(double interval, double leeway, Task handler) override {
    return _queue->createTimer(interval, leeway, std::move(handler));
  }

 private:
  std::shared_ptr<SerialTaskQueue> _queue;
  std::function<void()> _released;
};

// Lets a test reach the queue that a controller makes.
class WatchedQueues : public TaskQueues {
 public:
  explicit WatchedQueues(TaskQueues& queues) : _queues(queues) {}
  std::shared_ptr<SerialTaskQueue> createSerialQueue(const std::string& label) override {
    auto queue =
        std::make_shared<WatchedQueue>(_queues.createSerialQueue(label), [this] { onRelease(); });
    created = queue;
    return queue;
  }
  SerialTaskQueue& mainQueue() override { return _queues.mainQueue(); }
  void runMainLoop() override { _queues.runMainLoop(); }

  std::weak_ptr<SerialTaskQueue> created;
  std::function<void()> onRelease = [] {};

 private:
  TaskQueues& _queues;
};

class StorageControllerLifetime : public StorageTest {
 protected:
  std::shared_ptr<MWStorageController> createWatched() {
    const auto plain = services();
    return MWStorageController::initWithError(
        {plain.kernelVariables, plain.deviceRegistry, plain.media, plain.diskArbitration, watched,
         plain.files, plain.propertyListFiles, plain.process},
        nullptr);
  }

  WatchedQueues watched{machine.queues};
};

TEST_F(StorageControllerLifetime, EndsTheRefusalOfMounts) {
  auto controller = createController();
  controller->startDissentingMounts();
  machine.journal.clear();
  controller.reset();
  EXPECT_EQ(machine.journal.count("DASession.setQueue none"), 1U);
  EXPECT_EQ(machine.arbitration.sessions(), 0U);
  machine.partitions.unmountAll();
  EXPECT_FALSE(machine.arbitration.requestMount(kUpdateVolume));
}

TEST_F(StorageControllerLifetime, WaitsForTheDecisionsThatAreQueued) {
  auto controller = createWatched();
  controller->startDissentingMounts();
  std::optional<std::string> groupAtDecision;
  watched.created.lock()->async(
      [&, raw = controller.get()] { groupAtDecision = raw->volumeGroupUUID(); });
  controller.reset();
  EXPECT_EQ(groupAtDecision, kBootedGroup);
  EXPECT_EQ(machine.queues.pendingTasks(), 0U);
}

TEST_F(StorageControllerLifetime, UnschedulesTheSessionBeforeItDrainsTheQueue) {
  auto controller = createWatched();
  controller->startDissentingMounts();
  machine.journal.clear();
  controller.reset();
  const auto calls = machine.journal.calls({"DASession.setQueue", "SerialTaskQueue.sync"});
  ASSERT_GE(calls.size(), 2U);
  EXPECT_EQ(calls.front(), "DASession.setQueue none");
  EXPECT_EQ(calls.back(), "SerialTaskQueue.sync MWStorageController.DASession");
}

TEST_F(StorageControllerLifetime, DrainsItsQueueAlsoWhenNoMountsWereRefused) {
  auto controller = createWatched();
  bool ran = false;
  watched.created.lock()->async([&ran] { ran = true; });
  controller.reset();
  EXPECT_TRUE(ran);
}

TEST_F(StorageControllerLifetime, ReleasesTheContainerBeforeItsQueue) {
  auto controller = createWatched();
  const std::weak_ptr<DVStaticLoamContainer> container = controller->loamContainer();
  bool containerWasGone = false;
  watched.onRelease = [&] { containerWasGone = container.expired(); };
  controller->startDissentingMounts();
  controller.reset();
  EXPECT_TRUE(containerWasGone);
  EXPECT_TRUE(watched.created.expired());
}

TEST_F(StorageControllerLifetime, EndsWithNothingUnmounted) {
  const auto mounted = machine.partitions.mountedVolumes();
  createController();
  EXPECT_EQ(machine.partitions.mountedVolumes(), mounted);
  EXPECT_FALSE(machine.journal.contains("DVStaticLoamVolume.unmount"));
}

TEST_F(StorageControllerLifetime, IsNotProlongedByTheSession) {
  auto controller = createController();
  const std::weak_ptr<MWStorageController> weak = controller;
  controller->startDissentingMounts();
  controller.reset();
  EXPECT_TRUE(weak.expired());
}

}  // namespace
}  // namespace marrow
