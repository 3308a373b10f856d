// Runs the operations one after another, in the order in which they were added, on the thread that
// starts the run, and stops at the first that fails. About once a second a task queue of its own
// reports to the delegate how far the run is.
//
// On internal builds one operation of a run can be made to fail, to crash the machine, to be
// skipped, or to run several times, by firmware variables that are set before the machine reboots
// into the daemon.
#pragma once

#include "engine/operation.h"
#include "engine/operation_queue_data_source.h"
#include "engine/operation_queue_delegate.h"
#include "engine/progress_report.h"
#include "host/clock.h"
#include "host/error_record.h"
#include "host/firmware_variables.h"
#include "host/os_variant.h"
#include "host/progress.h"
#include "host/reboot.h"
#include "host/task_queues.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace marrow {

// What a run does in place of running one operation. It gets the run's error slot, which is never
// null and holds what the operation before left there, and returns the operation's success.
using SimulatedAction = std::function<bool(MWOperation& operation, ErrorSlot error)>;

// Always owned by a shared_ptr: a last progress report may come just after a run has returned, and
// must find the queue or know that it is gone.
//
// Threads: one thread at a time adds operations, arms actions and runs. What a report reads may be
// read and set by any thread; the fields that it does not read say so.
class MWOperationQueue : public std::enable_shared_from_this<MWOperationQueue> {
 public:
  // All of them outlive the queue.
  struct Services {
    TaskQueues& taskQueues;
    Clock& clock;
    FirmwareVariables& firmwareVariables;
    OSVariant& osVariant;
    Reboot& reboot;
  };

  using Operations = std::vector<std::shared_ptr<MWOperation>>;

  MWOperationQueue(std::shared_ptr<MWOperationQueueDataSource> dataSource,
                   std::weak_ptr<MWOperationQueueDelegate> delegate, Services services);

  // Hands the operation (not null) the data source, appends it, and adds its estimate to the total.
  void addOperation(const std::shared_ptr<MWOperation>& operation);

  // Runs everything. True when every operation succeeded, also when there is none. The slot (which
  // may be null) receives what the last operation that ran left as its error, also on success. A
  // second run begins again with the first operation. Exceptions of an operation pass through.
  bool startAndReturnError(ErrorSlot error);

  // The normal run of one operation, the whole of it: its success, and its error in the slot, which
  // must not be null.
  bool _runOperation(MWOperation& operation, ErrorSlot error);

  // Seconds that the operations that have not run yet expect to take; 0 when the run has ended.
  double estimatedTimeRemaining() const;

  // Seconds since the run began, or that it took; 0 before the first.
  double elapsedTime() const;

  // Arms what the firmware variables ask for, where the build honours them, and deletes them in any
  // case, so that they count for one boot.
  void setSimulatedActionFromNVRAM();

  // Arms `action` ("error", "panic", "skip" or "exercise", with "_" before it when the operation
  // itself is not to run) for the first operation of this class in the next run. Any other word
  // disarms. `repeat` is for "exercise": how many runs, 0 counting as 1.
  void setSimulatedAction(std::string_view action, const std::string& operationName,
                          std::uint64_t repeat);
  void clearSimulatedAction();

  // The actions. The slot must not be null.
  bool _simError(MWOperation& operation, ErrorSlot error);
  bool _simPanic(MWOperation& operation, ErrorSlot error);
  bool _simSkip(MWOperation& operation, ErrorSlot error);
  bool _simExercise(MWOperation& operation, std::uint64_t count, ErrorSlot error);

  // Not synchronised.
  std::shared_ptr<MWOperationQueueDataSource> dataSource() const { return _dataSource; }
  void setDataSource(std::shared_ptr<MWOperationQueueDataSource> dataSource) {
    _dataSource = std::move(dataSource);
  }

  // Null once it is gone.
  std::shared_ptr<MWOperationQueueDelegate> delegate() const;
  void setDelegate(std::weak_ptr<MWOperationQueueDelegate> delegate);

