#include "engine/operation.h"

#include <string>

namespace marrow {

namespace {

ErrorRef unspecifiedError() {
  return makeError(
      kMWOperationErrorDomain, kMWOperationErrorUnspecified,
      {{kLocalizedDescriptionKey, std::string("Operation failed without specifying an error.")}});
}

}  // namespace

void MWOperation::start() {
  if (isCancelled()) {
    finish();
    return;
  }
  _executing = true;
  main();
}

void MWOperation::main() {
  setSuccess(execute());
  if (!success() && error() == nullptr) {
    setError(unspecifiedError());
  }
  finish();
}

void MWOperation::finish() {
  _executing = false;
  _finished = true;
  _finished.notify_all();
}

// The text says executeOperation, the method is called execute; logs are searched for this text.
bool MWOperation::execute() {
  throw MWOperationException("Subclasses must override executeOperation.");
}

double MWOperation::estimatedExecutionTime() const {
  throw MWOperationException("Subclasses must override estimatedExecutionTime.");
}

void MWOperation::waitUntilFinished() const {
  if (!isFinished()) {
    _finished.wait(false);
  }
}

}  // namespace marrow
