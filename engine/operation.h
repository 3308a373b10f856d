// One step of finishing the upgrade. It runs on the thread that starts it, from beginning to end,
// and leaves whether it succeeded and, where it did not, an error record.
#pragma once

#include "engine/operation_queue_data_source.h"
#include "host/error_record.h"
#include "host/progress.h"

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>

namespace marrow {

// Failed without saying why.
inline constexpr char kMWOperationErrorDomain[] = "MWOperationErrorDomain";
inline constexpr int kMWOperationErrorUnspecified = -1;

// A mistake in the program: a step that does not override what it must. Nothing catches it.
class MWOperationException : public std::logic_error {
 public:
  explicit MWOperationException(const std::string& reason) : std::logic_error(reason) {}

  std::string name() const { return "MWOperationException"; }
  std::string reason() const { return what(); }
};

// A step overrides className, execute and estimatedExecutionTime, and progress where it can tell
// how far it is. Fields are not synchronised unless they say so: they belong to the thread that
// runs the operation.
class MWOperation {
 public:
  MWOperation() = default;
  virtual ~MWOperation() = default;
  MWOperation(const MWOperation&) = delete;
  MWOperation& operator=(const MWOperation&) = delete;

  // The name of the type, "MWUnmountContainerOperation": as it is logged, and as a simulated action
  // selects it.
  virtual std::string className() const { return "MWOperation"; }

  // A cancelled operation that is started ends at once, without success and without an error. One
  // that runs already is not interrupted. Any thread.
  void cancel() { _cancelled = true; }
  bool isCancelled() const { return _cancelled; }

  // Always false: start returns when the work is done.
  virtual bool isAsynchronous() const { return false; }

  // Any thread.
  virtual bool isExecuting() const { return _executing; }
  virtual bool isFinished() const { return _finished; }

  // Runs the operation. It may be started again: the work is then done again, and an error of the
  // earlier run stays when the later one succeeds.
  virtual void start();

  // How far the work is, or null when it cannot tell. Also called by the progress timer's thread
  // while execute runs.
  virtual std::shared_ptr<Progress> progress() { return nullptr; }

  // Executes, keeps the result, makes sure that a failure has an error, and finishes.
  virtual void main();

  virtual void finish();

  // The work itself. On failure it sets an error of its own and returns false.
  virtual bool execute();

  // How long the work should take, in seconds; a constant for every step so far. Also called by the
  // progress timer's thread while execute runs.
  virtual double estimatedExecutionTime() const;

  // Kept, but nothing computes with it: each step states its own estimate.
  void setEstimatedExecutionTime(double seconds) { _estimatedExecutionTime = seconds; }

  // Returns when the operation has finished: at once when it has already. Any thread.
  void waitUntilFinished() const;

  // Why the operation failed; null when it did not say (yet).
  ErrorRef error() const { return _error; }
  void setError(ErrorRef error) { _error = std::move(error); }

  // The result of the last execute.
  bool success() const { return _success; }
  void setSuccess(bool success) { _success = success; }

  // Null when none was set, and once it is gone.
  std::shared_ptr<MWOperationQueueDataSource> operationQueueDataSource() const {
    return _operationQueueDataSource.lock();
  }
  void setOperationQueueDataSource(std::weak_ptr<MWOperationQueueDataSource> dataSource) {
    _operationQueueDataSource = std::move(dataSource);
  }

 private:
  // Written by the running thread (cancel: by any), read by any.
  std::atomic<bool> _cancelled = false;
  std::atomic<bool> _executing = false;
  std::atomic<bool> _finished = false;

  ErrorRef _error;
  bool _success = false;
  std::weak_ptr<MWOperationQueueDataSource> _operationQueueDataSource;
  double _estimatedExecutionTime = 0.0;
};

}  // namespace marrow
