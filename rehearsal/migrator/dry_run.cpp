#include "rehearsal/migrator/dry_run.h"

#include "rehearsal/migrator/progress_report.h"
#include "rehearsal/migrator/superblock.h"
#include "rehearsal/migrator/volume_reader.h"
#include "rehearsal/problem.h"

#include <cstdio>
#include <fstream>
#include <thread>

namespace marrow::migrator {
namespace {

using Clock = std::chrono::steady_clock;

struct Failure {
  int status;
  std::string text;
};

class DryRun {
 public:
  explicit DryRun(const DryRunOptions& options)
      : _options(options), _log(options.log), _progress(options.progress), _start(Clock::now()) {}

  int run() {
    int status = kGood;
    tell("loam_migrator dry run of " + _options.device);
    try {
      readVolume();
      tell("Nothing stands in the way of a migration.");
    } catch (const Failure& failure) {
      status = complain(failure.status, failure.text);
    } catch (const rehearsal::Problem& problem) {
      status = complain(kCannotRead, problem.what());
    }
    return writeMetrics(status);
  }

 private:
  void tell(const std::string& text) {
    _log << text << '\n';
    if (!_options.log.empty()) {
      _log.flush();
    }
  }

  int complain(int status, const std::string& text) {
    tell(text);
    std::fprintf(stderr, "%s\n", text.c_str());
    return status;
  }

  void readVolume() {
    VolumeReader reader(_options.device);
    _progress.report(0);
    std::string_view piece = reader.next();
    checkSuperblock(piece, reader.size());
    while (!piece.empty()) {
      _bytes += piece.size();
      _progress.report(static_cast<int>(_bytes * 100 / reader.size()));
      keepPace();
      piece = reader.next();
    }
    tell(std::to_string(_bytes) + " bytes read, all of the volume.");
  }

  void checkSuperblock(std::string_view start, std::uint64_t volumeSize) {
    const auto superblock = readSuperblock(start);
    if (!superblock) {
      throw Failure{kBadVolume, "There is no superblock of a known file system."};
    }
    const std::string complaint = complaintAbout(*superblock, volumeSize);
    if (!complaint.empty()) {
      throw Failure{kBadVolume, complaint};
    }
    _fileSystem = superblock->fileSystem;
    tell("Superblock: " + _fileSystem + ", blocks of " + std::to_string(superblock->blockSize) +
         " bytes, " + std::to_string(superblock->size) + " bytes in all.");
  }

  void keepPace() {
    if (_options.pace != 0) {
      const std::chrono::duration<double> due(static_cast<double>(_bytes) /
                                              static_cast<double>(_options.pace));
      std::this_thread::sleep_until(
          std::min(_start + std::chrono::duration_cast<Clock::duration>(due), deadline()));
    }
    if (Clock::now() >= deadline()) {
      throw Failure{kTimedOut, "The time of " + std::to_string(_options.timeout.count()) +
                                   " s is over after " + std::to_string(_bytes) + " bytes."};
    }
  }

  Clock::time_point deadline() const {
    return _options.timeout.count() == 0 ? Clock::time_point::max() : _start + _options.timeout;
  }

  int writeMetrics(int status) {
    std::ofstream metrics(_options.metrics);
    metrics << "dry-run status=" << status << " fs=" << _fileSystem << " bytes=" << _bytes << '\n';
    metrics.close();
    if (!_options.metrics.empty() && !metrics) {
      return complain(kCannotWrite, "The metrics file " + _options.metrics + " cannot be written.");
    }
    return status;
  }

  const DryRunOptions& _options;
  std::ofstream _log;
  ProgressReport _progress;
  Clock::time_point _start;
  std::string _fileSystem = "unknown";
  std::uint64_t _bytes = 0;
};

}  // namespace

int runDryRun(const DryRunOptions& options) { return DryRun(options).run(); }

}  // namespace marrow::migrator
