// A machine that has no BPF LSM, or lacks what it takes to use it.
#include "host/linux/mount_gate.h"
#include "tests/linux/disk/linux_disk_test.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <fstream>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <thread>

namespace marrow {

namespace {

class MissingMountGate : public LinuxDiskTest {
 protected:
  MissingMountGate() {
    std::ofstream(folder.at("lsm")) << "lockdown,capability,bpf";
    std::ofstream(folder.at("types")) << "types";
    places.securityModules = folder.at("lsm");
    places.kernelTypes = folder.at("types");
  }

  std::string reason() {
    MountGate gate(devices, "/proc", places, log);
    auto reason = gate.open();
    // None of these may do anything.
    EXPECT_EQ(gate.reports(), -1);
    gate.setListener([](const MountAttempt&) { ADD_FAILURE(); });
    gate.refuse({});
    gate.allow("vda3");
    gate.close();
    return reason.value_or("nothing");
  }

  BlockDevices devices{"/sys", "/dev"};
  MountGatePlaces places;
};

TEST_F(MissingMountGate, SaysThatTheKernelDoesNotListIt) {
  std::ofstream(places.securityModules) << "lockdown,capability,bpfx,landlock\n";
  EXPECT_EQ(reason(), folder.at("lsm") + " does not name bpf");
}

TEST_F(MissingMountGate, SaysThatTheKernelListsNothing) {
  places.securityModules = folder.at("none");
  EXPECT_EQ(reason(), folder.at("none") + " does not name bpf");
}

TEST_F(MissingMountGate, SaysThatTheKernelDoesNotDescribeItsTypes) {
  places.kernelTypes = folder.at("none");
  EXPECT_EQ(reason(), folder.at("none") + ": No such file or directory");
}

TEST_F(MissingMountGate, SaysThatTheLibraryIsMissing) {
  places.library = "libnothing.so.1";
  EXPECT_EQ(reason(), "libnothing.so.1 cannot be loaded");
}

TEST_F(MissingMountGate, SaysThatTheLibraryLacksItsFunctions) {
  places.library = "libm.so.6";
  EXPECT_EQ(reason(), "libm.so.6 cannot be loaded");
}

TEST_F(MissingMountGate, SaysThatTheProcessHasNoNamespaceToBeKnownBy) {
  places.processNamespace = folder.at("none");
  EXPECT_EQ(reason(), "the kernel does not take the programs: No such file or directory");
}

TEST_F(MissingMountGate, IsToldOfInOneLineForAllSessionsAndLeavesTheClaims) {
  auto roots = rootsIn(folder);
  roots.mountGate = places;
  roots.mountGate.library = "libnothing.so.1";
  LinuxDisks without(log, roots);
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  for (int count = 0; count < 3; ++count) {
    const auto session = makeRefusingSession(without, {disk.name()});
    session->setQueue(queue);
    EXPECT_EQ(tryMount(disk.partitionNode(1)), EBUSY);
  }
  EXPECT_EQ(log.count(LogLevel::info,
                      "Mounts are refused by claims alone, and no attempt is reported: "
                      "libnothing.so.1 cannot be loaded"),
            1U);
  EXPECT_EQ(log.count("claims alone"), 1U);
}

// Has the kernel refuse bpf(2) to the calling thread, as a container does (seccomp(2)).
void loseBpfCalls() {
  std::array<sock_filter, 4> program = {
      sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_bpf, 0, 1),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
      sock_filter BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)};
  const sock_fprog filter = {static_cast<unsigned short>(program.size()), program.data()};
  ASSERT_EQ(::prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0), 0);
  ASSERT_EQ(::prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter), 0);
}

TEST_F(MissingMountGate, IsToldOfInOneLineWhereTheKernelPermitsNoPrograms) {
  auto roots = rootsIn(folder);
  roots.mountGate = places;
  LinuxDisks without(log, roots);
  const LoopDisk disk({{kDataType, randomUUID(), "ext4"}});
  std::thread([&] {
    loseBpfCalls();
    const auto session = makeRefusingSession(without, {disk.name()});
    session->setQueue(queue);
    EXPECT_EQ(tryMount(disk.partitionNode(1)), EBUSY);
  }).join();
  EXPECT_EQ(log.count(LogLevel::info,
                      "Mounts are refused by claims alone, and no attempt is reported: the kernel "
                      "does not take the programs: Operation not permitted"),
            1U);
  EXPECT_EQ(log.count("claims alone"), 1U);
}

}  // namespace

}  // namespace marrow
