#include "tests/host/in_memory_display.h"

#include <sstream>

namespace marrow {

class InMemoryProgressClient : public KQUnifiedProgressClient {
 public:
  explicit InMemoryProgressClient(InMemoryDisplay& display) : _display(display) {}

  void showProgressUI() override {
    if (!_display._calls.made("KQUnifiedProgressClient.showProgressUI")) {
      _display._shown = true;
    }
  }

  void setProgress(float percentage, bool animate) override {
    std::ostringstream text;
    text << percentage << (animate ? " animated" : "");
    if (!_display._calls.made("KQUnifiedProgressClient.setProgress", text.str())) {
      _display._steps.push_back({percentage, animate});
    }
  }

 private:
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
