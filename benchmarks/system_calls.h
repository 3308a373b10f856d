// How many system calls something makes.
#pragma once

#include <cstdint>
#include <functional>
#include <map>

namespace marrow {

// By their numbers (syscall(2)), in a child process that calls `work` under ptrace(2); the calls of
// threads that it starts are counted too. std::runtime_error where `work` throws or tracing is not
// allowed.
std::map<std::uint64_t, std::uint64_t> systemCallsOf(const std::function<void()>& work);

}  // namespace marrow
