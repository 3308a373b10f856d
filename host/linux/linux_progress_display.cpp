#include "host/linux/linux_progress_display.h"

#include "host/error_record.h"
#include "host/linux/text_output.h"
#include "host/text_format.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <unistd.h>
#include <utility>

namespace marrow {

namespace {

constexpr int kBarWidth = 40;
constexpr int kNothingYet = -1;

class ProgressBar final : public KQUnifiedProgressClient {
 public:
  ProgressBar(MissingService& missing, std::string terminal, std::string phaseName)
      : _missing(missing), _terminal(std::move(terminal)), _phaseName(std::move(phaseName)) {}

  void showProgressUI() override;
  void setProgress(float percentage, bool animate) override;

 private:
  void draw() const;
  std::string bar() const;

  MissingService& _missing;
  const std::string _terminal;
  const std::string _phaseName;
  Descriptor _output;  // none before it is shown, and where there is no terminal
  bool _redraws = false;
  int _percentage = kNothingYet;
};

void ProgressBar::showProgressUI() {
  if (_output) {
    return;
  }
  _output = openTextOutput(_terminal);
  if (!_output) {
    _missing.report(formatText("This machine has no progress display (%s). %s", _terminal,
                               errorNumberText(errno)));
    return;
  }
  _redraws = ::isatty(_output.number()) == 1;
  draw();
}

void ProgressBar::setProgress(float percentage, bool /*animate*/) {
  if (std::isnan(percentage)) {
    return;
  }
  const int whole = static_cast<int>(std::clamp(percentage, 0.0F, 100.0F));
  if (whole > _percentage) {
    _percentage = whole;
    draw();
  }
}

// The kernel's messages may stand between two drawings, so each draws the whole bar.
void ProgressBar::draw() const {
  if (!_output || _percentage == kNothingYet) {
    return;
  }
  const std::string number = std::to_string(_percentage) + "%";
  const std::string end = _redraws && _percentage < 100 ? "" : "\n";
  writeText(_output, (_redraws ? bar() : "") + number + end);
}

std::string ProgressBar::bar() const {
  const auto full = static_cast<std::size_t>(_percentage * kBarWidth / 100);
  return "\r" + _phaseName + " [" + std::string(full, '#') + std::string(kBarWidth - full, '.') +
         "] ";
}

}  // namespace

std::unique_ptr<KQUnifiedProgressClient> LinuxProgressDisplay::createClient(
    const std::string& phaseName) {
  return std::make_unique<ProgressBar>(_missing, _terminal, phaseName);
}

}  // namespace marrow
