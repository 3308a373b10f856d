#include "tests/host/faults.h"

#include <cerrno>
#include <utility>

namespace marrow {

int Failure::fail() const {
  errno = static_cast<int>(code);
  return -1;
}

std::int32_t Failure::status() const { return code == 0 ? -1 : static_cast<std::int32_t>(code); }

ErrorRef Failure::record(const std::string& localizedDescription) const {
  return error ? error
               : makePOSIXError(static_cast<int>(code),
                                {{kLocalizedDescriptionKey, localizedDescription}});
}

FaultRule::FaultRule(std::string call, std::optional<Failure> failure, std::function<void()> action)
    : _call(std::move(call)), _failure(std::move(failure)), _action(std::move(action)) {}

FaultRule& FaultRule::when(std::string text) {
  _text = std::move(text);
  return *this;
}

FaultRule& FaultRule::after(std::size_t count) {
  _passing = count;
  return *this;
}

FaultRule& FaultRule::times(std::size_t count) {
  _remaining = count;
  return *this;
}

bool FaultRule::takesEffect(std::string_view call, std::string_view arguments) {
  if (call != _call || arguments.find(_text) == std::string_view::npos || _remaining == 0) {
    return false;
  }
  if (_passing > 0) {
    --_passing;
    return false;
  }
  --_remaining;
  ++_effects;
  return true;
}

FaultRule& Faults::fail(std::string call, int code) {
  const std::lock_guard lock(_mutex);
  return _rules.emplace_back(std::move(call), Failure{code, nullptr}, nullptr);
}

FaultRule& Faults::fail(std::string call, ErrorRef error) {
  const std::lock_guard lock(_mutex);
  const std::int64_t code = error ? error->code() : 0;
  return _rules.emplace_back(std::move(call), Failure{code, std::move(error)}, nullptr);
}

FaultRule& Faults::before(std::string call, std::function<void()> action) {
  const std::lock_guard lock(_mutex);
  return _rules.emplace_back(std::move(call), std::nullopt, std::move(action));
}

void Faults::failCallNumber(std::size_t number, int code) {
  const std::lock_guard lock(_mutex);
  _failingCalls[_callsMade + number] = code;
}

void Faults::cutPowerAtCall(std::size_t number) {
  const std::lock_guard lock(_mutex);
  _powerCutCall = _callsMade + number;
}

bool Faults::powerIsCut() const {
  const std::lock_guard lock(_mutex);
  return _powerIsCut;
}

std::size_t Faults::callsMade() const {
  const std::lock_guard lock(_mutex);
  return _callsMade;
}

void Faults::clear() {
  const std::lock_guard lock(_mutex);
  _rules.clear();
  _failingCalls.clear();
  _powerCutCall = 0;
  _powerIsCut = false;
}

std::optional<Failure> Faults::meet(std::string_view call, std::string_view arguments) {
  Actions actions;
  std::optional<Failure> failure;
  {
    const std::lock_guard lock(_mutex);
    failure = numberedFailure();
    if (!_powerIsCut) {
      const auto ruled = effectOn(call, arguments, actions);
      failure = failure ? failure : ruled;
    }
  }
  for (const auto& action : actions) {
    action();
  }
  return failure;
}

void Faults::pass(std::string_view call, std::string_view arguments) {
  Actions actions;
  {
    const std::lock_guard lock(_mutex);
    if (!_powerIsCut) {
      effectOn(call, arguments, actions);
    }
  }
  for (const auto& action : actions) {
    action();
  }
}

std::optional<Failure> Faults::numberedFailure() {
  ++_callsMade;
  _powerIsCut = _powerIsCut || _callsMade == _powerCutCall;
  if (_powerIsCut) {
    return Failure{EIO, nullptr, true};
  }
  const auto failing = _failingCalls.find(_callsMade);
  return failing == _failingCalls.end() ? std::nullopt
                                        : std::optional(Failure{failing->second, nullptr});
}

std::optional<Failure> Faults::effectOn(std::string_view call, std::string_view arguments,
                                        Actions& actions) {
  std::optional<Failure> failure;
  for (FaultRule& rule : _rules) {
    if (!rule.takesEffect(call, arguments)) {
      continue;
    }
    if (rule._action) {
      actions.push_back(rule._action);
    } else {
      failure = rule._failure;
    }
  }
  return failure;
}

}  // namespace marrow
