// The graphics server. Main thread.
#pragma once

namespace marrow {

class GraphicsServer {
 public:
  virtual ~GraphicsServer() = default;

  // Lets what is drawn reach the screen, for the first time in this boot.
  virtual void enableDisplayUpdates() = 0;
};

}  // namespace marrow
