// What a program with libc and libstdc++ costs that does nothing.
#include <iostream>

int main() { std::cout << std::flush; }
