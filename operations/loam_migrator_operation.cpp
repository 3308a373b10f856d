#include "operations/loam_migrator_operation.h"

#include "daemon/log_channels.h"
#include "host/unicode.h"
#include "operations/operation_storage.h"

#include <cerrno>
#include <utility>

namespace marrow {

namespace {

constexpr std::int64_t kProgressUnits = 100;
constexpr std::uint64_t kLongTimeout = 1200;
constexpr std::uint64_t kShortTimeout = 300;

std::optional<std::string> dataVolumeDevNode(MWStorageController* controller) {
  return controller != nullptr ? controller->dataVolumeDevNode() : std::nullopt;
}

}  // namespace

MWLoamMigratorOperation::MWLoamMigratorOperation(const Services& services)
    : _services(services), _progress(std::make_shared<Progress>(kProgressUnits)) {}

MWLoamMigratorOperation::~MWLoamMigratorOperation() { _closeProgressPipe(); }

// Nobody watches a dark boot, and internal builds would rather wait than lose a rehearsal.
std::uint64_t MWLoamMigratorOperation::dryRunTimeout() const {
  const bool patient = _services.installerUtilities.isDarkBoot() ||
                       _services.osVariant.hasInternalContent("com.corvane.marrowd");
  return patient ? kLongTimeout : kShortTimeout;
}

bool MWLoamMigratorOperation::execute() {
  if (!migrationRequired()) {
    log(operationsLogChannel(), LogLevel::standard, LogEvent::migrationNotNeeded,
        "Skipping MWLoamMigratorOperation as the container has already been migrated to ELoam.");
    return true;
  }
  const auto controller = storageControllerOf(*this);
  const auto deviceNode = dataVolumeDevNode(controller.get());
  if (!deviceNode) {
    setError(
        makeError(kMWLoamMigratorOperationErrorDomain, kMWLoamMigratorOperationErrorNoDataVolume));
    return false;
  }
  return migrate(*controller, *deviceNode);
}

bool MWLoamMigratorOperation::migrate(MWStorageController& controller,
                                      const std::string& deviceNode) {
  const auto devicePath = rawDevicePath(deviceNode);
  if (!devicePath) {
    return false;
  }
  const bool dryRun = dryRunOnly();
  const auto task = launchTool(toolArguments(dryRun, *devicePath));
  std::string output;
  if (!task || !collectOutput(*task, output)) {
    _closeProgressPipe();
    return false;
  }
  task->waitUntilExit();
  _closeProgressPipe();
  handOver(controller, std::move(output));
  return judge(task->terminationStatus(), dryRun);
}

// The tool gets the raw device, whichever node names the volume; a number without a name reads as
// "??" (devname(3)).
std::optional<std::string> MWLoamMigratorOperation::rawDevicePath(const std::string& deviceNode) {
  FileStatus status;
  if (_services.files.statusAt(deviceNode, status) != 0) {
    const int errorNumber = errno;
    log(operationsLogChannel(), LogLevel::error, LogEvent::dataVolumeNotReadable,
        "Failed to stat(\"%@\") data volume dev-node. %s", deviceNode,
        errorNumberText(errorNumber));
    fail(kMWLoamMigratorOperationErrorStat, makePOSIXError(errorNumber));
    return std::nullopt;
  }
  const auto name = _services.deviceNames.characterDeviceName(status.deviceNumber);
  return "/dev/" + name.value_or("??");
}

MWLoamMigratorOperation::Arguments MWLoamMigratorOperation::toolArguments(
    bool dryRun, const std::string& devicePath) {
  Arguments arguments = {"-M", "-m", kLoamMigratorMetricsPath, "-l", kLoamMigratorLogPath};
  appendModeArguments(dryRun, arguments);
  _openProgressPipe();
  if (progressHandle()) {
    arguments.insert(arguments.end(), {"-g", progressPath().value_or("")});
  }
  arguments.push_back(devicePath);
  return arguments;
}

void MWLoamMigratorOperation::appendModeArguments(bool dryRun, Arguments& arguments) const {
  if (!dryRun) {
    arguments.insert(arguments.end(), {"-o", "createtmpcp"});
    return;
  }
  arguments.emplace_back("-n");
  const std::uint64_t timeout = dryRunTimeout();
  if (timeout != 0) {
    arguments.insert(arguments.end(), {"-t", formatText("%lu", timeout)});
  }
}

std::unique_ptr<LaunchedTask> MWLoamMigratorOperation::launchTool(const Arguments& arguments) {
  log(operationsLogChannel(), LogLevel::standard, LogEvent::migratorStarted,
      "Running Loam Migrator with options: %@", arguments);
  ErrorRef error;
  auto task = _services.taskLauncher.launch(kLoamMigratorPath, arguments, &error);
  if (!task) {
    log(operationsLogChannel(), LogLevel::error, LogEvent::migratorNotLaunched,
        "Failed to launch Loam migrator. %@", error);
    fail(kMWLoamMigratorOperationErrorLaunch, error);
  }
  return task;
}

bool MWLoamMigratorOperation::collectOutput(LaunchedTask& task, std::string& output) {
  ErrorRef error;
  auto collected = task.readOutputToEnd(&error);
  if (!collected) {
    log(operationsLogChannel(), LogLevel::error, LogEvent::migratorOutputNotRead,
        "Failed to read Loam migrator pipe handle. %@", error);
    fail(kMWLoamMigratorOperationErrorReadOutput, error);
    return false;
  }
  output = std::move(*collected);
  return true;
}

// The tool has let go of the container, whatever it says of its work: its files can be carried on,
// and volumes mounted again.
void MWLoamMigratorOperation::handOver(MWStorageController& controller, std::string output) {
  std::optional<std::string> text;
  if (isValidUTF8(output)) {
    text = std::move(output);
  }
  log(operationsLogChannel(), LogLevel::standard, LogEvent::migratorOutput,
      "Loam Migrator Output: %@", std::move(text));
  if (const auto dataSource = operationQueueDataSource()) {
    dataSource->setLoamMigratorLogPath(kLoamMigratorLogPath);
    dataSource->setLoamMigratorMetricsPath(kLoamMigratorMetricsPath);
  }
  controller.stopDissentingMounts();
}

// A rehearsal that fails is told, but must not keep the upgrade from being finished.
bool MWLoamMigratorOperation::judge(int exitStatus, bool dryRun) {
  if (exitStatus == 0) {
    return true;
  }
  log(operationsLogChannel(), LogLevel::error, LogEvent::migratorFailed,
      "Loam Migrator exited with status: %d", exitStatus);
  fail(kMWLoamMigratorOperationErrorExitStatus, makePOSIXError(exitStatus));
  return dryRun;
}

void MWLoamMigratorOperation::fail(std::int64_t code, const ErrorRef& underlying) {
  UserInfo userInfo;
  if (underlying) {
    userInfo.emplace(kUnderlyingErrorKey, underlying);
  }
  setError(makeError(kMWLoamMigratorOperationErrorDomain, code, std::move(userInfo)));
}

}  // namespace marrow
