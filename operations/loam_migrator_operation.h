// Runs the container file system's migrator tool against the data volume and follows its progress.
// The run is a rehearsal (a dry run): the tool changes nothing, and what it finds out is carried on
// by its log and metrics files.
#pragma once

#include "engine/operation.h"
#include "host/device_names.h"
#include "host/file_handles.h"
#include "host/files.h"
#include "host/installer_utilities.h"
#include "host/os_variant.h"
#include "host/task_launcher.h"
#include "host/temporary_directory.h"
#include "operations/synchronized_field.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace marrow {

class MWStorageController;

inline constexpr char kMWLoamMigratorOperationErrorDomain[] = "MWLoamMigratorOperationErrorDomain";

// Codes of that domain. No record has a localized description; all but the first have an underlying
// error: the POSIX error of stat(2), the launcher's, the tool's exit status as a POSIX code, and
// the reader's.
inline constexpr std::int64_t kMWLoamMigratorOperationErrorNoDataVolume = 1;
inline constexpr std::int64_t kMWLoamMigratorOperationErrorStat = 2;
inline constexpr std::int64_t kMWLoamMigratorOperationErrorLaunch = 3;
inline constexpr std::int64_t kMWLoamMigratorOperationErrorExitStatus = 4;
inline constexpr std::int64_t kMWLoamMigratorOperationErrorReadOutput = 5;

// The tool, and the files that it is told to write.
inline constexpr char kLoamMigratorPath[] =
    "/System/Library/Filesystems/loam.fs/Contents/Resources/loam_migrator";
inline constexpr char kLoamMigratorMetricsPath[] = "/private/tmp/loam_migrator_metrics.dat";
inline constexpr char kLoamMigratorLogPath[] = "/private/tmp/loam_migrator.log";

// The FIFO in the temporary directory on which the tool reports its progress.
inline constexpr char kLoamMigratorProgressName[] = "loam_migrator_progress.txt";

// Owned by a shared_ptr: the progress pipe's callback comes on another thread and must find the
// operation or know that it is gone.
class MWLoamMigratorOperation : public MWOperation,
                                public std::enable_shared_from_this<MWLoamMigratorOperation> {
 public:
  // All of them outlive the operation.
  struct Services {
    TaskLauncher& taskLauncher;
    FileHandles& fileHandles;
    Files& files;
    DeviceNames& deviceNames;
    TemporaryDirectory& temporaryDirectory;
    KWUtilities& installerUtilities;
    OSVariant& osVariant;
  };

  explicit MWLoamMigratorOperation(const Services& services);
  ~MWLoamMigratorOperation() override;

  std::string className() const override { return "MWLoamMigratorOperation"; }
  bool execute() override;
  double estimatedExecutionTime() const override { return 300.0; }

  // Of 100 units, as many as the tool last reported; it keeps that count when the tool has ended.
  // Any thread.
  std::shared_ptr<Progress> progress() override { return _progress.load(); }
  void setProgress(std::shared_ptr<Progress> progress) { _progress.store(std::move(progress)); }

  // The read end of the progress FIFO and its path, while the tool runs. Any thread.
  std::shared_ptr<FileHandle> progressHandle() const { return _progressHandle.load(); }
  void setProgressHandle(std::shared_ptr<FileHandle> handle) {
    _progressHandle.store(std::move(handle));
  }
  std::optional<std::string> progressPath() const { return _progressPath.load(); }
  void setProgressPath(std::optional<std::string> path) { _progressPath.store(std::move(path)); }

  // Makes the FIFO and listens to it. On failure, which is logged, both fields stay as they were.
  void _openProgressPipe();

  // Stops listening and removes the FIFO. May be repeated.
  void _closeProgressPipe();

  // What kind of run it is. The answers are fixed; deriving classes may give others.
  virtual bool migrationRequired() const { return true; }
  virtual bool dryRunOnly() const { return true; }
  // Seconds that the tool may take for a dry run; 0 is no limit.
  virtual std::uint64_t dryRunTimeout() const;

 private:
  using Arguments = std::vector<std::string>;

  bool migrate(MWStorageController& controller, const std::string& deviceNode);
  std::optional<std::string> rawDevicePath(const std::string& deviceNode);
  Arguments toolArguments(bool dryRun, const std::string& devicePath);
  void appendModeArguments(bool dryRun, Arguments& arguments) const;
  std::unique_ptr<LaunchedTask> launchTool(const Arguments& arguments);
  bool collectOutput(LaunchedTask& task, std::string& output);
  void handOver(MWStorageController& controller, std::string output);
  bool judge(int exitStatus, bool dryRun);
  int openFIFO(const std::string& path);
  void fail(std::int64_t code, const ErrorRef& underlying);

  const Services _services;
  SynchronizedField<std::shared_ptr<Progress>> _progress;
  SynchronizedField<std::shared_ptr<FileHandle>> _progressHandle;
  SynchronizedField<std::optional<std::string>> _progressPath;
};

}  // namespace marrow
