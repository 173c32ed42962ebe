#pragma once

#include "cppmicroservices/ServiceRegistrationBase.h"

namespace cppmicroservices {

/// The registering side's handle to a service with the interfaces I1 and Is.
template <class I1, class... Is>
class ServiceRegistration : public ServiceRegistrationBase {
public:
    ServiceRegistration() noexcept = default;
    explicit ServiceRegistration(ServiceRegistrationBase const& base) : ServiceRegistrationBase(base) {}

    [[nodiscard]] ServiceReference<I1> GetReference() const { return GetReference<I1>(); }
    template <class I>
    [[nodiscard]] ServiceReference<I> GetReference() const {
        return ServiceReference<I>(ServiceRegistrationBase::GetReference(us_service_interface_iid<I>()));
    }
};

/// The same for a service whose interfaces are known by their ids only.
template <>
class ServiceRegistration<void> : public ServiceRegistrationBase {
public:
    ServiceRegistration() noexcept = default;
    explicit ServiceRegistration(ServiceRegistrationBase const& base) : ServiceRegistrationBase(base) {}

    [[nodiscard]] ServiceReferenceU GetReference(std::string const& interfaceId = {}) const {
        return ServiceReferenceU(ServiceRegistrationBase::GetReference(interfaceId));
    }
};

using ServiceRegistrationU = ServiceRegistration<void>;

}  // namespace cppmicroservices
