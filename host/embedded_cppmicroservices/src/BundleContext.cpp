#include "cppmicroservices/BundleContext.h"

#include <stdexcept>

#include "Access.h"
#include "FrameworkCore.h"
#include "cppmicroservices/Bundle.h"

namespace cppmicroservices {

namespace {

using detail::Access;
using detail::coreOf;

std::vector<Bundle> handles(detail::FrameworkCore const& core,
                            std::vector<std::shared_ptr<detail::BundleData>> const& bundles) {
    std::vector<Bundle> result;
    result.reserve(bundles.size());
    for (auto const& bundle : bundles) {
        result.push_back(core.handle(bundle));
    }
    return result;
}

/// The objects of a service; null when it is taken back meanwhile.
InterfaceMapConstPtr servicesOf(BundleContext const& context, ServiceReferenceBase const& reference) {
    if (!reference) {
        throw std::invalid_argument(
            "Default constructed ServiceReference is not a valid input to GetService()");
    }
    coreOf(context);  // Throws when the context is not valid.
    auto const& entry = Access::entry(reference);
    std::lock_guard const lock(entry->mutex);
    return entry->services;
}

}  // namespace

BundleContext::BundleContext() noexcept = default;
BundleContext::BundleContext(BundleContext const& other) = default;
BundleContext& BundleContext::operator=(BundleContext const& other) = default;
BundleContext::~BundleContext() = default;

BundleContext& BundleContext::operator=(std::nullptr_t) noexcept {
    return *this = BundleContext();
}

bool BundleContext::operator==(BundleContext const& other) const noexcept {
    return data_ == other.data_;
}

bool BundleContext::operator<(BundleContext const& other) const noexcept {
    if (!data_ || !other.data_) return data_ && !other.data_;
    return data_ < other.data_;
}

BundleContext::operator bool() const noexcept {
    return data_ && data_->valid;
}

Any BundleContext::GetProperty(std::string const& key) const {
    return coreOf(*this)->property(key);
}

Bundle BundleContext::GetBundle() const {
    return coreOf(*this)->handle(data_->bundle.lock());
}

Bundle BundleContext::GetBundle(long id) const {
    auto const core = coreOf(*this);
    return core->handle(core->bundle(id));
}

std::vector<Bundle> BundleContext::GetBundles(std::string const& location) const {
    auto const core = coreOf(*this);
    return handles(*core, core->bundlesAt(location));
}

std::vector<Bundle> BundleContext::GetBundles() const {
    auto const core = coreOf(*this);
    return handles(*core, core->bundles());
}

std::vector<Bundle> BundleContext::InstallBundles(std::string const& location, AnyMap const& bundleManifest) {
    auto const core = coreOf(*this);
    return handles(*core, core->install(location, bundleManifest));
}

ServiceRegistrationU BundleContext::RegisterService(InterfaceMapConstPtr const& services,
                                                    ServiceProperties const& properties) {
    auto const core = coreOf(*this);
    return ServiceRegistrationU(Access::registration(core->services().add(data_, services, properties)));
}

ServiceReferenceU BundleContext::GetServiceReference(std::string const& clazz) {
    auto const found = coreOf(*this)->services().find(clazz);
    return found.empty() ? ServiceReferenceU() : ServiceReferenceU(Access::reference(found.front(), clazz));
}

std::vector<ServiceReferenceU> BundleContext::GetServiceReferences(std::string const& clazz) {
    std::vector<ServiceReferenceU> references;
    for (auto const& entry : coreOf(*this)->services().find(clazz)) {
        references.emplace_back(Access::reference(entry, clazz));
    }
    return references;
}

std::shared_ptr<void> BundleContext::GetService(ServiceReferenceBase const& reference) {
    auto const services = servicesOf(*this, reference);
    if (!services) return nullptr;
    auto const service = services->find(reference.GetInterfaceId());
    return service == services->end() ? nullptr : service->second;
}

InterfaceMapConstPtr BundleContext::GetService(ServiceReferenceU const& reference) {
    return servicesOf(*this, reference);
}

}  // namespace cppmicroservices
