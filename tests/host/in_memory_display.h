// The progress display and the graphics server: what they were told, and what is on the screen.
#pragma once

#include "host/graphics_server.h"
#include "host/progress_display.h"
#include "tests/host/calls.h"

#include <memory>
#include <string>
#include <vector>

namespace marrow {

class InMemoryDisplay : public ProgressDisplay, public GraphicsServer {
 public:
  explicit InMemoryDisplay(Calls& calls) : _calls(calls) {}

  std::unique_ptr<KQUnifiedProgressClient> createClient(const std::string& phaseName) override;
  void enableDisplayUpdates() override;

  struct Step {
    float percentage = 0.0F;
    bool animated = false;
    bool operator==(const Step&) const = default;
  };

  // The phase names of the clients that were created.
  const std::vector<std::string>& phaseNames() const { return _phaseNames; }
  bool isShown() const { return _shown; }
  bool updatesEnabled() const { return _updatesEnabled; }
  // What the clients were told, shown or not.
  const std::vector<Step>& steps() const { return _steps; }
  // The whole percentages that were drawn, in order: each larger than the one before it of the same
  // client, and none before that client was shown.
  const std::vector<int>& shownPercentages() const { return _shownPercentages; }

 private:
  friend class InMemoryProgressClient;

  Calls& _calls;
  std::vector<std::string> _phaseNames;
  std::vector<Step> _steps;
  std::vector<int> _shownPercentages;
  bool _shown = false;
  bool _updatesEnabled = false;
};

}  // namespace marrow
