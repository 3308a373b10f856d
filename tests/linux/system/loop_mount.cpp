#include "tests/linux/system/loop_mount.h"

#include "tests/wait_until.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>

namespace marrow {

namespace {

bool runs(const std::string& command) {
  return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

std::string maker(const std::string& type) {
  return type == "xfs" || type == "btrfs" ? "mkfs." + type + " -q -f" : "mkfs." + type;
}

}  // namespace

void enterPrivateMounts() {
  ASSERT_EQ(::unshare(CLONE_NEWNS), 0) << "the test needs root";
  ASSERT_EQ(::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
}

LoopMount::LoopMount(const std::string& type) {
  enterPrivateMounts();
  std::filesystem::create_directory(path());
  if (type == "tmpfs") {
    EXPECT_EQ(::mount("tmpfs", path().c_str(), "tmpfs", 0, nullptr), 0);
    return;
  }
  const std::string image = _folder.at("image");
  EXPECT_TRUE(runs("truncate -s 320M " + image));
  EXPECT_TRUE(runs(maker(type) + ' ' + image)) << type;
  EXPECT_TRUE(runs("mount -t " + type + " -o loop " + image + ' ' + path())) << type;
}

LoopMount::~LoopMount() {
  EXPECT_EQ(::umount(path().c_str()), 0) << path();
  // Whoever looks at all devices may keep it open for a moment, and it is there as long.
  EXPECT_TRUE(
      waitUntil([this] { return runs("! losetup --list | grep -q " + _folder.at("image")); }));
}

}  // namespace marrow
