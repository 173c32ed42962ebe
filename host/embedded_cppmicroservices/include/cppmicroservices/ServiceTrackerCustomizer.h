#pragma once

#include <memory>

#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices {

/// What a tracker does with the services that come and go.
///
/// Called without any lock, by the thread that opens or closes the tracker or that registers or takes back
/// the service; calls for different services may overlap. What a call throws while a service comes or goes is
/// not the business of the thread that does that: it is written to the framework's log.
template <class S, class T = S>
class ServiceTrackerCustomizer {
public:
    using TrackedParamType = std::shared_ptr<T>;

    ServiceTrackerCustomizer() = default;
    ServiceTrackerCustomizer(ServiceTrackerCustomizer const&) = delete;
    ServiceTrackerCustomizer& operator=(ServiceTrackerCustomizer const&) = delete;
    virtual ~ServiceTrackerCustomizer() = default;

    /// @return What is tracked for the service; null for not tracking it.
    virtual std::shared_ptr<T> AddingService(ServiceReference<S> const& reference) = 0;
    /// The properties of a tracked service have changed.
    virtual void ModifiedService(ServiceReference<S> const& reference, std::shared_ptr<T> const& service) = 0;
    /// A tracked service is being taken back, or the tracker closed.
    virtual void RemovedService(ServiceReference<S> const& reference, std::shared_ptr<T> const& service) = 0;
};

}  // namespace cppmicroservices
