#include "host/linux/linux_progress_display.h"

#include "host/error_record.h"
#include "host/linux/progress_bar.h"
#include "host/linux/text_output.h"
#include "host/text_format.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <linux/kd.h>
#include <sys/ioctl.h>
#include <utility>

namespace marrow {

namespace {

constexpr int kNothingYet = -1;

// A splash that died has left its terminal without text (ioctl_console(2)).
void bringTextBack(const std::string& terminal) {
  const Descriptor screen = openTextOutput(terminal);
  if (screen) {
    ::ioctl(screen.number(), KDSETMODE, KD_TEXT);
  }
}

}  // namespace

class LinuxProgressDisplay::Client final : public KQUnifiedProgressClient {
 public:
  Client(LinuxProgressDisplay& display, std::string phaseName)
      : _display(display), _bar(std::move(phaseName)) {}

  void showProgressUI() override;
  void setProgress(float percentage, bool animate) override;

 private:
  enum class Stage { hidden, splash, bar };

  bool bringUpSplash();
  void leaveSplash(int status);
  void bringUpBar();
  void show();
  bool showOnSplash();

  LinuxProgressDisplay& _display;
  PlymouthConnection _splash;
  ProgressBar _bar;
  Stage _stage = Stage::hidden;
  int _percentage = kNothingYet;
};

void LinuxProgressDisplay::Client::showProgressUI() {
  if (_stage != Stage::hidden) {
    return;
  }
  if (bringUpSplash()) {
    _stage = Stage::splash;
  } else {
    bringUpBar();
  }
  show();
}

void LinuxProgressDisplay::Client::setProgress(float percentage, bool /*animate*/) {
  if (std::isnan(percentage)) {
    return;
  }
  const int whole = static_cast<int>(std::clamp(percentage, 0.0F, 100.0F));
  const bool rises = whole > _percentage;
  _percentage = std::max(_percentage, whole);
  if (_stage == Stage::bar && !rises) {
    _bar.redraw(_percentage);
  } else {
    show();
  }
}

bool LinuxProgressDisplay::Client::bringUpSplash() {
  int status = _splash.open(_display._paths.splash);
  if (status == ECONNREFUSED || status == ENOENT) {
    return false;
  }
  if (status == 0) {
    status = _splash.showSystemUpgrade();
  }
  if (status != 0) {
    leaveSplash(status);
  }
  return status == 0;
}

void LinuxProgressDisplay::Client::leaveSplash(int status) {
  _display._failedSplash.report(
      formatText("The boot splash (%s) shows no progress; it is shown on %s instead. %s",
                 _display._paths.splash, _display._paths.terminal, errorNumberText(status)));
  _splash = PlymouthConnection();
  bringTextBack(_display._paths.terminal);
}

void LinuxProgressDisplay::Client::bringUpBar() {
  _stage = Stage::bar;
  if (const int status = _bar.open(_display._paths.terminal); status != 0) {
    _display._missingTerminal.report(formatText("This machine has no progress display (%s). %s",
                                                _display._paths.terminal, errorNumberText(status)));
  }
}

void LinuxProgressDisplay::Client::show() {
  if (_stage == Stage::splash && !showOnSplash()) {
    bringUpBar();
  }
  if (_stage == Stage::bar && _percentage != kNothingYet) {
    _bar.show(_percentage);
  }
}

// The splash is told also what it has been told before: while it has no screen yet, which may take
// it seconds after the daemon began, it keeps no percentage for later. Before there is any it is
// told of none: its bar would show how far it believes the boot to be, and then fall.
bool LinuxProgressDisplay::Client::showOnSplash() {
  const int status = _splash.setProgress(std::max(_percentage, 0));
  if (status != 0) {
    leaveSplash(status);
  }
  return status == 0;
}

LinuxProgressDisplay::LinuxProgressDisplay(LogHandle& log) : LinuxProgressDisplay(log, Paths{}) {}

LinuxProgressDisplay::LinuxProgressDisplay(LogHandle& log, Paths paths)
    : _paths(std::move(paths)), _missingTerminal(log), _failedSplash(log) {}

std::unique_ptr<KQUnifiedProgressClient> LinuxProgressDisplay::createClient(
    const std::string& phaseName) {
  return std::make_unique<Client>(*this, phaseName);
}

}  // namespace marrow
