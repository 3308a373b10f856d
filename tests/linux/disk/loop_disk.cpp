#include "tests/linux/disk/loop_disk.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <linux/loop.h>
#include <sched.h>
#include <sstream>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace marrow {

namespace {

namespace fs = std::filesystem;

std::string failure(const std::string& what) { return what + ": " + std::strerror(errno); }

class PrivateMounts : public testing::Environment {
 public:
  void SetUp() override { enterPrivateMountNamespace(); }
};

// NOLINTNEXTLINE(cert-err58-cpp)
const testing::Environment* const kPrivateMounts =
    testing::AddGlobalTestEnvironment(new PrivateMounts);

std::string quoted(const std::string& word) { return "'" + word + "'"; }

std::string makeImage(const std::vector<LoopPartition>& partitions) {
  std::string path = "/tmp/marrow-disk-test-XXXXXX";
  const int file = ::mkstemp(path.data());
  off_t size = off_t{4} << 20;
  for (const auto& partition : partitions) {
    size += off_t{partition.mebibytes} << 20;
  }
  EXPECT_EQ(::ftruncate(file, size), 0) << failure("the image cannot be made");
  ::close(file);
  return path;
}

std::string tableScript(const std::vector<LoopPartition>& partitions) {
  std::ostringstream script;
  script << "label: gpt\n";
  for (const auto& partition : partitions) {
    script << "size=" << partition.mebibytes << "MiB, type=" << partition.type << ", name=\""
           << partition.name << "\"\n";
  }
  return script.str();
}

void makeFileSystem(const std::string& type, const std::string& node) {
  if (type == "ext4") {
    runProgram({"mkfs.ext4", "-q", "-F", node});
  } else if (!type.empty()) {
    runProgram({"mkfs." + type, "-q", "-f", node});
  }
}

struct Mount {
  std::string target;
  std::string source;
};

// proc(5), mountinfo: the target is the fifth word, the source the second behind the dash.
std::vector<Mount> mounts(const std::string& path = "/proc/self/mountinfo") {
  std::vector<Mount> found;
  std::ifstream table(path);
  for (std::string line; std::getline(table, line);) {
    std::istringstream words(line);
    std::array<std::string, 5> head;
    for (auto& word : head) {
      words >> word;
    }
    std::istringstream tail(line.substr(line.find(" - ") + 3));
    Mount mount{head[4], {}};
    std::string type;
    tail >> type >> mount.source;
    found.push_back(mount);
  }
  return found;
}

// By the same name, another test may have attached another file since.
bool isBackedBy(const std::string& name, const std::string& backing) {
  std::string path;
  std::ifstream file("/sys/class/block/" + name + "/loop/backing_file");
  return static_cast<bool>(std::getline(file, path)) && path == backing;
}

// Somebody else may take the free device first: then EBUSY.
LoopAttachment tryAttach(const std::string& backing) {
  const Descriptor control(::open("/dev/loop-control", O_RDWR | O_CLOEXEC));
  const int number = ::ioctl(control.number(), LOOP_CTL_GET_FREE);
  const std::string name = "loop" + std::to_string(number);
  const Descriptor file(::open(backing.c_str(), O_RDWR | O_CLOEXEC));
  Descriptor loop(::open(("/dev/" + name).c_str(), O_RDWR | O_CLOEXEC));
  loop_config config{};
  config.fd = static_cast<__u32>(file.number());
  // Where the test program ends before its time, the device and its partitions go with it.
  config.info.lo_flags = LO_FLAGS_AUTOCLEAR | LO_FLAGS_PARTSCAN;
  if (::ioctl(loop.number(), LOOP_CONFIGURE, &config) != 0) {
    const int error = errno;
    loop.reset();
    errno = error;
  }
  return {name, std::move(loop)};
}

}  // namespace

unsigned mebibytesFor(const std::string& fileSystem) {
  return fileSystem == "xfs" ? 310 : fileSystem == "btrfs" ? 120 : 8;
}

