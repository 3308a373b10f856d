// What the fuzzer tells the library in place of the bus's, and asks it.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {
#pragma GCC visibility push(default)

// The answers of the calls that follow, of which the last `repeated` come again and again; the text
// is not copied.
void setBusAnswers(const char* text, std::size_t size, std::size_t repeated);

// How many buses, answers and descriptors have not been given back.
int heldByBus();

#pragma GCC visibility pop
}
