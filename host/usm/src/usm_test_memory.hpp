#pragma once

namespace foundation::usm {

/// Lets this thread allocate `count` more times, then fail with std::bad_alloc. A negative count is no limit.
void limitAllocations(int count);

}  // namespace foundation::usm