bool runProgram(const std::vector<std::string>& words, const std::string& input) {
  std::string command;
  for (const auto& word : words) {
    command += quoted(word) + " ";
  }
  std::string log = "/tmp/marrow-disk-test-output-XXXXXX";
  ::close(::mkstemp(log.data()));
  FILE* const pipe = ::popen((command + ">" + log + " 2>&1").c_str(), "we");
  std::fwrite(input.data(), 1, input.size(), pipe);
  const int status = ::pclose(pipe);
  std::ostringstream output;
  output << std::ifstream(log).rdbuf();
  fs::remove(log);
  EXPECT_EQ(status, 0) << command << "\n" << output.str();
  return status == 0;
}

LoopDevice::LoopDevice(const std::string& backing)
    : _backing(backing), _attachment(tryAttach(backing)) {
  for (int attempt = 0; !_attachment.open && errno == EBUSY && attempt < 100; ++attempt) {
    _attachment = tryAttach(backing);
  }
  EXPECT_TRUE(_attachment.open) << failure("no loop device for " + backing + " (needs root)");
}

LoopDevice::~LoopDevice() {
  _attachment.open.reset();
  // The last one to close it detaches it; nobody may be left.
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(5);
  while (isBackedBy(name(), _backing) && std::chrono::steady_clock::now() < limit) {
    std::this_thread::yield();
  }
  EXPECT_FALSE(isBackedBy(name(), _backing)) << node() << " leaks: something still has it open";
}

LoopDisk::LoopDisk(const std::vector<LoopPartition>& partitions)
    : LoopDisk(partitions, [](const std::string&) {}) {}

LoopDisk::LoopDisk(const std::vector<LoopPartition>& partitions, void (*damage)(const std::string&))
    : _image(makeImage(partitions)) {
  if (!partitions.empty()) {
    runProgram({"sfdisk", "-q", "--no-tell-kernel", _image}, tableScript(partitions));
  }
  _loop = new LoopDevice(_image);
  if (partitions.empty()) {
    return;
  }
  addPartitions();
  for (unsigned number = 1; number <= partitions.size(); ++number) {
    makeFileSystem(partitions[number - 1].fileSystem, partitionNode(number));
  }
  runProgram({"blockdev", "--flushbufs", node()});
  damage(node());
}

LoopDisk::~LoopDisk() {
  removePartitions();
  delete _loop;
  fs::remove(_image);
}

void LoopDisk::addPartitions() const { runProgram({"partx", "-u", node()}); }

void LoopDisk::removePartitions() const {
  for (const auto& entry : fs::directory_iterator("/sys/class/block/" + name() + "/")) {
    if (fs::exists(entry.path() / "partition")) {
      runProgram({"partx", "-d", node()});
      return;
    }
  }
}

std::vector<std::string> mountTargets(const std::string& source, const std::string& table) {
  std::vector<std::string> targets;
  for (const auto& mount : mounts(table)) {
    if (mount.source == source) {
      targets.push_back(mount.target);
    }
  }
  return targets;
}

std::vector<std::string> mountsBelow(const std::string& path) {
  std::vector<std::string> targets;
  for (const auto& mount : mounts()) {
    if (mount.target.starts_with(path)) {
      targets.insert(targets.begin(), mount.target);
    }
  }
  return targets;
}

std::string randomUUID() {
  std::string text;
  std::ifstream("/proc/sys/kernel/random/uuid") >> text;
  return text;
}

void enterPrivateMountNamespace() {
  ASSERT_EQ(::unshare(CLONE_NEWNS), 0) << failure("these tests need root");
  ASSERT_EQ(::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0)
      << failure("a private mount namespace");
}

TestFolder::TestFolder() : _path("/tmp/marrow-disk-folder-XXXXXX") {
  EXPECT_NE(::mkdtemp(_path.data()), nullptr);
}

TestFolder::~TestFolder() {
  for (const auto& target : mountsBelow(_path)) {
    ADD_FAILURE() << target << " leaks: it is still mounted";
    ::umount2(target.c_str(), 0);
  }
  std::error_code failed;
  fs::remove_all(_path, failed);
}

std::string TestFolder::makeFolder(const std::string& name) const {
  fs::create_directories(at(name));
  return at(name);
}

}  // namespace marrow
