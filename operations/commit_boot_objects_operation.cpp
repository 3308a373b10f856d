#include "operations/commit_boot_objects_operation.h"

#include "daemon/log_channels.h"
#include "host/paths.h"
#include "operations/operation_storage.h"

#include <cerrno>

namespace marrow {

namespace {

constexpr char kBaseSystemImage[] = "usr/standalone/firmware/arm64eBaseSystem.dmg";
constexpr char kStagedSuffix[] = ".staged";

bool isFullUpgrade(MWStorageController& controller) {
  const auto cookie = controller.templateMigrationCookie();
  const auto* value = cookie ? cookie->find(kTemplateMigrationFullUpgradeKey) : nullptr;
  return value != nullptr && value->truthValue();
}

}  // namespace

bool MWCommitBootObjectsOperation::preflight() {
  const auto controller = storageControllerOf(*this);
  const auto preboot = controller ? controller->prebootVolumeMountPoint() : std::nullopt;
  const auto recovery = controller ? controller->recoveryVolumeMountPoint() : std::nullopt;
  return checkMountPoints(preboot, recovery);
}

bool MWCommitBootObjectsOperation::checkMountPoints(const std::optional<std::string>& preboot,
                                                    const std::optional<std::string>& recovery) {
  if (!preboot) {
    _setErrorWithCode(kMWCommitBootObjectsOperationErrorNoPreboot, 0, "failed to mount preboot");
  } else if (!recovery) {
    _setErrorWithCode(kMWCommitBootObjectsOperationErrorNoRecovery, 0, "failed to mount recovery");
  }
  return preboot && recovery;
}

bool MWCommitBootObjectsOperation::execute() {
  if (!preflight()) {
    return false;
  }
  const auto controller = storageControllerOf(*this);
  const auto roots = controller ? findRoots(*controller) : std::nullopt;
  if (!roots) {
    return false;
  }
  if (isFullUpgrade(*controller)) {
    removeDownlevel(appendPathComponent(roots->prebootGroup, "downlevel"));
  }
  if (!installStaged(*roots)) {
    return false;
  }
  recordActive(roots->prebootBootObjects);
  controller->syncChangesToDisk(roots->prebootGroup);
  controller->syncChangesToDisk(roots->recoveryGroup);
  return true;
}

// A volume may have gone since the preflight: then nothing is touched.
std::optional<MWCommitBootObjectsOperation::Roots> MWCommitBootObjectsOperation::findRoots(
    MWStorageController& controller) {
  const auto preboot = controller.prebootVolumeMountPoint();
  const auto recovery = controller.recoveryVolumeMountPoint();
  if (!checkMountPoints(preboot, recovery)) {
    return std::nullopt;
  }
  const std::string& group = controller.volumeGroupUUID();
  const std::string& bootObjects = controller.bootObjectsPath();
  return Roots{appendPathComponent(*preboot, group), appendPathComponent(*preboot, bootObjects),
               appendPathComponent(*recovery, group), appendPathComponent(*recovery, bootObjects)};
}

// Told at info level only, also when it fails: the tree is in nobody's way.
void MWCommitBootObjectsOperation::removeDownlevel(const std::string& path) {
  const int errorNumber = _fileTrees.removeRecursively(path) == 0 ? 0 : errno;
  if (errorNumber == 0) {
    log(operationsLogChannel(), LogLevel::info, "Removed downlevel at %@", path);
  } else if (errorNumber == ENOENT) {
    log(operationsLogChannel(), LogLevel::info, "No downlevel present at %@", path);
  } else {
    log(operationsLogChannel(), LogLevel::info, "Failed to remove downlevel at %@: %d (%s)", path,
        errorNumber, errorNumberText(errorNumber));
  }
}

bool MWCommitBootObjectsOperation::installStaged(const Roots& roots) {
  const std::string& group = roots.prebootGroup;
  return _installPath(appendPathComponent(group, "morrel1/proposed"),
                      appendPathComponent(group, "morrel1/current"), true,
                      kMWCommitBootObjectsOperationErrorInstallExtensions) &&
         _installPath(appendPathComponent(group, "restore-staged"),
                      appendPathComponent(group, "restore"), true,
                      kMWCommitBootObjectsOperationErrorInstallRestore) &&
         installBaseSystem(roots.recoveryGroup) && installBaseSystem(roots.recoveryBootObjects);
}

bool MWCommitBootObjectsOperation::installBaseSystem(const std::string& root) {
  const std::string image = appendPathComponent(root, kBaseSystemImage);
  return _installPath(image + kStagedSuffix, image, false,
                      kMWCommitBootObjectsOperationErrorInstallBaseSystem);
}

bool MWCommitBootObjectsOperation::_installPath(const std::string& source,
                                                const std::string& destination, bool isDirectory,
                                                std::int64_t errorCode) {
  if (_files.exists(source) != 0) {
    const int errorNumber = errno;
    log(operationsLogChannel(), LogLevel::info, "Skipping %s: %s (%d)", source,
        errorNumberText(errorNumber), errorNumber);
    return true;
  }
  if (isDirectory && _files.exists(destination) == 0) {
    return swapPaths(source, destination, errorCode);
  }
  return renamePath(source, destination, errorCode);
}

// After the exchange the source holds what was live before; that it cannot be removed does not make
// the installation any less complete.
bool MWCommitBootObjectsOperation::swapPaths(const std::string& source,
                                             const std::string& destination,
                                             std::int64_t errorCode) {
  log(operationsLogChannel(), LogLevel::info, "Swapping %s -> %s", source, destination);
  if (_fileTrees.swap(source, destination) != 0) {
    _setErrorWithCode(errorCode, errno, "swapping %s -> %s failed", source, destination);
    return false;
  }
  _fileTrees.removeRecursively(source);
  return true;
}

bool MWCommitBootObjectsOperation::renamePath(const std::string& source,
                                              const std::string& destination,
                                              std::int64_t errorCode) {
  log(operationsLogChannel(), LogLevel::info, "Renaming %s -> %s", source, destination);
  if (_fileTrees.rename(source, destination) != 0) {
    _setErrorWithCode(errorCode, errno, "renaming %s -> %s failed", source, destination);
    return false;
  }
  return true;
}

// Which of the folders below "boot" the machine starts from is told by a file beside them.
void MWCommitBootObjectsOperation::recordActive(const std::string& bootObjects) {
  const std::string folder = deletingLastPathComponent(bootObjects);
  if (lastPathComponent(folder) != "boot") {
    return;
  }
  const std::string path = appendPathComponent(folder, "active");
  const std::string name = lastPathComponent(bootObjects);
  writeFile(path, name);
  log(operationsLogChannel(), LogLevel::info, LogEvent::bootObjectsInstalled,
      "Updated %@ with NSIH = %@", path, name);
}

// Failures are not told. What somebody has put in the file's place must neither be written to nor
// hold the run up.
void MWCommitBootObjectsOperation::writeFile(const std::string& path, const std::string& text) {
  const int descriptor =
      _files.open(path, OpenFlags::create | OpenFlags::truncate | OpenFlags::writeOnly |
                            OpenFlags::nonBlocking | OpenFlags::noLinks);
  if (descriptor >= 0) {
    _files.write(descriptor, text);
    _files.close(descriptor);
  }
}

void MWCommitBootObjectsOperation::setErrorRecord(std::int64_t code, int POSIXError,
                                                  std::optional<std::string> reason) {
  UserInfo userInfo;
  if (POSIXError != 0) {
    userInfo.emplace(kUnderlyingErrorKey, makePOSIXError(POSIXError));
  }
  if (reason) {
    userInfo.emplace(kLocalizedDescriptionKey, std::move(*reason));
  }
  setError(makeError(kMWCommitBootObjectsOperationErrorDomain, code, std::move(userInfo)));
}

}  // namespace marrow
