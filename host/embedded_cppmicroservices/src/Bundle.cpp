#include "cppmicroservices/Bundle.h"

#include <stdexcept>
#include <utility>

#include "Access.h"
#include "FrameworkCore.h"
#include "cppmicroservices/BundleContext.h"

namespace cppmicroservices {

namespace {

/// The framework that can still do something with the bundle.
std::shared_ptr<detail::FrameworkCore> liveCore(detail::BundleData const& bundle) {
    auto core = bundle.core.lock();
    if (core) return core;
    throw std::runtime_error("Bundle " + bundle.symbolicName + " (location=" + bundle.location +
                             ") belongs to a stopped framework");
}

bool isSystem(detail::BundleData const& bundle) {
    return bundle.id == 0;
}

}  // namespace

Bundle::Bundle() noexcept = default;
Bundle::Bundle(Bundle const& other) = default;
Bundle::Bundle(Bundle&& other) noexcept = default;
Bundle& Bundle::operator=(Bundle const& other) = default;
Bundle& Bundle::operator=(Bundle&& other) noexcept = default;
Bundle::~Bundle() = default;

Bundle::Bundle(std::shared_ptr<detail::BundleData> data,
               std::shared_ptr<detail::FrameworkHolder> holder) noexcept
    : data_(std::move(data)), holder_(std::move(holder)) {}

Bundle& Bundle::operator=(std::nullptr_t) noexcept {
    return *this = Bundle();
}

bool Bundle::operator==(Bundle const& other) const noexcept {
    return data_ == other.data_;
}

bool Bundle::operator<(Bundle const& other) const noexcept {
    if (!data_ || !other.data_) return data_ && !other.data_;
    return data_->id < other.data_->id;
}

Bundle::operator bool() const noexcept {
    return data_ != nullptr;
}

detail::BundleData& Bundle::data() const {
    if (!data_) throw std::invalid_argument("invalid bundle");
    return *data_;
}

Bundle::State Bundle::GetState() const {
    return data().state;
}

BundleContext Bundle::GetBundleContext() const {
    return detail::Access::context(data().currentContext());
}

long Bundle::GetBundleId() const {
    return data().id;
}

std::string Bundle::GetLocation() const {
    return data().location;
}

std::string Bundle::GetSymbolicName() const {
    return data().symbolicName;
}

BundleVersion Bundle::GetVersion() const {
    return data().version;
}

AnyMap const& Bundle::GetHeaders() const {
    return data().headers;
}

std::vector<ServiceReferenceU> Bundle::GetRegisteredServices() const {
    if (data().state == STATE_UNINSTALLED) {
        throw std::logic_error("Bundle " + data_->symbolicName + " (location=" + data_->location +
                               ") is in UNINSTALLED state");
    }
    std::vector<ServiceReferenceU> references;
    if (auto const core = data().core.lock()) {
        for (auto const& entry : core->services().registeredBy(data())) {
            references.emplace_back(detail::Access::reference(entry, {}));
        }
    }
    return references;
}

void Bundle::Start() {
    auto const core = liveCore(data());
    isSystem(data()) ? core->start() : core->startBundle(data_);
}

void Bundle::Start(std::uint32_t) {
    Start();
}

void Bundle::Stop() {
    auto const core = data().core.lock();
    if (!core) return;  // It stopped the bundle when it ended.
    isSystem(data()) ? core->stop() : core->stopBundle(data_);
}

void Bundle::Stop(std::uint32_t) {
    Stop();
}

void Bundle::Uninstall() {
    if (isSystem(data())) throw std::runtime_error("Cannot uninstall a system bundle.");
    liveCore(data())->uninstallBundle(data_);
}

std::ostream& operator<<(std::ostream& out, Bundle::State state) {
    switch (state) {
    case Bundle::STATE_UNINSTALLED:
        return out << "UNINSTALLED";
    case Bundle::STATE_INSTALLED:
        return out << "INSTALLED";
    case Bundle::STATE_RESOLVED:
        return out << "RESOLVED";
    case Bundle::STATE_STARTING:
        return out << "STARTING";
    case Bundle::STATE_STOPPING:
        return out << "STOPPING";
    case Bundle::STATE_ACTIVE:
        return out << "ACTIVE";
    }
    return out << "unknown state " << static_cast<unsigned>(state);
}

std::ostream& operator<<(std::ostream& out, Bundle const& bundle) {
    if (!bundle) return out << "Bundle[]";
    return out << "Bundle[id=" << bundle.GetBundleId() << ", loc=" << bundle.GetLocation()
               << ", name=" << bundle.GetSymbolicName() << ", state=" << bundle.GetState() << ']';
}

}  // namespace cppmicroservices
