#include "sweep/write_recorder.h"

#include "rehearsal/files.h"
#include "rehearsal/problem.h"
#include "rehearsal/programs.h"
#include "rehearsal/workplace.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <vector>

namespace marrow::sweep {
namespace {

using namespace rehearsal;

constexpr const char* kProgram = "qemu-storage-daemon";
constexpr auto kExportPatience = std::chrono::seconds(20);
constexpr auto kExportPause = std::chrono::milliseconds(5);

std::string fileNode(const char* name, const std::filesystem::path& file) {
  return std::string("driver=file,node-name=") + name + ",filename=" + file.string();
}

}  // namespace

void requireRecorder() {
  requireProgram(kProgram, "qemu-system-common");
  if (::access("/dev/fuse", R_OK | W_OK) != 0) {
    throw Problem(
        "Writes are recorded through FUSE, and /dev/fuse is missing: load the module with "
        "`modprobe fuse`.");
  }
}

WriteRecorder::WriteRecorder(const std::filesystem::path& image, const Workplace& workplace)
    : _log(workplace.folder("record") / "log"), _export(workplace.folder("record") / "disk") {
  writeFile(_log, "");
  writeFile(_export, "");
  start(image);
  try {
    waitForFile(std::filesystem::file_size(image));
    _file = openFile(_export, O_RDWR);
  } catch (...) {
    stop();
    throw;
  }
}

WriteRecorder::~WriteRecorder() {
  _file.reset();
  stop();
}

std::uint64_t WriteRecorder::length() const { return std::filesystem::file_size(_log); }

void WriteRecorder::start(const std::filesystem::path& image) {
  const std::vector<std::string> arguments{
      kProgram,
      "--blockdev",
      fileNode("image", image),
      "--blockdev",
      fileNode("log", _log),
      "--blockdev",
      "driver=blklogwrites,node-name=recorded,file=image,log=log",
      "--export",
      "type=fuse,id=disk,node-name=recorded,writable=on,allow-other=off,mountpoint=" +
          _export.string()};
  _process = startProgram(arguments, {memoryFile(), memoryFile(), memoryFile()});
}

void WriteRecorder::waitForFile(std::uintmax_t size) {
  const auto end = std::chrono::steady_clock::now() + kExportPatience;
  while (std::filesystem::file_size(_export) != size) {
    if (std::chrono::steady_clock::now() > end || ::waitpid(_process, nullptr, WNOHANG) != 0) {
      throw Problem(std::string(kProgram) + " does not show the disk.");
    }
    std::this_thread::sleep_for(kExportPause);
  }
}

// It ends at SIGTERM, and writes the record's head.
void WriteRecorder::stop() {
  ::kill(_process, SIGTERM);
  ::waitpid(_process, nullptr, 0);
  ::umount2(_export.c_str(), MNT_DETACH);
}

}  // namespace marrow::sweep
