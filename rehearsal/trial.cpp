#include "rehearsal/trial.h"

#include "rehearsal/files.h"
#include "rehearsal/loop_device.h"
#include "rehearsal/problem.h"
#include "rehearsal/programs.h"
#include "rehearsal/units.h"
#include "rehearsal/workplace.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

void attachPartition() {
  const Workplace workplace;
  const Descriptor image = makeNamelessFile();
  checked(::ftruncate(image.number(), 2 * kMebibyte), "make a file for a disk");
  Partition partition;
  partition.number = 1;
  partition.start = kMebibyte;
  partition.size = kMebibyte;
  const LoopDevice loop(image.number(), {partition}, workplace.folder("nodes"));
  openFile(loop.node(1), O_RDWR);
}

int attemptFor(const Descriptor& words) {
  try {
    attachPartition();
    return 0;
  } catch (const std::exception& problem) {
    writeAll(words.number(), problem.what());
    return 1;
  }
}

}  // namespace

void requireUsableMachine() {
  const Descriptor words = memoryFile("");
  const pid_t child = checked(::fork(), "start a process");
  if (child == 0) {
    ::_exit(attemptFor(words));
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (status != 0) {
    throw Problem(
        contentOf(words) +
        " A rehearsal needs loop devices and mounts of its own: run it on a machine, or in "
        "a container that may use them.");
  }
}

}  // namespace marrow::rehearsal
