// Replaces operator new by one that counts. A file of its own: where it can be inlined, g++ takes what it
// does for mismatched allocation functions.

#include <atomic>
#include <cstdlib>
#include <new>

extern std::atomic<long> allocationCount;
std::atomic<long> allocationCount = 0;

void* operator new(std::size_t size) {
    ++allocationCount;
    if (void* const memory = std::malloc(size == 0 ? 1 : size)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
