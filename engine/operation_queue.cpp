#include "engine/operation_queue.h"

#include "daemon/log_channels.h"

#include <cstddef>
#include <optional>
#include <utility>

namespace marrow {

namespace {

constexpr double kReportInterval = 1.0;  // seconds
constexpr double kReportLeeway = 0.5;    // seconds

}  // namespace

MWOperationQueue::MWOperationQueue(std::shared_ptr<MWOperationQueueDataSource> dataSource,
                                   std::weak_ptr<MWOperationQueueDelegate> delegate,
                                   Services services)
    : _services(services), _dataSource(std::move(dataSource)), _delegate(std::move(delegate)) {}

void MWOperationQueue::addOperation(const std::shared_ptr<MWOperation>& operation) {
  operation->setOperationQueueDataSource(_dataSource);
  append(operation);
  const double estimate = operation->estimatedExecutionTime();
  const std::lock_guard guard(_lock);
  _state.totalEstimatedTime += estimate;
}

void MWOperationQueue::append(const std::shared_ptr<MWOperation>& operation) {
  const std::lock_guard guard(_lock);
  _state.queue.push_back(operation);
}

bool MWOperationQueue::startAndReturnError(ErrorSlot error) {
  begin();
  const auto progressQueue =
      _services.taskQueues.createSerialQueue("com.corvane.MWOperationQueue.Progress");
  const auto timer = startReporting(*progressQueue);
  ErrorRef lastError;
  const bool succeeded = runOperations(&lastError);
  clearSimulatedAction();
  timer->cancel();
  end();
  storeError(error, std::move(lastError));
  return succeeded;
}

void MWOperationQueue::begin() {
  const double now = _services.clock.now();
  const std::lock_guard guard(_lock);
  _state.startTime = now;
  _state.endTime.reset();
  _state.trackedElapsedTime = 0.0;
  _state.currentOperationStartTime = now;
  enter(0, now);
}

void MWOperationQueue::end() {
  const double now = _services.clock.now();
  const std::lock_guard guard(_lock);
  _state.endTime = now;
}

std::unique_ptr<QueueTimer> MWOperationQueue::startReporting(SerialTaskQueue& progressQueue) {
  auto timer = progressQueue.createTimer(kReportInterval, kReportLeeway,
                                         [queue = std::weak_ptr(shared_from_this())] {
                                           if (const auto alive = queue.lock()) {
                                             alive->reportProgress();
                                           }
                                         });
  timer->activate();
  return timer;
}

void MWOperationQueue::reportProgress() {
  const auto report = progressReport(state(), _services.clock);
  const auto receiver = delegate();
  if (report && receiver) {
    receiver->operationQueueReceivedEstimatedTimeRemaining(*this, report->secondsRemaining,
                                                           report->fraction);
  }
}

bool MWOperationQueue::runOperations(ErrorSlot error) {
  bool succeeded = true;
  std::size_t next = 0;
  std::shared_ptr<MWOperation> operation = enterFirst();
  while (operation != nullptr) {
    succeeded = runOrSimulate(*operation, error);
    ++next;
    operation = advance(*operation, succeeded ? std::optional(next) : std::nullopt);
  }
  return succeeded;
}

std::shared_ptr<MWOperation> MWOperationQueue::enterFirst() {
  const double now = _services.clock.now();
  const std::lock_guard guard(_lock);
  return enter(0, now);
}

// One step under the lock, so that no report counts an operation both as done and as current.
std::shared_ptr<MWOperation> MWOperationQueue::advance(const MWOperation& done,
                                                       std::optional<std::size_t> next) {
  const double estimate = done.estimatedExecutionTime();
  const double now = _services.clock.now();
  const std::lock_guard guard(_lock);
  _state.trackedElapsedTime += estimate;
  return enter(next, now);
}

// With the lock held. Null when no operation is to come.
std::shared_ptr<MWOperation> MWOperationQueue::enter(std::optional<std::size_t> index, double now) {
  const bool more = index && *index < _state.queue.size();
  _state.currentOperation = more ? _state.queue[*index] : nullptr;
  if (more) {
    _state.currentOperationStartTime = now;
  }
  return _state.currentOperation;
}

bool MWOperationQueue::runOrSimulate(MWOperation& operation, ErrorSlot error) {
  const SimulatedAction action = takeSimulatedAction(operation);
  return action ? action(operation, error) : _runOperation(operation, error);
}

bool MWOperationQueue::_runOperation(MWOperation& operation, ErrorSlot error) {
  log(operationsLogChannel(), LogLevel::standard, LogEvent::operationStarted,
      "MWOperationQueue: Performing (%@)...", operation.className());
  operation.start();
  operation.waitUntilFinished();
  *error = operation.error();
  return operation.success();
}

double MWOperationQueue::estimatedTimeRemaining() const {
  return marrow::estimatedTimeRemaining(state());
}

double MWOperationQueue::elapsedTime() const {
  const RunState run = state();
  if (!run.startTime) {
    return 0.0;
  }
  return (run.endTime ? *run.endTime : _services.clock.now()) - *run.startTime;
}

RunState MWOperationQueue::state() const {
  const std::lock_guard guard(_lock);
  return _state;
}

std::shared_ptr<MWOperationQueueDelegate> MWOperationQueue::delegate() const {
  const std::lock_guard guard(_lock);
  return _delegate.lock();
}

void MWOperationQueue::setDelegate(std::weak_ptr<MWOperationQueueDelegate> delegate) {
  const std::lock_guard guard(_lock);
  _delegate = std::move(delegate);
}

}  // namespace marrow
