#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "Entries.h"
#include "Log.h"
#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/detail/TrackerCore.h"

namespace cppmicroservices::detail {

/// The services of one framework, and the trackers that are told of them. Trackers are told by the thread
/// that changes something, without any lock; what they throw goes to the log.
class ServiceRegistry : public std::enable_shared_from_this<ServiceRegistry> {
public:
    using EntryPtr = std::shared_ptr<ServiceEntry>;
    using ContextPtr = std::shared_ptr<BundleContextData>;
    using TrackerPtr = std::shared_ptr<TrackerCore>;

    explicit ServiceRegistry(std::shared_ptr<Log> log);

    /// @throws IllegalStateException  `context` is no longer valid.
    /// @throws std::invalid_argument  there is no service, or one is null.
    /// @throws std::runtime_error     properties differ in case only.
    EntryPtr
    add(ContextPtr const& context, InterfaceMapConstPtr services, ServiceProperties const& properties);
    /// @return  False when the service has been taken back before.
    bool remove(EntryPtr const& entry);
    void setProperties(EntryPtr const& entry, ServiceProperties const& properties);

    /// Best first; an empty id stands for all interfaces.
    [[nodiscard]] std::vector<EntryPtr> find(std::string const& interfaceId) const;
    /// In the order of registration.
    [[nodiscard]] std::vector<EntryPtr> registeredBy(BundleData const& bundle) const;

    /// Tells `tracker` of changes from now on, until `context` is closed.
    ///
    /// @return  What is registered now, in the order of registration.
    /// @throws IllegalStateException  `context` is no longer valid.
    std::vector<EntryPtr> attach(TrackerPtr const& tracker, ContextPtr const& context);
    void detach(TrackerCore const& tracker);

    /// Takes back what was registered through `context`, then makes it invalid.
    void close(ContextPtr const& context);

private:
    struct Attached {
        TrackerPtr tracker;
        ContextPtr context;
    };

    void tell(EntryPtr const& entry, void (TrackerCore::*what)(EntryPtr const&));

    std::shared_ptr<Log> const log_;

    // Never held while a tracker is told or a service object dies; guards everything below.
    mutable std::mutex mutex_;
    long lastId_ = 0;
    std::vector<EntryPtr> entries_;  // In the order of registration.
    std::vector<Attached> attached_;
};

}  // namespace cppmicroservices::detail
