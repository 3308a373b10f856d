#include "tests/linux/disk/late_disk.h"

#include "tests/linux/disk/loop_disk.h"
#include "tests/wait_until.h"

#include <cctype>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <sys/mount.h>
#include <utility>

namespace marrow {

namespace {

namespace fs = std::filesystem;

// Documentation/ABI/testing/sysfs-bus-pci.
constexpr char kRescan[] = "/sys/bus/pci/rescan";

void writeTo(const std::string& path, const std::string& text) {
  EXPECT_TRUE(std::ofstream(path) << text << std::flush) << path;
}

// The nearest device above it that can be taken off its bus.
std::string slotOf(const std::string& name) {
  auto folder = fs::canonical("/sys/class/block/" + name + "/device");
  while (!fs::exists(folder / "remove") && folder != folder.root_path()) {
    folder = folder.parent_path();
  }
  return folder;
}

void fillDisk(const std::string& node, const std::string& dataNode, const std::string& group) {
  const std::vector<std::string> table = {"sfdisk", "-q", "--wipe=always", node};
  runProgram(table, "label: gpt\nsize=8M, type=" + std::string(kSystemType) + ", name=" + group +
                        "\nsize=16M, type=" + kDataType + ", name=" + group + "\n");
  EXPECT_TRUE(waitUntil([&] { return fs::exists(dataNode); })) << dataNode;
  runProgram(std::vector<std::string>{"mkfs.ext4", "-q", "-F", dataNode});
}

}  // namespace

LateDisk::LateDisk(std::string name, const std::string& group) : _name(std::move(name)) {
  if (!isThere()) {
    throw std::runtime_error(_name + " is not there: tests/booted/run gives the machine one");
  }
  fillDisk("/dev/" + _name, partitionNode(2), group);
  _slot = slotOf(_name);
  pullOut();
}

LateDisk::~LateDisk() {
  if (!isThere()) {
    plugIn();
  }
}

void LateDisk::plugIn() {
  writeTo(kRescan, "1");
  EXPECT_TRUE(waitUntil([this] { return isThere(); })) << _name;
}

void LateDisk::pullOut() {
  writeTo(_slot + "/remove", "1");
  EXPECT_TRUE(waitUntil([this] { return !isThere(); })) << _name;
}

std::string LateDisk::partition(unsigned number) const {
  const bool endsInDigit = std::isdigit(static_cast<unsigned char>(_name.back())) != 0;
  return _name + (endsInDigit ? "p" : "") + std::to_string(number);
}

bool LateDisk::isThere() const { return fs::exists("/sys/class/block/" + _name); }

LiveUdev::LiveUdev(const std::string& rules) {
  EXPECT_EQ(::mount("run", "/run", "tmpfs", 0, nullptr), 0);
  fs::create_directories("/run/udev/rules.d");
  writeTo("/run/udev/rules.d/00-test.rules", rules + "\n");
  _daemon = std::make_unique<StartedProgram>(
      std::vector<std::string>{"/usr/lib/systemd/systemd-udevd"}, false);
  EXPECT_TRUE(waitUntil([] { return fs::exists("/run/udev/control"); }));
}

bool LiveUdev::hasQueue() { return fs::exists("/run/udev/queue"); }

bool LiveUdev::knows(const std::string& name) {
  std::ifstream file("/sys/class/block/" + name + "/dev");
  std::string number;
  return std::getline(file, number) && fs::exists("/run/udev/data/b" + number);
}

}  // namespace marrow
