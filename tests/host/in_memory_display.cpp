#include "tests/host/in_memory_display.h"

#include <algorithm>
#include <cmath>
#include <sstream>
#include <utility>

namespace marrow {

class InMemoryProgressClient : public KQUnifiedProgressClient {
 public:
  explicit InMemoryProgressClient(InMemoryDisplay& display) : _display(display) {}

  void showProgressUI() override {
    if (!_display._calls.made("KQUnifiedProgressClient.showProgressUI")) {
      _display._shown = true;
      draw(!std::exchange(_shown, true));
    }
  }

  void setProgress(float percentage, bool animate) override {
    std::ostringstream text;
    text << percentage << (animate ? " animated" : "");
    if (!_display._calls.made("KQUnifiedProgressClient.setProgress", text.str())) {
      _display._steps.push_back({percentage, animate});
      keep(percentage);
    }
  }

 private:
  void keep(float percentage) {
    const int whole = std::isnan(percentage)
                          ? kNothingYet
                          : static_cast<int>(std::clamp(percentage, 0.0F, 100.0F));
    const bool rises = whole > _percentage;
    _percentage = std::max(whole, _percentage);
    draw(rises);
  }

  void draw(bool isNew) {
    if (isNew && _shown && _percentage != kNothingYet) {
      _display._shownPercentages.push_back(_percentage);
    }
  }

  static constexpr int kNothingYet = -1;

  bool _shown = false;
  int _percentage = kNothingYet;
  InMemoryDisplay& _display;
};

std::unique_ptr<KQUnifiedProgressClient> InMemoryDisplay::createClient(
    const std::string& phaseName) {
  _calls.note("ProgressDisplay.createClient", phaseName);
  _phaseNames.push_back(phaseName);
  return std::make_unique<InMemoryProgressClient>(*this);
}

void InMemoryDisplay::enableDisplayUpdates() {
  if (!_calls.made("GraphicsServer.enableDisplayUpdates")) {
    _updatesEnabled = true;
  }
}

}  // namespace marrow
