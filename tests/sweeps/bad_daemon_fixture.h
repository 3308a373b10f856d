// A program in the daemon's place that a sweep has to find out.
#pragma once

#include "rehearsal/files.h"
#include "tests/rehearsal/temporary_folder.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>

namespace marrow::sweep {

class BadDaemon : public testing::Test {
 protected:
  // Returns what the sweep wrote; it has to end with "something was lost".
  std::string sweep(const std::string& script, const std::string& kind) {
    rehearsal::writeFile(folder / "daemon", script, 0755);
    return sweepWith(folder / "daemon", kind, argumentFor(kind));
  }

  std::string sweepWith(const std::filesystem::path& daemon, const std::string& kind,
                        const char* argument) {
    const rehearsal::Descriptor output =
        rehearsal::openFile(folder / "output", O_RDWR | O_CREAT | O_TRUNC);
    const pid_t child = ::fork();
    if (child == 0) {
      ::dup2(output.number(), STDOUT_FILENO);
      ::dup2(output.number(), STDERR_FILENO);
      ::execl(MARROW_SWEEP, "marrow-sweep", kind.c_str(), "--scenario", "booted-from-proposed",
              casesOf(kind), "--daemon", daemon.c_str(), argument, nullptr);
      ::_exit(127);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 1) << status;
    return rehearsal::readFile(folder / "output").value_or("");
  }

  static const char* casesOf(const std::string& kind) {
    return kind == "planted"   ? "--to=13"
           : kind == "watched" ? "--looks=100"
           : kind == "power"   ? "--sample=50"
                               : "--sample=24";
  }

  // One that the kind takes.
  static const char* argumentFor(const std::string& kind) {
    if (kind == "fill") {
      return "--every=1";
    }
    if (kind == "planted") {
      return "--from=13";  // a link in the place of the file that names the boot objects
    }
    if (kind == "watched") {
      return "--files=100";
    }
    return kind == "power" ? "--finish-every=1000" : "--changes";
  }

  rehearsal::TemporaryFolder folder;
};

}  // namespace marrow::sweep
