#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class Bundle;

namespace detail {
struct Access;
struct ServiceEntry;
}  // namespace detail

/// A registered service, whatever its interfaces. It owns no service object and turns false when the service
/// is taken back.
///
/// @threads  Any; one reference like a plain value.
class US_Framework_EXPORT ServiceReferenceBase {
public:
    ServiceReferenceBase(ServiceReferenceBase const& other);
    ServiceReferenceBase& operator=(ServiceReferenceBase const& other);
    ServiceReferenceBase& operator=(std::nullptr_t) noexcept;
    virtual ~ServiceReferenceBase();

    explicit operator bool() const;
    /// The bundle that registered the service; invalid once the service is taken back.
    [[nodiscard]] Bundle GetBundle() const;
    /// An empty Any when there is no such property. Names ignore case.
    [[nodiscard]] Any GetProperty(std::string const& key) const;
    [[nodiscard]] std::vector<std::string> GetPropertyKeys() const;
    /// The interface that this reference is for; empty when it was looked up for none.
    [[nodiscard]] std::string GetInterfaceId() const;

    bool operator==(ServiceReferenceBase const& other) const noexcept;
    /// The lesser one has the lower ranking or, among equals, the greater service id: the greatest is the
    /// best.
    bool operator<(ServiceReferenceBase const& other) const noexcept;

protected:
    ServiceReferenceBase() noexcept;
    /// Turns to the interface `id`, or into an invalid reference when the service does not have it.
    void useInterface(std::string const& id);

private:
    friend struct detail::Access;
    friend struct std::hash<ServiceReferenceBase>;

    std::shared_ptr<detail::ServiceEntry> entry_;
    std::string interfaceId_;
};

US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, ServiceReferenceBase const& reference);

}  // namespace cppmicroservices

template <>
struct std::hash<cppmicroservices::ServiceReferenceBase> {
    std::size_t operator()(cppmicroservices::ServiceReferenceBase const& reference) const noexcept {
        return std::hash<std::shared_ptr<cppmicroservices::detail::ServiceEntry>>()(reference.entry_);
    }
};
