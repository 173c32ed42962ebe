#pragma once

#include <cstddef>

namespace foundation::usm {

/// A type that several modules store.
struct Shared {
    int number = 0;
};

/// What the other module sees on the calling thread.
std::size_t slotInOtherModule();
void* findInOtherModule();

}  // namespace foundation::usm
