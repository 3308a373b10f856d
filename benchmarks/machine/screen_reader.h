// What a machine writes to its console and to its screen, and when.
#pragma once

#include "rehearsal/machine_mounts.h"
#include "rehearsal/terminal.h"

#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace marrow {

// What one read(2) of a terminal returned.
struct Arrival {
  std::chrono::steady_clock::time_point when;
  std::string text;
};

class ScreenReader {
 public:
  // Makes the terminals and puts them into the view.
  explicit ScreenReader(rehearsal::MachineView& view);
  ~ScreenReader() { end(); }
  ScreenReader(const ScreenReader&) = delete;
  ScreenReader& operator=(const ScreenReader&) = delete;

  // Reads on a thread of its own from now on. Call it once the machine is started: a process with
  // threads cannot start one.
  void begin();

  // Reads what is left, and stops.
  void end();

  // What came, in order; known after the end.
  const std::vector<Arrival>& console() const { return _arrivedOnConsole; }
  const std::vector<Arrival>& screen() const { return _arrivedOnScreen; }

 private:
  void read();
  void take();

  rehearsal::Terminal _console;
  rehearsal::Terminal _screen;
  rehearsal::Descriptor _stop;  // eventfd(2)
  std::thread _thread;
  // Of the thread while it runs.
  std::vector<Arrival> _arrivedOnConsole;
  std::vector<Arrival> _arrivedOnScreen;
};

// All of it.
std::string textOf(const std::vector<Arrival>& arrivals);

}  // namespace marrow
