#pragma once

#include <memory>

#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"

namespace cppmicroservices {

/// The registering side's handle to a service. Dropping it does not take the service back.
///
/// @threads  Any; one handle like a plain value.
class US_Framework_EXPORT ServiceRegistrationBase {
public:
    /// Refers to nothing: false, and every other member throws std::logic_error "ServiceRegistrationBase
    /// object invalid".
    ServiceRegistrationBase() noexcept;
    ServiceRegistrationBase(ServiceRegistrationBase const& other);
    ServiceRegistrationBase& operator=(ServiceRegistrationBase const& other);
    virtual ~ServiceRegistrationBase();

    /// Whether this refers to a service, registered or taken back.
    explicit operator bool() const noexcept;
    bool operator==(ServiceRegistrationBase const& other) const noexcept;
    bool operator<(ServiceRegistrationBase const& other) const noexcept;

    /// @throws std::logic_error  "Service is unregistered".
    [[nodiscard]] ServiceReferenceBase GetReference(std::string const& interfaceId = {}) const;
    /// Replaces the properties, but for those that the framework sets.
    ///
    /// @throws std::logic_error    "Service is unregistered".
    /// @throws std::runtime_error  "Properties contain case variants of the key: <key>"; they stay as they are.
    void SetProperties(ServiceProperties const& properties);
    /// Takes the service back: trackers are told, then references turn false.
    ///
    /// @throws std::logic_error  "Service is unregistered".
    void Unregister();

private:
    friend struct detail::Access;

    std::shared_ptr<detail::ServiceEntry> entry_;
};

}  // namespace cppmicroservices
