// A virtual machine: a process of QEMU with UEFI firmware and one disk, no network, and three wires
// to the outside: the console (its first serial port), the reports (its second one) and the control
// protocol (qmp.h).
#pragma once

#include "rehearsal/descriptor.h"

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow::rehearsal {

// A kernel that the firmware starts without a boot loader.
struct DirectBoot {
  std::filesystem::path kernel;
  std::filesystem::path initialSystem;
  std::string words;
};

struct QemuSettings {
  // "kvm" or "tcg", see accelerator.h.
  std::string accelerator;
  std::filesystem::path firmware;
  std::filesystem::path firmwareVariables;
  // Empty for a machine without one.
  std::filesystem::path disk;
  // True: the machine ends where it would start again.
  bool endsAtRestart = false;
  std::optional<DirectBoot> directBoot{};
  // Where the disk's writes are recorded (see write_log.h), or empty.
  std::filesystem::path writeLog{};
};

struct QemuWires {
  int console;
  int reports;
  int control;
};

// The command line of QEMU. The wires are descriptors that it inherits.
std::vector<std::string> qemuArguments(const QemuSettings& settings, const QemuWires& wires);

// Throws the Problem that names the package when QEMU is missing.
void requireQemu();

class Qemu {
 public:
  // Starts it; it dies with this process.
  explicit Qemu(const QemuSettings& settings);

  // Kills it.
  ~Qemu();
  Qemu(const Qemu&) = delete;
  Qemu& operator=(const Qemu&) = delete;

  // Readable when there is something to take; `process` when it has ended.
  int console() const { return _console.number(); }
  int reports() const { return _reports.number(); }
  int control() const { return _control.number(); }
  int process() const { return _ended.number(); }

  // What has arrived on a wire; empty when nothing has. Does not wait.
  static std::string take(int wire);

  // Sends a line on the control wire.
  void command(const std::string& line) const;

  // Ends it at once, as a loss of power would end the machine, and waits until it is gone.
  void kill();

  // What it complained of, to be asked after its end.
  std::string complaints() const;

 private:
  Descriptor _console;
  Descriptor _reports;
  Descriptor _control;
  Descriptor _errors;
  pid_t _process = -1;
  Descriptor _ended;
};

}  // namespace marrow::rehearsal
