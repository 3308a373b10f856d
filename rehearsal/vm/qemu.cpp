#include "rehearsal/vm/qemu.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "rehearsal/programs.h"

#include <array>
#include <csignal>
#include <fcntl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

// A connected pair: ours does not block, theirs goes to QEMU.
Descriptor makeWire(Descriptor& theirs) {
  std::array<int, 2> ends{};
  checked(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()), "make a wire");
  theirs = Descriptor(ends[1]);
  Descriptor ours(ends[0]);
  checked(::fcntl(ours.number(), F_SETFL, O_NONBLOCK), "set up a wire");
  return ours;
}

}  // namespace

void requireQemu() { requireProgram("qemu-system-x86_64", "qemu-system-x86"); }

Qemu::Qemu(const QemuSettings& settings) : _errors(memoryFile()) {
  Descriptor console;
  Descriptor reports;
  Descriptor control;
  _console = makeWire(console);
  _reports = makeWire(reports);
  _control = makeWire(control);
  const QemuWires wires{console.number(), reports.number(), control.number()};
  const ProgramStreams streams{memoryFile(), memoryFile(),
                               openFile(pathOfDescriptor(_errors.number()), O_WRONLY | O_APPEND)};
  _process = startProgram(qemuArguments(settings, wires), streams,
                          {wires.console, wires.reports, wires.control});
  _ended =
      Descriptor(static_cast<int>(checked(::syscall(SYS_pidfd_open, _process, 0), "watch QEMU")));
  command(R"({"execute":"qmp_capabilities"})"
          "\n");
}

Qemu::~Qemu() { kill(); }

std::string Qemu::take(int wire) {
  std::string text;
  std::array<char, 65536> buffer{};
  ssize_t count = 0;
  while ((count = ::read(wire, buffer.data(), buffer.size())) > 0) {
    text.append(buffer.data(), static_cast<std::size_t>(count));
  }
  return text;
}

void Qemu::command(const std::string& line) const {
  // It may have ended by now: that shows elsewhere.
  (void)::send(_control.number(), line.data(), line.size(), MSG_NOSIGNAL);
}

void Qemu::kill() {
  if (_process > 0) {
    ::kill(_process, SIGKILL);
    ::waitpid(std::exchange(_process, -1), nullptr, 0);
  }
}

std::string Qemu::complaints() const { return contentOf(_errors); }

}  // namespace marrow::rehearsal
