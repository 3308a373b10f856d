// The daemon of a machine, stopped at each of its system calls.
#pragma once

#include "rehearsal/machine.h"
#include "sweep/call_fault.h"
#include "sweep/system_call.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <sys/types.h>
#include <variant>

namespace marrow::sweep {

struct TraceEnd {
  // The daemon was killed because the caller wanted it.
  bool killed = false;
  // So many calls had the result that the caller wanted them to have.
  std::size_t faults = 0;
  // The machine was stopped because it had not come to its end in time.
  bool hung = false;
  // The daemon's largest resident memory, in KiB; children do not count.
  std::uint64_t peakMemory = 0;
};

// Traces the daemon with all its threads and children. They die with this process (ptrace(2),
// PTRACE_O_EXITKILL). To be used by the thread that started the machine.
class DaemonTrace {
 public:
  // True to have the daemon killed before this call does anything, or after it has; a fault, before
  // the call does anything, to have that become of it.
  using Order = std::variant<bool, CallFault>;
  using AtStop = std::function<Order(const SystemCall&)>;

  // Which calls there are stops at: all, those that change something, or those of one number.
  struct Calls {
    enum class Kind { kAll, kChanges, kNumber };
    Kind kind = Kind::kAll;
    std::uint64_t number = 0;
  };

  // To be run in the machine before the daemon (MachineSettings::beforeDaemon).
  static void waitForTracer(Calls calls);

  // Without `atStop` nothing stops at its calls, and only its memory is watched. Throws Problem
  // when it cannot be traced.
  DaemonTrace(const rehearsal::Machine& machine, Calls calls, AtStop atStop);

  // Lets the daemon go, and returns when the machine's first process has ended, which is left for
  // the machine to wait for.
  TraceEnd run(std::chrono::seconds patience);

 private:
  void takeDaemon();
  void takeEvent(pid_t thread, int status);
  void takeCall(pid_t thread);
  void obey(const Order& order, const SystemCall& call);
  void finishFault(pid_t thread);
  bool isOwn(pid_t thread);
  void measure(pid_t thread);
  void goOn(pid_t thread, int signal, bool inCall) const;

  const rehearsal::Machine& _machine;
  const Calls _calls;
  const AtStop _atStop;
  pid_t _daemon = -1;
  // Until the daemon's program has taken the place of the machine's, calls are not its own.
  bool _isDaemon = false;
  std::map<pid_t, SystemCall> _entered;
  std::map<pid_t, bool> _isOwn;
  std::map<pid_t, FaultyCall> _faulty;
  TraceEnd _end;
};

}  // namespace marrow::sweep
