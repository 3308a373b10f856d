// What a process names as the source of a mount, looked up as that process would. Any thread.
#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

namespace marrow {

// The number of the block device that the path leads to; absent when it leads to none. `process` is
// the process's directory below /proc, or empty. Where it has gone, an absolute path counts as ours
// and a relative one leads nowhere. Only what the kernel remembers of the path is looked at, so
// that no file server is waited for; devtmpfs is remembered whole. What is not remembered yet is
// looked at again within a tenth of a second.
std::optional<dev_t> blockDeviceNamed(const std::string& path, const std::string& process);

}  // namespace marrow
