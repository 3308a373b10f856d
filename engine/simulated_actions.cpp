// Faults on demand, for engineers on internal builds: the part of the queue that arms and performs
// simulated actions.
#include "daemon/log_channels.h"
#include "engine/operation_queue.h"

#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace marrow {

namespace {

constexpr char kVariableStep[] = "postota-sim-step";
constexpr char kVariableCommand[] = "postota-sim-command";
constexpr char kVariableRepeat[] = "postota-sim-repeat";

// "Operation canceled" as those who read these records know it; Linux numbers it otherwise.
constexpr int kOperationCancelled = 89;

// A simulated error tells by this key how the operation itself ended.
constexpr char kOperationSuccessKey[] = "MWOperationSuccess";

// 0 for what is no number. A negative number becomes a count that no run gets through: runs until
// the operation fails.
std::uint64_t repeatCount(const std::optional<std::string>& text) {
  constexpr int kDecimal = 10;
  return static_cast<std::uint64_t>(text ? std::strtoll(text->c_str(), nullptr, kDecimal) : 0LL);
}

bool isEmpty(const std::optional<std::string>& text) { return !text || text->empty(); }

}  // namespace

void MWOperationQueue::setSimulatedActionFromNVRAM() {
  const bool armed =
      _services.osVariant.hasInternalContent("com.corvane.marrowd") && armFromVariables();
  deleteSimulationVariables();
  if (armed) {
    _services.firmwareVariables.forceSync();
  }
}

bool MWOperationQueue::armFromVariables() {
  FirmwareVariables& variables = _services.firmwareVariables;
  const auto step = variables.string(kVariableStep);
  const auto command = variables.string(kVariableCommand);
  const auto repeat = variables.string(kVariableRepeat);
  if (isEmpty(step) || isEmpty(command)) {
    return false;
  }
  setSimulatedAction(*command, *step, repeatCount(repeat));
  return true;
}

void MWOperationQueue::deleteSimulationVariables() {
  for (const char* key : {kVariableStep, kVariableCommand, kVariableRepeat}) {
    _services.firmwareVariables.setString(std::nullopt, key, std::nullopt);
  }
}

void MWOperationQueue::setSimulatedAction(std::string_view action, const std::string& operationName,
                                          std::uint64_t repeat) {
  const bool runsFirst = !action.starts_with('_');
  SimulatedAction simulated = actionNamed(runsFirst ? action : action.substr(1), runsFirst, repeat);
  if (!simulated) {
    clearSimulatedAction();
    return;
  }
  setSimulateOperationName(operationName);
  setSimulateAction(std::move(simulated));
}

SimulatedAction MWOperationQueue::actionNamed(std::string_view name, bool runsFirst,
                                              std::uint64_t repeat) {
  if (name == "error") {
    return afterRun(runsFirst, &MWOperationQueue::_simError);
  }
  if (name == "panic") {
    return afterRun(runsFirst, &MWOperationQueue::_simPanic);
  }
  if (name == "skip") {
    return [this](MWOperation& operation, ErrorSlot error) { return _simSkip(operation, error); };
  }
  if (name == "exercise") {
    return [this, count = repeat == 0 ? 1 : repeat](MWOperation& operation, ErrorSlot error) {
      return _simExercise(operation, count, error);
    };
  }
  return nullptr;
}

SimulatedAction MWOperationQueue::afterRun(bool runsFirst, ActionMethod action) {
  return [this, runsFirst, action](MWOperation& operation, ErrorSlot error) {
    if (runsFirst) {
      _runOperation(operation, error);
    }
    return (this->*action)(operation, error);
  };
}

void MWOperationQueue::clearSimulatedAction() {
  setSimulateOperationName({});
  setSimulateAction(nullptr);
}

// A simulation fires once, whatever comes of it. Empty when none is meant for this operation.
SimulatedAction MWOperationQueue::takeSimulatedAction(const MWOperation& operation) {
  if (_simulateOperationName.empty() || _simulateOperationName != operation.className()) {
    return nullptr;
  }
  SimulatedAction action = std::move(_simulateAction);
  clearSimulatedAction();
  return action;
}

bool MWOperationQueue::_simError(MWOperation& operation, ErrorSlot error) {
  UserInfo userInfo = {{kOperationSuccessKey, operation.success()}};
  if (const ErrorRef underlying = operation.error()) {
    userInfo.emplace(kUnderlyingErrorKey, underlying);
  }
  log(operationsLogChannel(), LogLevel::standard, LogEvent::errorSimulated,
      "MWOperationQueue: Simulating error (%@)", operation.className());
  *error = makePOSIXError(kOperationCancelled, std::move(userInfo));
  return false;
}

bool MWOperationQueue::_simPanic(MWOperation& operation, ErrorSlot error) {
  log(operationsLogChannel(), LogLevel::standard, LogEvent::panicSimulated,
      "MWOperationQueue: Simulating panic (%@)...", operation.className());
  _services.reboot.rebootWithMessage(kRebootPanic | kRebootQuick,
                                     "MWOperationQueue simulated panic");
  return _simError(operation, error);
}

bool MWOperationQueue::_simSkip(MWOperation& operation, ErrorSlot /*error*/) {
  log(operationsLogChannel(), LogLevel::standard, LogEvent::operationSkipped,
      "MWOperationQueue: Skipping (%@)...", operation.className());
  return true;
}

bool MWOperationQueue::_simExercise(MWOperation& operation, std::uint64_t count, ErrorSlot error) {
  log(operationsLogChannel(), LogLevel::standard, LogEvent::operationRepeated,
      "MWOperationQueue: Exercising %llu times (%@)", count, operation.className());
  for (std::uint64_t run = 0; run < count; ++run) {
    if (!_runOperation(operation, error)) {
      return false;
    }
  }
  return true;
}

}  // namespace marrow
