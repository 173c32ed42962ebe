#include "usm_test_memory.hpp"

#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

thread_local int allocationsLeft = -1;

}  // namespace

void* operator new(std::size_t size) {
    if (allocationsLeft == 0) throw std::bad_alloc();
    if (allocationsLeft > 0) --allocationsLeft;
    if (void* const memory = std::malloc(size != 0 ? size : 1)) return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace foundation::usm {

void limitAllocations(int count) {
    allocationsLeft = count;
}

}  // namespace foundation::usm
