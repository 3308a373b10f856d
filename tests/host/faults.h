// What goes wrong in a test. A rule names a call as the journal does ("Files.open") and fails it; a
// call fails in the way in which its contract lets it: -1 with errno, a status, an error record, an
// absent value, false; one without a result has no effect. What cannot fail at all (queues, timers,
// references to registry entries, the log's messages, closing a handle) is no call that a rule can
// fail. Any thread.
//
//   machine.faults.fail("Files.open", EIO);                                  every one from now on
//   machine.faults.fail("Files.open", EIO).when("/dev/console").once();      one of them
//   machine.faults.fail("DVStaticLoamVolume.unmount", EBUSY).onCall(2);      the second from now
//   machine.faults.before("DeviceRegistry.waitQuiet", [&] { ... }).once();   something happens
//   first
#pragma once

#include "host/error_record.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace marrow {

// How a call has to fail.
struct Failure {
  std::int64_t code = 0;  // an errno value or a status
  ErrorRef error;         // may be null
  bool powerIsCut = false;

  // Puts the code into errno and returns -1, as a POSIX call fails.
  int fail() const;

  // The code as a status that is not 0.
  std::int32_t status() const;

  // The record given to the rule, else one of the POSIX domain with the code and this text.
  ErrorRef record(const std::string& localizedDescription) const;
};

class FaultRule {
 public:
  FaultRule(std::string call, std::optional<Failure> failure, std::function<void()> action);

  // Only calls whose arguments, as the journal has them, contain this text.
  FaultRule& when(std::string text);

  // Lets this many matching calls pass first.
  FaultRule& after(std::size_t count);

  // Takes effect this many times and never again.
  FaultRule& times(std::size_t count);
  FaultRule& once() { return times(1); }

  // The matching call with this number, counted from 1 and from now, and no other.
  FaultRule& onCall(std::size_t number) { return after(number - 1).once(); }

  // How often it has taken effect.
  std::size_t effects() const { return _effects; }

 private:
  friend class Faults;
  bool takesEffect(std::string_view call, std::string_view arguments);

  std::string _call;
  std::optional<Failure> _failure;
  std::function<void()> _action;
  std::string _text;
  std::size_t _passing = 0;
  std::size_t _remaining = std::numeric_limits<std::size_t>::max();
  std::size_t _effects = 0;
};

class Faults {
 public:
  // Fails the call. `code` is an errno value or a status, as the call has it. Of several rules that
  // fit the latest holds. The rule stays valid until they are cleared.
  FaultRule& fail(std::string call, int code);
  FaultRule& fail(std::string call, ErrorRef error);

  // Runs something before the call, which then goes on as usual. Any call that is written to the
  // journal may be named.
  FaultRule& before(std::string call, std::function<void()> action);

  // Of all calls that can fail, the one with this number, counted from 1 and from now, fails.
  // Several may be named.
  void failCallNumber(std::size_t number, int code);

  // At that call, counted likewise, the machine loses its power: neither this call nor a later one
  // has an effect or is written down. They fail (with EIO; closing succeeds), so that the run
  // comes to its end in vain; the RunEnded of that end is of kind powerCut.
  void cutPowerAtCall(std::size_t number);
  bool powerIsCut() const;

  // How many calls that can fail were made so far.
  std::size_t callsMade() const;

  // Forgets every rule; the power is back.
  void clear();

  // ---- For the services: what becomes of a call that can fail, and of one that cannot.
  std::optional<Failure> meet(std::string_view call, std::string_view arguments);
  void pass(std::string_view call, std::string_view arguments);

 private:
  using Actions = std::vector<std::function<void()>>;
  std::optional<Failure> numberedFailure();
  std::optional<Failure> effectOn(std::string_view call, std::string_view arguments,
                                  Actions& actions);

  mutable std::mutex _mutex;
  std::list<FaultRule> _rules;
  std::size_t _callsMade = 0;
  std::map<std::size_t, int> _failingCalls;  // their codes by their numbers
  std::size_t _powerCutCall = 0;             // 0 for none
  bool _powerIsCut = false;
};

}  // namespace marrow
