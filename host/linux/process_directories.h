// The processes of the machine as proc(5) shows them. Any thread.
#pragma once

#include <string>
#include <sys/types.h>
#include <vector>

namespace marrow {

// What is in a directory; empty when it cannot be read, or its process has gone.
std::vector<std::string> pathsIn(const std::string& directory);

// The directory of each process.
std::vector<std::string> processDirectories(const std::string& procfs);

// 0 when the path is no process's directory.
pid_t processNumber(const std::string& path);

// A process's command, cut to 15 bytes by the kernel.
std::string commandName(const std::string& process);

// "sleep (4242)".
std::string processDescription(const std::string& process);

// True for a thread of the kernel's own.
bool isKernelThread(const std::string& process);

}  // namespace marrow
