#pragma once

#include <cstddef>

namespace foundation::feature::management::test {

/// Watches the allocations of this thread, those made by libraries included, until it ends; one at a time.
class AllocationWatch {
public:
    struct Rules {
        std::size_t failing = 0;     ///< the allocation that fails, counted from 1; 0: none
        bool laterOnesFail = false;  ///< and every one after it
        std::size_t smallest = 0;    ///< the sizes that `countOfSize` counts
        std::size_t largest = 0;
    };

    explicit AllocationWatch(Rules const& rules);
    ~AllocationWatch();

    AllocationWatch(AllocationWatch const&) = delete;
    AllocationWatch& operator=(AllocationWatch const&) = delete;

    std::size_t count() const;
    std::size_t countOfSize() const;
};

/// How many allocations of the process, of any thread, have not been given back.
std::size_t liveAllocations();

}  // namespace foundation::feature::management::test
