// What the fuzzer tells the library in place of the bus's, and asks it.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#pragma GCC visibility push(default)

// The answers of the calls that follow; the text is not copied.
void setBusAnswers(const char* text, std::size_t size);

// How many buses, answers and descriptors have not been given back.
int heldByBus();

#pragma GCC visibility pop
}
