#include "AllocationWatch.hpp"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace foundation::feature::management::test {
namespace {

struct Allocations {
    bool areWatched = false;
    AllocationWatch::Rules rules;
    std::size_t count = 0;
    std::size_t countOfSize = 0;
};

constinit thread_local Allocations allocations;

constinit std::atomic<std::size_t> live = 0;

bool mayAllocate(std::size_t size) {
    if (!allocations.areWatched) return true;
    AllocationWatch::Rules const& rules = allocations.rules;
    std::size_t const number = ++allocations.count;
    if (size >= rules.smallest && size <= rules.largest) ++allocations.countOfSize;
    return rules.failing == 0 || number < rules.failing || (number > rules.failing && !rules.laterOnesFail);
}

void* tryToAllocate(std::size_t size) {
    void* const memory = mayAllocate(size) ? std::malloc(size != 0 ? size : 1) : nullptr;
    if (memory != nullptr) ++live;
    return memory;
}

void* allocate(std::size_t size) {
    void* const memory = tryToAllocate(size);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

void deallocate(void* memory) {
    if (memory == nullptr) return;
    --live;
    std::free(memory);
}

}  // namespace

AllocationWatch::AllocationWatch(Rules const& rules) {
    allocations = {.areWatched = true, .rules = rules};
}

AllocationWatch::~AllocationWatch() {
    allocations = {};
}

std::size_t AllocationWatch::count() const {
    return allocations.count;
}

std::size_t AllocationWatch::countOfSize() const {
    return allocations.countOfSize;
}

std::size_t liveAllocations() {
    return live;
}

}  // namespace foundation::feature::management::test

// Apart from the tests: where a compiler sees what these do, it takes a deallocation in a test for a mistake.
void* operator new(std::size_t size) {
    return foundation::feature::management::test::allocate(size);
}

void* operator new[](std::size_t size) {
    return foundation::feature::management::test::allocate(size);
}

void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    return foundation::feature::management::test::tryToAllocate(size);
}

void* operator new[](std::size_t size, std::nothrow_t const&) noexcept {
    return foundation::feature::management::test::tryToAllocate(size);
}

void operator delete(void* memory) noexcept {
    foundation::feature::management::test::deallocate(memory);
}

void operator delete[](void* memory) noexcept {
    foundation::feature::management::test::deallocate(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    foundation::feature::management::test::deallocate(memory);
}

void operator delete[](void* memory, std::size_t) noexcept {
    foundation::feature::management::test::deallocate(memory);
}

void operator delete(void* memory, std::nothrow_t const&) noexcept {
    foundation::feature::management::test::deallocate(memory);
}

void operator delete[](void* memory, std::nothrow_t const&) noexcept {
    foundation::feature::management::test::deallocate(memory);
}
