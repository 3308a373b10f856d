// What a machine that has come to its end must not leave behind on the machine that it ran on.
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow::sweep {

// The process namespace of a process, by its name in proc_pid_ns(5); empty when it is gone.
std::string processNamespace(pid_t process);

// The content of a file of the kernel's; nothing where there is none, or none any more: what it
// tells of, a process or a device of another machine, may go while it is read.
std::optional<std::string> readKernelFile(const std::filesystem::path& path);

// A sentence for each process of that namespace, and for each loop device or mapping that stands on
// a partition of the disk ("loop3").
std::vector<std::string> leftovers(const std::string& processNamespace,
                                   const std::string& diskName);

}  // namespace marrow::sweep
