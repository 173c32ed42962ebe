#pragma once

#include <condition_variable>
#include <cstddef>
#include <mutex>

namespace foundation::test {

/// What std::latch is, for tests. In the standard library of g++ 12 for Windows, a thread that begins to wait for that one,
/// for a barrier or for an atomic object while the count comes down may not notice, and sleep for good.
class Latch {
public:
    explicit Latch(std::ptrdiff_t count) : count_(count) {}
    Latch(Latch const&) = delete;
    Latch& operator=(Latch const&) = delete;

    void countDown() {
        std::lock_guard const lock(mutex_);
        --count_;
        // Under the lock: a thread that has waited may destroy the latch at once.
        if (count_ == 0) reachedZero_.notify_all();
    }

    void wait() {
        std::unique_lock lock(mutex_);
        reachedZero_.wait(lock, [this] { return count_ <= 0; });
    }

    void arriveAndWait() {
        countDown();
        wait();
    }

private:
    std::mutex mutex_;  // Guards count_.
    std::condition_variable reachedZero_;
    std::ptrdiff_t count_;
};

}  // namespace foundation::test
