// A test of the boot objects, with both of their volumes mounted at paths that do not change.
#pragma once

#include "operations/commit_boot_objects_operation.h"
#include "tests/operations/operation_test.h"

#include <cerrno>
#include <memory>
#include <string>
#include <vector>

namespace marrow {

class BootObjectsTest : public OperationTest {
 protected:
  BootObjectsTest()
      : operation(create<MWCommitBootObjectsOperation>(machine.files, machine.trees)) {
    machine.partitions.mount(kRecoveryVolume, "/Volumes/recovery");
    forgetTheStart();
  }

  // A new run, as after a restart of the daemon.
  bool runAnew() {
    operation = create<MWCommitBootObjectsOperation>(machine.files, machine.trees);
    operation->start();
    return operation->success();
  }

  void setCookie(PropertyListValue fullUpgrade) {
    PropertyListDictionary cookie;
    cookie.set("TemplateMigrationFullUpgradeKey", std::move(fullUpgrade));
    machine.fileSystem.writeDictionary(kCookiePath, cookie);
  }

  std::string contents(const std::string& path) const {
    return machine.fileSystem.contents(path).value_or("(nothing)");
  }

  // The error of a failed installation.
  void expectInstallError(std::int64_t code, int errorNumber, const std::string& reason) {
    EXPECT_FALSE(operation->success());
    expectError(operation->error(), "MWCommitBootObjectsOperationErrorDomain", code);
    expectError(underlying(operation->error()), kPOSIXErrorDomain, errorNumber);
    EXPECT_EQ(operation->error()->localizedDescription(), reason);
    EXPECT_EQ(operation->error()->userInfo().size(), 2U);
  }

  std::vector<std::string> operationsLog() const { return machine.log.textsOf("Operations"); }

  // Below the mount points.
  const std::string preboot = "/Volumes/preboot/" + kBootedGroup;
  const std::string recovery = "/Volumes/recovery/" + kBootedGroup;
  const std::string recoveryBootObjects = "/Volumes/recovery/" + kBootObjectsPath;
  const std::string groupImage = recovery + "/" + kBaseSystemImage;
  const std::string bootImage = recoveryBootObjects + "/" + kBaseSystemImage;

  std::shared_ptr<MWCommitBootObjectsOperation> operation;
};

}  // namespace marrow
