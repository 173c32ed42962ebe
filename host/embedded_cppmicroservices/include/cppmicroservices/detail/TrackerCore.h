#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/ServiceReferenceBase.h"

namespace cppmicroservices::detail {

/// The part of a service tracker that does not depend on its types.
class US_Framework_EXPORT TrackerCore : public std::enable_shared_from_this<TrackerCore> {
public:
    using Tracked = std::pair<ServiceReferenceBase, std::shared_ptr<void>>;

    /// What is done with services; called without any lock.
    struct Customizer {
        std::function<std::shared_ptr<void>(ServiceReferenceBase const&)> adding;
        std::function<void(ServiceReferenceBase const&, std::shared_ptr<void> const&)> modified;
        std::function<void(ServiceReferenceBase const&, std::shared_ptr<void> const&)> removed;
    };

    /// Tracks `interfaceId`, or just the service `only` when there is one.
    TrackerCore(BundleContext const& context,
                std::string interfaceId,
                std::optional<ServiceReferenceBase> only,
                Customizer customizer);
    TrackerCore(TrackerCore const&) = delete;
    TrackerCore& operator=(TrackerCore const&) = delete;
    ~TrackerCore();

    void open();
    /// Returns when no call of the customizer runs any more, but for one that is itself calling this.
    void close() noexcept;
    void remove(ServiceReferenceBase const& reference);

    /// Best first.
    [[nodiscard]] std::vector<Tracked> tracked() const;
    [[nodiscard]] std::shared_ptr<void> service(ServiceReferenceBase const& reference) const;
    [[nodiscard]] int size() const;
    /// -1 when the tracker is not open.
    [[nodiscard]] int trackingCount() const;
    /// Waits until something is tracked or the tracker is closed; zero waits without an end.
    void wait(std::chrono::nanoseconds timeout) const;

    // For the service registry.
    [[nodiscard]] bool wants(ServiceEntry const& entry) const;
    void serviceCame(std::shared_ptr<ServiceEntry> const& entry);
    void serviceChanged(std::shared_ptr<ServiceEntry> const& entry);
    void serviceWent(std::shared_ptr<ServiceEntry> const& entry);

private:
    class Call;

    [[nodiscard]] ServiceReferenceBase reference(std::shared_ptr<ServiceEntry> const& entry) const;
    void awaitCalls(std::unique_lock<std::mutex>& lock) const;

    BundleContext const context_;
    std::string const interfaceId_;
    std::optional<ServiceReferenceBase> const only_;
    Customizer const customizer_;

    // Never held while the customizer runs or the registry is called; guards everything below.
    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    bool open_ = false;
    int trackingCount_ = 0;
    std::uint64_t lastTicket_ = 0;
    std::map<std::shared_ptr<ServiceEntry>, std::uint64_t>
        adding_;  // Being asked about; by the ticket of the asker.
    std::map<std::shared_ptr<ServiceEntry>, std::shared_ptr<void>> tracked_;
    std::vector<std::thread::id> calls_;  // The threads that are inside the customizer.
};

}  // namespace cppmicroservices::detail
