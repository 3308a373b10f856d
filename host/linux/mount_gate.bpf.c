// The kernel's side of the mount gate: three programs of the BPF LSM (Documentation/bpf/prog_lsm.rst).
// They tell the daemon of each attempt to mount a file system that needs a block device, and refuse
// one more mount of a file system whose device is refused. The daemon's own mounts pass.
#include "host/linux/mount_gate_records.h"

#include <linux/bpf.h>
#include <linux/errno.h>

#include <bpf/bpf_helpers.h>

#include <bpf/bpf_core_read.h>
#include <bpf/bpf_tracing.h>

// What is used of the kernel's own structures. libbpf finds their places in the running kernel.
#pragma clang attribute push(__attribute__((preserve_access_index)), apply_to = record)

struct file_system_type {
  int fs_flags;
};

struct fc_log;

struct p_log {
  struct fc_log *log;
};

struct fs_context {
  struct file_system_type *fs_type;
  struct p_log log;
};

struct fs_parameter {
  const char *key;
  char *string;
};

struct super_block {
  char s_id[MARROW_DEVICE_NAME_SIZE];
};

#pragma clang attribute pop

// include/linux/fs.h
#define FS_REQUIRES_DEV 1

struct {
  __uint(type, BPF_MAP_TYPE_ARRAY);
  __uint(max_entries, 1);
  __type(key, __u32);
  __type(value, struct MountGateSettings);
} settings SEC(".maps");

// By the kernel's name of the device, which is all that the super block of a btrfs shows of it.
struct {
  __uint(type, BPF_MAP_TYPE_HASH);
  __uint(max_entries, 1024);
  __uint(key_size, MARROW_DEVICE_NAME_SIZE);
  __uint(value_size, 1);
} refused SEC(".maps");

// The attempt that a thread has been reported for last.
struct {
  __uint(type, BPF_MAP_TYPE_LRU_HASH);
  __uint(max_entries, 1024);
  __type(key, __u64);
  __type(value, __u64);
} attempts SEC(".maps");

struct {
  __uint(type, BPF_MAP_TYPE_RINGBUF);
  __uint(max_entries, 256 * 1024);
} reports SEC(".maps");

// How many reports found no room.
struct {
  __uint(type, BPF_MAP_TYPE_ARRAY);
  __uint(max_entries, 1);
  __type(key, __u32);
  __type(value, __u64);
} lost SEC(".maps");

static const __u32 kFirst = 0;

// The current process's number in the daemon's process namespace, or 0.
static __always_inline __u32 currentProcess(void) {
  const struct MountGateSettings *own = bpf_map_lookup_elem(&settings, &kFirst);
  if (!own) {
    return 0;
  }
  struct bpf_pidns_info numbers = {};
  if (bpf_get_ns_current_pid_tgid(own->pidNamespaceDevice, own->pidNamespaceInode, &numbers,
                                  sizeof(numbers)) == 0) {
    return numbers.tgid;
  }
  return own->isFirstNamespace ? bpf_get_current_pid_tgid() >> 32 : 0;
}

static __always_inline int isExempt(__u32 process) {
  const struct MountGateSettings *own = bpf_map_lookup_elem(&settings, &kFirst);
  return !own || own->process == process;
}

static __always_inline void countLost(void) {
  __u64 *count = bpf_map_lookup_elem(&lost, &kFirst);
  if (count) {
    __sync_fetch_and_add(count, 1);
  }
}

static __always_inline void report(__u64 attempt, __u32 process, int isDenied, const char *text) {
  struct MountAttemptRecord *record = bpf_ringbuf_reserve(&reports, sizeof(*record), 0);
  if (!record) {
    countLost();
    return;
  }
  record->attempt = attempt;
  record->process = process;
  record->isDenied = isDenied;
  bpf_get_current_comm(record->command, sizeof(record->command));
  record->text[0] = '\0';
  bpf_probe_read_kernel_str(record->text, sizeof(record->text), text);
  // Attempts are few, and the reader must not sleep through one.
  bpf_ringbuf_submit(record, BPF_RB_FORCE_WAKEUP);
}

static __always_inline int isSource(const struct fs_parameter *parameter) {
  char key[8] = {};
  bpf_probe_read_kernel_str(key, sizeof(key), parameter->key);
  return key[0] == 's' && key[1] == 'o' && key[2] == 'u' && key[3] == 'r' && key[4] == 'c' &&
         key[5] == 'e' && key[6] == '\0';
}

// Up to Linux 6.7 btrfs mounts itself a second time, inside of the call, with a context that no
// program has opened.
static __always_inline int isPartOfAttempt(const struct fs_context *context, __u64 thread) {
  return !context->log.log && bpf_map_lookup_elem(&attempts, &thread);
}

// mount(2) begins.
SEC("lsm/sb_mount")
int BPF_PROG(beginAttempt) {
  const __u64 thread = bpf_get_current_pid_tgid();
  bpf_map_delete_elem(&attempts, &thread);
  return 0;
}

// Both mount(2) and fsconfig(2) come by here with the source that is to be mounted. 0 lets the
// kernel go on with it.
SEC("lsm/fs_context_parse_param")
int BPF_PROG(reportSource, struct fs_context *context, struct fs_parameter *parameter) {
  const __u32 process = currentProcess();
  if (isExempt(process) || !(context->fs_type->fs_flags & FS_REQUIRES_DEV) ||
      !isSource(parameter)) {
    return 0;
  }
  const __u64 thread = bpf_get_current_pid_tgid();
  if (isPartOfAttempt(context, thread)) {
    return 0;
  }
  const __u64 attempt = bpf_ktime_get_ns();
  bpf_map_update_elem(&attempts, &thread, &attempt, BPF_ANY);
  report(attempt, process, 0, parameter->string);
  return 0;
}

// A super block, new or in use already, is about to be mounted, by mount(2) or fsmount(2).
SEC("lsm/sb_kern_mount")
int BPF_PROG(refuseMount, struct super_block *superBlock) {
  const __u32 process = currentProcess();
  char name[MARROW_DEVICE_NAME_SIZE] = {};
  bpf_probe_read_kernel_str(name, sizeof(name), superBlock->s_id);
  if (isExempt(process) || !bpf_map_lookup_elem(&refused, name)) {
    return 0;
  }
  const __u64 thread = bpf_get_current_pid_tgid();
  const __u64 *attempt = bpf_map_lookup_elem(&attempts, &thread);
  report(attempt ? *attempt : 0, process, 1, superBlock->s_id);
  return -EBUSY;
}

// The kernel lets only such programs into the LSM.
const char kLicense[] SEC("license") = "Dual MIT/GPL";
