#include "cppmicroservices/ServiceRegistrationBase.h"

#include <stdexcept>

#include "Access.h"
#include "ServiceRegistry.h"

namespace cppmicroservices {

namespace {

using Status = detail::ServiceEntry::Status;

void requireRegistered(std::shared_ptr<detail::ServiceEntry> const& entry) {
    if (!entry) throw std::logic_error("ServiceRegistrationBase object invalid");
    if (entry->status != Status::REGISTERED) throw std::logic_error("Service is unregistered");
}

}  // namespace

ServiceRegistrationBase::ServiceRegistrationBase() noexcept = default;
ServiceRegistrationBase::ServiceRegistrationBase(ServiceRegistrationBase const& other) = default;
ServiceRegistrationBase& ServiceRegistrationBase::operator=(ServiceRegistrationBase const& other) = default;
ServiceRegistrationBase::~ServiceRegistrationBase() = default;

ServiceRegistrationBase::operator bool() const noexcept {
    return entry_ != nullptr;
}

bool ServiceRegistrationBase::operator==(ServiceRegistrationBase const& other) const noexcept {
    return entry_ == other.entry_;
}

bool ServiceRegistrationBase::operator<(ServiceRegistrationBase const& other) const noexcept {
    return entry_ < other.entry_;
}

ServiceReferenceBase ServiceRegistrationBase::GetReference(std::string const& interfaceId) const {
    requireRegistered(entry_);
    return detail::Access::reference(entry_, interfaceId);
}

void ServiceRegistrationBase::SetProperties(ServiceProperties const& properties) {
    requireRegistered(entry_);
    if (auto const registry = entry_->registry.lock()) registry->setProperties(entry_, properties);
}

void ServiceRegistrationBase::Unregister() {
    requireRegistered(entry_);
    auto const registry = entry_->registry.lock();
    if (!registry || !registry->remove(entry_)) throw std::logic_error("Service is unregistered");
}

}  // namespace cppmicroservices
