// What the two sides of the mount gate tell each other: mount_gate.bpf.c in the kernel and the
// daemon. Read as C and as C++.
#pragma once

#include <linux/types.h>

// DISK_NAME_LEN of the kernel, and the size of a super block's name.
#define MARROW_DEVICE_NAME_SIZE 32

// A path of mount(2), PATH_MAX.
#define MARROW_SOURCE_SIZE 4096

// Who is exempt, in the first element of the map "settings".
struct MountGateSettings {
  __u64 pidNamespaceDevice;  // of its file, as the kernel writes it: major << 20 | minor
  __u64 pidNamespaceInode;
  __u32 process;  // its number in that namespace
  __u32 isFirstNamespace;
};

// A mount attempt, in the ring buffer "reports".
struct MountAttemptRecord {
  __u64 attempt;  // the same in all reports of one attempt; 0 when that is not known
  __u32 process;  // in the namespace of the settings; 0 when it has no number there
  __u32 isDenied;
  char command[16];
  char text[MARROW_SOURCE_SIZE];  // the source that was named; where denied, the device's name
};
