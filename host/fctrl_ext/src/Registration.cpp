#include <foundation/fctrl_ext/Registration.hpp>

namespace foundation::fctrl_ext {
namespace {

/// How many calls of addFeatures() this thread is inside of.
thread_local int callsInside = 0;

struct Inside {
    Inside() { ++callsInside; }
    Inside(Inside const&) = delete;
    Inside& operator=(Inside const&) = delete;
    ~Inside() { --callsInside; }
};

}  // namespace

Registration::Registration() = default;

// Out of line, so that the host and all bundles share one type identity.
Registration::~Registration() = default;

void Registration::addFeaturesOnce() {
    {
        std::unique_lock lock(mutex_);
        // What runs may wait, directly or not, for what this thread is inside of, itself included.
        if (progress_ == Progress::RUNNING && callsInside > 0) return;
        finished_.wait(lock, [this] { return progress_ != Progress::RUNNING; });
        if (progress_ == Progress::DONE) return;
        progress_ = Progress::RUNNING;
    }
    try {
        Inside const inside;
        addFeatures();
    } catch (...) {
        finish(Progress::WANTED);
        throw;
    }
    finish(Progress::DONE);
}

void Registration::finish(Progress progress) noexcept {
    std::lock_guard const lock(mutex_);
    progress_ = progress;
    // Under the lock: a caller that sees the end may destroy this object.
    finished_.notify_all();
}

}  // namespace foundation::fctrl_ext
