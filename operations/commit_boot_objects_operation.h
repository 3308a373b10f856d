// Puts the boot objects that the update staged into their live places on the preboot and recovery
// volumes, and flushes both.
#pragma once

#include "engine/operation.h"
#include "host/file_trees.h"
#include "host/files.h"
#include "host/text_format.h"

#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>

namespace marrow {

class MWStorageController;

inline constexpr char kMWCommitBootObjectsOperationErrorDomain[] =
    "MWCommitBootObjectsOperationErrorDomain";

// Codes of that domain. All records have a localized description; those of a failed installation
// also the POSIX error of the call that failed.
inline constexpr std::int64_t kMWCommitBootObjectsOperationErrorNoPreboot = 1;
inline constexpr std::int64_t kMWCommitBootObjectsOperationErrorNoRecovery = 2;
inline constexpr std::int64_t kMWCommitBootObjectsOperationErrorInstallExtensions = 100;
inline constexpr std::int64_t kMWCommitBootObjectsOperationErrorInstallRestore = 101;
inline constexpr std::int64_t kMWCommitBootObjectsOperationErrorInstallBaseSystem = 102;

// The entry of the template-migration cookie that, where true, has the "downlevel" tree removed.
inline constexpr char kTemplateMigrationFullUpgradeKey[] = "TemplateMigrationFullUpgradeKey";

// It may be run again after a failure or a cut: what was installed before has no staged source any
// more and is skipped, and an old tree that was not removed yet is removed.
class MWCommitBootObjectsOperation : public MWOperation {
 public:
  // Both outlive the operation.
  MWCommitBootObjectsOperation(Files& files, FileTrees& fileTrees)
      : _files(files), _fileTrees(fileTrees) {}

  std::string className() const override { return "MWCommitBootObjectsOperation"; }
  bool execute() override;
  double estimatedExecutionTime() const override { return 10.0; }

  // True when the preboot and the recovery volume are mounted (which this does where they are not);
  // otherwise false with an error. Nothing is installed.
  virtual bool preflight();

  // Puts what is staged at `source` into the place of `destination`: a directory by an exchange,
  // after which the old one is removed, everything else, and a directory that has nothing to
  // replace, by a rename. True also when nothing is staged. On false the error has `errorCode`.
  bool _installPath(const std::string& source, const std::string& destination, bool isDirectory,
                    std::int64_t errorCode);

  // Sets the error. A POSIX error of 0 means that there is none; the reason becomes the localized
  // description.
  template <typename... Arguments>
  void _setErrorWithCode(std::int64_t code, int POSIXError,
                         FormatString<std::type_identity_t<Arguments>...> reason,
                         Arguments&&... arguments) {
    setErrorRecord(code, POSIXError,
                   formatText<Arguments...>(reason, std::forward<Arguments>(arguments)...));
  }
  void _setErrorWithCode(std::int64_t code, int POSIXError) {
    setErrorRecord(code, POSIXError, std::nullopt);
  }

 private:
  // Where the objects lie: the group's own folder and the boot-objects folder of both volumes.
  struct Roots {
    std::string prebootGroup;
    std::string prebootBootObjects;
    std::string recoveryGroup;
    std::string recoveryBootObjects;
  };

  void setErrorRecord(std::int64_t code, int POSIXError, std::optional<std::string> reason);
  bool checkMountPoints(const std::optional<std::string>& preboot,
                        const std::optional<std::string>& recovery);
  std::optional<Roots> findRoots(MWStorageController& controller);
  void removeDownlevel(const std::string& path);
  bool installStaged(const Roots& roots);
  bool installBaseSystem(const std::string& root);
  bool swapPaths(const std::string& source, const std::string& destination, std::int64_t errorCode);
  bool renamePath(const std::string& source, const std::string& destination,
                  std::int64_t errorCode);
  void recordActive(const std::string& bootObjects);
  void writeFile(const std::string& path, const std::string& text);

  Files& _files;
  FileTrees& _fileTrees;
};

}  // namespace marrow
