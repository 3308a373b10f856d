#include "rehearsal/machine_run.h"

#include "rehearsal/console_view.h"
#include "rehearsal/interruption.h"
#include "rehearsal/lines.h"
#include "rehearsal/terminal.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <poll.h>

namespace marrow::rehearsal {
namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

// The decimal numbers before a "%" on the screen. A number may arrive in pieces.
class Percentages {
 public:
  template <typename TakeValue>
  void add(const std::string& text, TakeValue takeValue) {
    for (const char character : text) {
      if (std::isdigit(static_cast<unsigned char>(character)) != 0) {
        _digits += character;
        continue;
      }
      if (character == '%' && !_digits.empty() && _digits.size() <= 3) {
        takeValue(std::stoi(_digits));
      }
      _digits.clear();
    }
  }

 private:
  std::string _digits;
};

class Watch {
 public:
  Watch(MachineSetup& setup, ConsoleView& view, Interruption& interruption)
      : _setup(setup), _view(view), _interruption(interruption), _start(Clock::now()) {
    _setup.settings.view.console = _console.path();
    _setup.settings.view.screen = _screen.path();
  }

  MachineRun run() {
    Machine machine(_setup.settings);
    do {
      takeNews();
      cutWhenDue(machine);
    } while (!waitForNews(machine));
    _result.end = machine.wait();
    _result.duration = sinceStart();
    takeNews();
    _lines.finish([this](const std::string& line) { takeLine(line); });
    _view.finish();
    return std::move(_result);
  }

 private:
  milliseconds sinceStart() const {
    return std::chrono::duration_cast<milliseconds>(Clock::now() - _start);
  }

  // True when the machine has come to its end.
  bool waitForNews(const Machine& machine) {
    std::array<pollfd, 4> sources{
        pollfd{machine.descriptor(), POLLIN, 0}, pollfd{_console.descriptor(), POLLIN, 0},
        pollfd{_screen.descriptor(), POLLIN, 0}, pollfd{_interruption.descriptor(), POLLIN, 0}};
    ::poll(sources.data(), sources.size(), timeout());
    _interruption.check();
    return sources[0].revents != 0;
  }

  int timeout() const {
    if (!_cutDue) {
      return -1;
    }
    return static_cast<int>(std::max(milliseconds(0), *_cutDue - sinceStart()).count());
  }

  void takeNews() {
    _lines.add(_console.take(), [this](const std::string& line) { takeLine(line); });
    _percentages.add(_screen.take(), [this](int value) { takePercentage(value); });
    planCut();
  }

  void takeLine(const std::string& line) {
    _result.console.push_back({sinceStart(), line});
    _view.consoleLine(_result.console.back().since, line);
  }

  void takePercentage(int value) {
    if (_result.percentages.empty() || _result.percentages.back() != value) {
      _result.percentages.push_back(value);
    }
    _view.percentage(value);
  }

  void planCut() {
    if (!_setup.cut || _cutDue) {
      return;
    }
    if (_setup.cut->afterStart) {
      _cutDue = _setup.cut->afterStart;
    } else if (_result.console.size() >= _setup.cut->afterLines) {
      _cutDue = sinceStart() + _setup.cut->afterThose;
    }
  }

  void cutWhenDue(const Machine& machine) {
    if (_cutDue && !_result.cut && sinceStart() >= *_cutDue) {
      _result.cut = sinceStart();
      _result.unwrittenLost = machine.cutPower(_setup.diskName);
      _cutDue.reset();
      _setup.cut.reset();
    }
  }

  MachineSetup& _setup;
  ConsoleView& _view;
  Interruption& _interruption;
  Clock::time_point _start;
  Terminal _console;
  Terminal _screen;
  Lines _lines;
  Percentages _percentages;
  std::optional<milliseconds> _cutDue;
  MachineRun _result;
};

}  // namespace

MachineRun runMachine(MachineSetup setup, ConsoleView& view, Interruption& interruption) {
  return Watch(setup, view, interruption).run();
}

}  // namespace marrow::rehearsal
