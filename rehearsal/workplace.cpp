#include "rehearsal/workplace.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"

#include <cstdlib>
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::rehearsal {
namespace {

constexpr const char* kPlace = "/mnt";

Descriptor makeAndUnlink(const std::filesystem::path& folder) {
  std::string path = folder / "rehearsal-XXXXXX";
  Descriptor file(checked(::mkostemp(path.data(), O_CLOEXEC), "make a file in " + folder.string()));
  ::unlink(path.c_str());
  return file;
}

}  // namespace

void requireOwnMounts() {
  // The child has them for a moment, and this process stays where it is.
  const pid_t child = checked(::fork(), "start a process");
  if (child == 0) {
    ::_exit(::unshare(CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWUTS | CLONE_NEWNET | CLONE_NEWIPC) == 0
                ? 0
                : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (status != 0) {
    throw Problem(
        "A rehearsal needs mounts of its own, which this root may not have (CAP_SYS_ADMIN): run it "
        "on a machine, or in a container that is given that capability.");
  }
}

Workplace::Workplace() {
  checked(::unshare(CLONE_NEWNS), "have mounts of its own");
  checked(::mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr), "keep mounts to itself");
  checked(::mount("rehearsal", kPlace, "tmpfs", 0, "mode=0755"), "mount a tmpfs on /mnt");
}

std::filesystem::path Workplace::folder(const std::filesystem::path& name) const {
  auto path = std::filesystem::path(kPlace) / name;
  std::filesystem::create_directories(path);
  return path;
}

Descriptor makeNamelessFile() {
  const char* place = std::getenv("TMPDIR");  // NOLINT(concurrency-mt-unsafe): nobody sets
  const std::filesystem::path folder = place == nullptr || *place == '\0' ? "/tmp" : place;
  Descriptor file(::open(folder.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600));
  return file ? std::move(file) : makeAndUnlink(folder);
}

}  // namespace marrow::rehearsal
