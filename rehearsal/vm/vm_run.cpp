#include "rehearsal/vm/vm_run.h"

#include "rehearsal/console_view.h"
#include "rehearsal/interruption.h"
#include "rehearsal/lines.h"
#include "rehearsal/problem.h"
#include "rehearsal/vm/qmp.h"
#include "rehearsal/vm/screen_watch.h"

#include <algorithm>
#include <array>
#include <poll.h>

namespace marrow::rehearsal {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr milliseconds kBetweenLooks{400};
constexpr milliseconds kBetweenNudges{1000};
// No command of which an answer is awaited has this number.
constexpr std::uint64_t kNudge = 0;
constexpr const char* kDaemonBegins = "Daemon starting up";

class Watch {
 public:
  Watch(const QemuSettings& settings, const VmRunPlan& plan, ConsoleView& view,
        Interruption& interruption)
      : _plan(plan), _view(view), _interruption(interruption), _machine(settings) {
    if (!plan.screenshot.empty()) {
      _screen.emplace(_machine, plan.screenshot);
    }
    begin(plan.firstNumber);
  }

  std::vector<VmBoot> run() {
    while (!_over) {
      waitForNews();
      takeNews();
      lookAtScreen();
      nudge();
      cutWhenDue();
      endWhenTimeIsUp();
    }
    _machine.kill();
    requireCleanEnd();
    return std::move(_boots);
  }

 private:
  VmBoot& boot() { return _boots.back(); }

  milliseconds sinceStart() const {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - _start);
  }

  void begin(int number) {
    VmBoot next;
    next.number = number;
    _boots.push_back(std::move(next));
    _start = Clock::now();
    _lastLook = milliseconds(0);
    _daemonRuns = false;
    _daemonLines = 0;
  }

  void waitForNews() {
    std::array<pollfd, 5> sources{
        pollfd{_machine.process(), POLLIN, 0}, pollfd{_machine.console(), POLLIN, 0},
        pollfd{_machine.reports(), POLLIN, 0}, pollfd{_machine.control(), POLLIN, 0},
        pollfd{_interruption.descriptor(), POLLIN, 0}};
    ::poll(sources.data(), sources.size(), static_cast<int>(timeUntilNext().count()));
    _interruption.check();
    _gone = sources[0].revents != 0;
  }

  milliseconds timeUntilNext() const {
    const milliseconds due = _cutDue ? *_cutDue - sinceStart() : kBetweenLooks;
    return std::clamp(due, milliseconds(0), kBetweenLooks);
  }

  void takeNews() {
    const std::string control = Qemu::take(_machine.control());
    _console.add(Qemu::take(_machine.console()), [this](const auto& line) { takeLine(line); });
    _reports.add(Qemu::take(_machine.reports()), [this](const auto& line) { takeReport(line); });
    _control.add(control, [this](const auto& line) { takeControl(line); });
    if (_gone && !_over) {
      _over = true;
      _unexpected = true;
    }
  }

  void takeLine(const std::string& raw) {
    const std::string line = withoutControls(raw);
    if (const std::string system = systemIn(line); !system.empty()) {
      boot().system = system;
    }
    if (line.empty()) {
      return;
    }
    boot().run.console.push_back({sinceStart(), line});
    _view.consoleLine(sinceStart(), nameOf(boot()) + " | " + line);
    noticeDaemon(line);
    planCut();
  }

  // What it shows may be gone soon after: each of its lines is an occasion to look.
  void noticeDaemon(const std::string& line) {
    if (!_daemonRuns && line.find(kDaemonBegins) == std::string::npos) {
      return;
    }
    _daemonRuns = true;
    ++_daemonLines;
    if (_screen) {
      _screen->look();
    }
  }

  void takeReport(const std::string& line) {
    if (auto report = guestReportFrom(line)) {
      boot().report = std::move(report);
    } else {
      boot().splash.push_back({sinceStart(), withoutControls(line)});
    }
  }