  // Nothing here uses it. Not synchronised.
  std::shared_ptr<Progress> progress() const { return _progress; }
  void setProgress(std::shared_ptr<Progress> progress) { _progress = std::move(progress); }

  Operations queue() const { return read(&RunState::queue); }
  void setQueue(Operations queue) { write(&RunState::queue, std::move(queue)); }

  // Null while nothing runs.
  std::shared_ptr<MWOperation> currentOperation() const {
    return read(&RunState::currentOperation);
  }
  void setCurrentOperation(std::shared_ptr<MWOperation> operation) {
    write(&RunState::currentOperation, std::move(operation));
  }

  // Seconds.
  double totalEstimatedTime() const { return read(&RunState::totalEstimatedTime); }
  void setTotalEstimatedTime(double seconds) { write(&RunState::totalEstimatedTime, seconds); }
  double trackedElapsedTime() const { return read(&RunState::trackedElapsedTime); }
  void setTrackedElapsedTime(double seconds) { write(&RunState::trackedElapsedTime, seconds); }

  // Moments of the clock, in seconds.
  std::optional<double> startTime() const { return read(&RunState::startTime); }
  void setStartTime(std::optional<double> moment) { write(&RunState::startTime, moment); }
  std::optional<double> endTime() const { return read(&RunState::endTime); }
  void setEndTime(std::optional<double> moment) { write(&RunState::endTime, moment); }
  double currentOperationStartTime() const { return read(&RunState::currentOperationStartTime); }
  void setCurrentOperationStartTime(double moment) {
    write(&RunState::currentOperationStartTime, moment);
  }

  // What is armed: empty and absent when nothing is. Not synchronised.
  std::string simulateOperationName() const { return _simulateOperationName; }
  void setSimulateOperationName(std::string name) { _simulateOperationName = std::move(name); }
  SimulatedAction simulateAction() const { return _simulateAction; }
  void setSimulateAction(SimulatedAction action) { _simulateAction = std::move(action); }

 private:
  using ActionMethod = bool (MWOperationQueue::*)(MWOperation&, ErrorSlot);

  template <typename Field>
  Field read(Field RunState::*field) const {
    const std::lock_guard guard(_lock);
    return _state.*field;
  }
  // What was there before is released after the lock.
  template <typename Field>
  void write(Field RunState::*field, std::type_identity_t<Field> value) {
    const std::lock_guard guard(_lock);
    std::swap(_state.*field, value);
  }
  RunState state() const;
  void append(const std::shared_ptr<MWOperation>& operation);

  void begin();
  void end();
  std::unique_ptr<QueueTimer> startReporting(SerialTaskQueue& progressQueue);
  void reportProgress();

  bool runOperations(ErrorSlot error);
  bool runOrSimulate(MWOperation& operation, ErrorSlot error);
  std::shared_ptr<MWOperation> enterFirst();
  std::shared_ptr<MWOperation> advance(const MWOperation& done, std::optional<std::size_t> next);
  std::shared_ptr<MWOperation> enter(std::optional<std::size_t> index, double now);

  SimulatedAction takeSimulatedAction(const MWOperation& operation);
  SimulatedAction actionNamed(std::string_view name, bool runsFirst, std::uint64_t repeat);
  SimulatedAction afterRun(bool runsFirst, ActionMethod action);
  bool armFromVariables();
  void deleteSimulationVariables();

  const Services _services;
  std::shared_ptr<MWOperationQueueDataSource> _dataSource;
  std::shared_ptr<Progress> _progress;
  std::string _simulateOperationName;
  SimulatedAction _simulateAction;

  // Shared by the running thread and the progress task queue. Never held while an operation, the
  // delegate or a progress object is called.
  mutable std::mutex _lock;
  RunState _state;                                    // under _lock
  std::weak_ptr<MWOperationQueueDelegate> _delegate;  // under _lock
};

}  // namespace marrow
