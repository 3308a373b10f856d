// The full-screen progress display. A client is used from one thread at a time; its calls have no
// result, and a machine without a display takes them in silence.
#pragma once

#include <memory>
#include <string>

namespace marrow {

class KQUnifiedProgressClient {
 public:
  virtual ~KQUnifiedProgressClient() = default;

  virtual void showProgressUI() = 0;

  // `percentage` is from 0.0 to 100.0.
  virtual void setProgress(float percentage, bool animate) = 0;
};

class ProgressDisplay {
 public:
  virtual ~ProgressDisplay() = default;

  // Never null. The phase name tells the display what is going on.
  virtual std::unique_ptr<KQUnifiedProgressClient> createClient(const std::string& phaseName) = 0;
};

}  // namespace marrow