  void takeControl(const std::string& line) {
    const std::optional<QmpMessage> message = qmpMessageFrom(line);
    if (!message) {
      return;
    }
    if (message->event == "RESET") {
      endBoot(VmBoot::End::kRestart);
    } else if (message->event == "SHUTDOWN") {
      endBoot(message->reason == "guest-reset" ? VmBoot::End::kRestart : VmBoot::End::kPowerOff);
      _over = true;
    } else if (const auto bar = _screen ? _screen->take(*message) : std::nullopt) {
      takePercentage(*bar);
    }
  }

  void takePercentage(int value) {
    std::vector<int>& percentages = boot().run.percentages;
    if (boot().system == kBaseSystem && (percentages.empty() || percentages.back() != value)) {
      percentages.push_back(value);
      _view.percentage(value);
    }
  }

  void endBoot(VmBoot::End end) {
    _console.finish([this](const std::string& line) { takeLine(line); });
    boot().end = end;
    boot().run.duration = sinceStart();
    boot().run.end.kind =
        end == VmBoot::End::kRestart ? MachineEnd::Kind::kReboot : MachineEnd::Kind::kHalt;
    _view.finish();
    _cutDue.reset();
    if (end != VmBoot::End::kRestart) {
      return;
    }
    if (boot().number - _plan.firstNumber + 1 >= _plan.bootsAtMost) {
      _over = true;
    } else {
      begin(boot().number + 1);
    }
  }

  void lookAtScreen() {
    if (_screen && boot().system == kBaseSystem && sinceStart() >= _lastLook + kBetweenLooks) {
      _lastLook = sinceStart();
      _screen->look();
    }
  }

  // An emulator that translates may miss that a timer of its machine was set, and sleeps until
  // something else wakes it (seen in two of a hundred boots with QEMU 7.2). A question does.
  void nudge() {
    if (Clock::now() >= _lastNudge + kBetweenNudges) {
      _lastNudge = Clock::now();
      _machine.command(qmpCommand(kNudge, "query-status"));
    }
  }

  // Only the first boot is cut.
  void planCut() {
    if (!_plan.cut || _cutDue || _boots.size() > 1 || _plan.cut->afterStart) {
      return;
    }
    if (_daemonLines > _plan.cut->afterLines) {
      _cutDue = sinceStart() + _plan.cut->afterThose;
    }
  }

  void cutWhenDue() {
    if (_plan.cut && _plan.cut->afterStart && _boots.size() == 1) {
      _cutDue = _plan.cut->afterStart;
    }
    if (_over || !_cutDue || sinceStart() < *_cutDue) {
      return;
    }
    _machine.kill();
    _over = true;
    boot().run.cut = sinceStart();
    boot().run.unwrittenLost = true;
    endBoot(VmBoot::End::kCut);
  }

  void endWhenTimeIsUp() {
    if (!_over && sinceStart() >= _plan.longestBoot) {
      endBoot(VmBoot::End::kTimeUp);
      _over = true;
    }
  }

  void requireCleanEnd() const {
    if (_unexpected) {
      throw Problem("QEMU ended by itself: " + _machine.complaints());
    }
  }

  const VmRunPlan& _plan;
  ConsoleView& _view;
  Interruption& _interruption;
  Qemu _machine;
  std::optional<ScreenWatch> _screen;
  std::vector<VmBoot> _boots;
  Clock::time_point _start;
  milliseconds _lastLook{0};
  Clock::time_point _lastNudge;
  Lines _console;
  Lines _reports;
  Lines _control;
  std::optional<milliseconds> _cutDue;
  bool _daemonRuns = false;
  std::size_t _daemonLines = 0;
  bool _gone = false;
  bool _over = false;
  bool _unexpected = false;
};

}  // namespace

std::vector<VmBoot> runVm(const QemuSettings& settings, const VmRunPlan& plan, ConsoleView& view,
                          Interruption& interruption) {
  return Watch(settings, plan, view, interruption).run();
}

}  // namespace marrow::rehearsal
