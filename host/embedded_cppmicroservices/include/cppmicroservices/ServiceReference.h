#pragma once

#include "cppmicroservices/ServiceInterface.h"
#include "cppmicroservices/ServiceReferenceBase.h"

namespace cppmicroservices {

/// A registered service with the interface S.
template <class S>
class ServiceReference : public ServiceReferenceBase {
public:
    using ServiceType = S;

    /// Refers to nothing.
    ServiceReference() noexcept = default;
    /// Refers to nothing when the service does not have the interface S.
    ServiceReference(ServiceReferenceBase const& base) : ServiceReferenceBase(base) {
        useInterface(us_service_interface_iid<S>());
    }
    using ServiceReferenceBase::operator=;
};

/// A registered service, looked up by an interface's id or by none.
template <>
class ServiceReference<void> : public ServiceReferenceBase {
public:
    using ServiceType = void;

    ServiceReference() noexcept = default;
    ServiceReference(ServiceReferenceBase const& base) : ServiceReferenceBase(base) {}
    using ServiceReferenceBase::operator=;
};

using ServiceReferenceU = ServiceReference<void>;

}  // namespace cppmicroservices

template <class S>
struct std::hash<cppmicroservices::ServiceReference<S>> : std::hash<cppmicroservices::ServiceReferenceBase> {
};
