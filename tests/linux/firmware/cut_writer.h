// A process that is killed in the middle of what it writes to a file.
#pragma once

#include <functional>
#include <string>

namespace marrow {

// How much of the write reaches the file at which the process is killed.
enum class CutWrite { nothing, half, all };

// Runs the action in a process of its own, and kills that at its write call number `number`, from
// 1, of those to this file. False when the action came to its end before that.
bool cutAtWrite(const std::string& file, int number, CutWrite cut,
                const std::function<void()>& action);

}  // namespace marrow
