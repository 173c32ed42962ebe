#include "cppmicroservices/detail/TrackerCore.h"

#include <algorithm>
#include <utility>

#include "Access.h"
#include "FrameworkCore.h"
#include "ServiceRegistry.h"

namespace cppmicroservices::detail {

/// This thread inside the customizer: the lock is released from construction to destruction.
class TrackerCore::Call {
public:
    Call(TrackerCore& tracker, std::unique_lock<std::mutex>& lock) : tracker_(tracker), lock_(lock) {
        tracker_.calls_.push_back(std::this_thread::get_id());
        lock_.unlock();
    }
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;
    ~Call() {
        lock_.lock();
        auto& calls = tracker_.calls_;
        calls.erase(std::find(calls.begin(), calls.end(), std::this_thread::get_id()));
        tracker_.changed_.notify_all();
    }

private:
    TrackerCore& tracker_;
    std::unique_lock<std::mutex>& lock_;
};

TrackerCore::TrackerCore(BundleContext const& context,
                         std::string interfaceId,
                         std::optional<ServiceReferenceBase> only,
                         Customizer customizer)
    : context_(context), interfaceId_(std::move(interfaceId)), only_(std::move(only)),
      customizer_(std::move(customizer)) {}

TrackerCore::~TrackerCore() = default;

void TrackerCore::open() {
    {
        std::lock_guard const lock(mutex_);
        if (open_) return;
        open_ = true;
        trackingCount_ = 0;
    }
    try {
        auto const core = coreOf(context_);
        auto const entries = core->services().attach(shared_from_this(), Access::data(context_));
        bool closedMeanwhile = false;
        {
            std::lock_guard const lock(mutex_);
            closedMeanwhile = !open_;
        }
        if (closedMeanwhile) core->services().detach(*this);
        for (auto const& entry : entries) {
            if (wants(*entry)) serviceCame(entry);
        }
    } catch (...) {
        close();
        throw;
    }
}

void TrackerCore::close() noexcept {
    decltype(tracked_) leaving;
    std::unique_lock lock(mutex_);
    open_ = false;
    adding_.clear();
    leaving.swap(tracked_);
    changed_.notify_all();
    lock.unlock();

    if (auto const core = findCore(context_)) core->services().detach(*this);

    for (auto const& [entry, object] : leaving) {
        lock.lock();
        try {
            Call const call(*this, lock);
            customizer_.removed(reference(entry), object);
        } catch (...) {
            // Closing never fails, and nobody is left to be told.
        }
        lock.unlock();
    }

    lock.lock();
    awaitCalls(lock);
}

void TrackerCore::remove(ServiceReferenceBase const& reference) {
    if (auto const& entry = Access::entry(reference)) serviceWent(entry);
}

std::vector<TrackerCore::Tracked> TrackerCore::tracked() const {
    decltype(tracked_) objects;
    {
        std::lock_guard const lock(mutex_);
        objects = tracked_;
    }
    std::vector<std::shared_ptr<ServiceEntry>> entries;
    entries.reserve(objects.size());
    for (auto const& object : objects) {
        entries.push_back(object.first);
    }
    sortBestFirst(entries);
    std::vector<Tracked> result;
    result.reserve(entries.size());
    for (auto const& entry : entries) {
        result.emplace_back(reference(entry), objects.at(entry));
    }
    return result;
}

std::shared_ptr<void> TrackerCore::service(ServiceReferenceBase const& reference) const {
    std::lock_guard const lock(mutex_);
    auto const entry = tracked_.find(Access::entry(reference));
    return entry == tracked_.end() ? nullptr : entry->second;
}

int TrackerCore::size() const {
    std::lock_guard const lock(mutex_);
    return static_cast<int>(tracked_.size());
}

int TrackerCore::trackingCount() const {
    std::lock_guard const lock(mutex_);
    return open_ ? trackingCount_ : -1;
}

void TrackerCore::wait(std::chrono::nanoseconds timeout) const {
    std::unique_lock lock(mutex_);
    auto const done = [this] { return !open_ || !tracked_.empty(); };
    if (timeout == std::chrono::nanoseconds::zero()) {
        changed_.wait(lock, done);
    } else {
        changed_.wait_for(lock, timeout, done);
    }
}

bool TrackerCore::wants(ServiceEntry const& entry) const {
    if (only_) return Access::entry(*only_).get() == &entry;
    return std::binary_search(entry.interfaces.begin(), entry.interfaces.end(), interfaceId_);
}

void TrackerCore::serviceCame(std::shared_ptr<ServiceEntry> const& entry) {
    std::shared_ptr<void> object;  // If it dies here, then after the lock is released.
    std::unique_lock lock(mutex_);
    if (!open_ || entry->status != ServiceEntry::Status::REGISTERED || tracked_.contains(entry)) return;
    std::uint64_t const ticket = ++lastTicket_;
    if (!adding_.emplace(entry, ticket).second) return;

    // Whoever removes the ticket meanwhile does not want the service to be tracked.
    auto const takeTicket = [&] {
        auto const mine = adding_.find(entry);
        if (mine == adding_.end() || mine->second != ticket) return false;
        adding_.erase(mine);
        return true;
    };
    try {
        Call const call(*this, lock);
        object = customizer_.adding(reference(entry));
    } catch (...) {
        takeTicket();
        if (entry->status == ServiceEntry::Status::REGISTERED) throw;
        return;  // The service went while it was looked at: there is nothing to be told of.
    }
    bool const isWanted = takeTicket();
    if (!object) return;
    if (!isWanted) {
        Call const call(*this, lock);
        customizer_.removed(reference(entry), object);
        return;
    }
    tracked_.emplace(entry, object);
    ++trackingCount_;
    changed_.notify_all();
    lock.unlock();
    // Its leaving may have been told before it was tracked.
    if (entry->status != ServiceEntry::Status::REGISTERED) serviceWent(entry);
}

void TrackerCore::serviceChanged(std::shared_ptr<ServiceEntry> const& entry) {
    std::shared_ptr<void> object;
    std::unique_lock lock(mutex_);
    auto const tracked = tracked_.find(entry);
    if (tracked == tracked_.end()) {
        lock.unlock();
        serviceCame(entry);  // The customizer may want it now.
        return;
    }
    object = tracked->second;
    ++trackingCount_;
    Call const call(*this, lock);
    customizer_.modified(reference(entry), object);
}

void TrackerCore::serviceWent(std::shared_ptr<ServiceEntry> const& entry) {
    std::shared_ptr<void> object;
    std::unique_lock lock(mutex_);
    adding_.erase(entry);
    auto const tracked = tracked_.find(entry);
    if (tracked == tracked_.end()) return;
    object = std::move(tracked->second);
    tracked_.erase(tracked);
    ++trackingCount_;
    Call const call(*this, lock);
    customizer_.removed(reference(entry), object);
}

ServiceReferenceBase TrackerCore::reference(std::shared_ptr<ServiceEntry> const& entry) const {
    return Access::reference(entry, interfaceId_);
}

void TrackerCore::awaitCalls(std::unique_lock<std::mutex>& lock) const {
    auto const self = std::this_thread::get_id();
    // A call that closes its own tracker cannot wait for itself.
    if (std::find(calls_.begin(), calls_.end(), self) != calls_.end()) return;
    changed_.wait(lock, [this] { return calls_.empty(); });
}

}  // namespace cppmicroservices::detail
