#pragma once

#include <mutex>

// The standard mutex carries no attributes for clang's thread-safety analysis, so the library locks through
// these.
#if defined(__clang__)
#define FOUNDATION_THREAD_ATTRIBUTE(attribute) __attribute__((attribute))
#else
#define FOUNDATION_THREAD_ATTRIBUTE(attribute)
#endif

#define FOUNDATION_CAPABILITY FOUNDATION_THREAD_ATTRIBUTE(capability("mutex"))
#define FOUNDATION_SCOPED_CAPABILITY FOUNDATION_THREAD_ATTRIBUTE(scoped_lockable)
#define FOUNDATION_ACQUIRE(...) FOUNDATION_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define FOUNDATION_RELEASE(...) FOUNDATION_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define FOUNDATION_GUARDED_BY(mutex) FOUNDATION_THREAD_ATTRIBUTE(guarded_by(mutex))
#define FOUNDATION_REQUIRES(mutex) FOUNDATION_THREAD_ATTRIBUTE(requires_capability(mutex))
#define FOUNDATION_EXCLUDES(mutex) FOUNDATION_THREAD_ATTRIBUTE(locks_excluded(mutex))

namespace foundation::feature::detail {

/// A plain, not recursive mutex.
class FOUNDATION_CAPABILITY Mutex {
public:
    void lock() FOUNDATION_ACQUIRE() { mutex_.lock(); }
    void unlock() FOUNDATION_RELEASE() { mutex_.unlock(); }

private:
    std::mutex mutex_;
};

/// Holds a mutex for a scope.
class FOUNDATION_SCOPED_CAPABILITY Lock {
public:
    explicit Lock(Mutex& mutex) FOUNDATION_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
    ~Lock() FOUNDATION_RELEASE() { mutex_.unlock(); }

    Lock(Lock const&) = delete;
    Lock& operator=(Lock const&) = delete;

private:
    Mutex& mutex_;
};

}  // namespace foundation::feature::detail
