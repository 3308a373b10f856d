#include "sweep/run_recording.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "sweep/write_recorder.h"

#include <algorithm>
#include <fcntl.h>
#include <limits>
#include <sys/syscall.h>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

// Looks at the firmware whenever the daemon stops, so that each change is found before the daemon
// does the next thing.
class Watch {
 public:
  Watch(SweptMachine& machine, const WriteRecorder& recorder)
      : _machine(machine), _recorder(recorder) {
    _moments.push_back({0, machine.firmwareBefore()});
  }

  void look(const SystemCall& call) {
    FirmwareCopy now(_machine.firmware().folder());
    now.settle(_moments.back().firmware);
    if (now != _moments.back().firmware) {
      _moments.push_back({_recorder.length(), now});
    }
    if (call.number == SYS_reboot) {
      _end = _recorder.length();
    }
  }

  std::uint64_t end() const { return _end; }
  std::vector<FirmwareMoment> moments() { return std::move(_moments); }

 private:
  SweptMachine& _machine;
  const WriteRecorder& _recorder;
  std::vector<FirmwareMoment> _moments;
  std::uint64_t _end = std::numeric_limits<std::uint64_t>::max();
};

}  // namespace

Recording recordRun(SweptMachine& machine, const Workplace& workplace) {
  Recording recording;
  machine.putBack();
  {
    const WriteRecorder recorder(workplace.folder("disks") / "image", workplace);
    machine.attachDisk(recorder.file());
    Watch watch(machine, recorder);
    machine.start([&](const SystemCall& call) {
      watch.look(call);
      return false;
    });
    recording.log = openFile(recorder.log(), O_RDONLY);
    std::vector<LoggedWrite> writes = readWriteLog(recording.log.number());
    std::erase_if(writes, [&](const LoggedWrite& write) { return write.data >= watch.end(); });
    recording.run = {inPieces(writes), watch.moments()};
    machine.attachDisk(machine.disk().image());
  }
  machine.putBack();
  return recording;
}

}  // namespace marrow::sweep
