#include "cppmicroservices/ServiceReferenceBase.h"

#include <algorithm>

#include "Access.h"
#include "FrameworkCore.h"
#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

ServiceReferenceBase::ServiceReferenceBase() noexcept = default;
ServiceReferenceBase::ServiceReferenceBase(ServiceReferenceBase const& other) = default;
ServiceReferenceBase& ServiceReferenceBase::operator=(ServiceReferenceBase const& other) = default;
ServiceReferenceBase::~ServiceReferenceBase() = default;

ServiceReferenceBase& ServiceReferenceBase::operator=(std::nullptr_t) noexcept {
    entry_.reset();
    interfaceId_.clear();
    return *this;
}

ServiceReferenceBase::operator bool() const {
    return static_cast<bool>(GetBundle());
}

Bundle ServiceReferenceBase::GetBundle() const {
    if (!entry_ || entry_->status == detail::ServiceEntry::Status::GONE) return {};
    auto const bundle = entry_->bundle.lock();
    auto const core = bundle ? bundle->core.lock() : nullptr;
    return core ? core->handle(bundle) : Bundle();
}

Any ServiceReferenceBase::GetProperty(std::string const& key) const {
    if (!entry_) return {};
    std::lock_guard const lock(entry_->mutex);
    auto const property = std::as_const(entry_->properties).find(key);
    return property == std::as_const(entry_->properties).end() ? Any() : property->second;
}

std::vector<std::string> ServiceReferenceBase::GetPropertyKeys() const {
    std::vector<std::string> keys;
    if (!entry_) return keys;
    std::lock_guard const lock(entry_->mutex);
    for (auto const& property : std::as_const(entry_->properties)) {
        keys.push_back(property.first);
    }
    return keys;
}

std::string ServiceReferenceBase::GetInterfaceId() const {
    return interfaceId_;
}

bool ServiceReferenceBase::operator==(ServiceReferenceBase const& other) const noexcept {
    return entry_ == other.entry_;
}

bool ServiceReferenceBase::operator<(ServiceReferenceBase const& other) const noexcept {
    if (!entry_ || !other.entry_) return !entry_ && other.entry_;
    int const left = entry_->ranking;
    int const right = other.entry_->ranking;
    return left != right ? left < right : entry_->id > other.entry_->id;
}

void ServiceReferenceBase::useInterface(std::string const& id) {
    if (interfaceId_ == id || !entry_) return;
    auto const& interfaces = entry_->interfaces;
    if (std::binary_search(interfaces.begin(), interfaces.end(), id)) {
        interfaceId_ = id;
    } else {
        *this = nullptr;
    }
}

std::ostream& operator<<(std::ostream& out, ServiceReferenceBase const& reference) {
    if (!reference) return out << "ServiceReference[]";
    return out << "ServiceReference[id=" << reference.GetProperty("service.id").ToStringNoExcept()
               << ",interface=" << reference.GetInterfaceId() << ']';
}

}  // namespace cppmicroservices
