#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/FrameworkExport.h"
#include "cppmicroservices/ServiceProperties.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceRegistration.h"

namespace cppmicroservices {

class Bundle;

namespace detail {
struct Access;
struct BundleContextData;
}  // namespace detail

/// What a bundle sees of the framework while it runs. Once the bundle has stopped, as from the start for a
/// default-constructed one, the context is false and every other member throws IllegalStateException "The
/// bundle context is no longer valid".
///
/// @threads  Any; one context like a plain value. No lock is held while a bundle's or a tracker's code runs.
class US_Framework_EXPORT BundleContext {
public:
    BundleContext() noexcept;
    BundleContext(BundleContext const& other);
    BundleContext& operator=(BundleContext const& other);
    BundleContext& operator=(std::nullptr_t) noexcept;
    ~BundleContext();

    bool operator==(BundleContext const& other) const noexcept;
    /// In no particular order, but that a context that refers to nothing is the last.
    bool operator<(BundleContext const& other) const noexcept;
    explicit operator bool() const noexcept;

    /// The framework's configuration; an empty Any when it has no such key.
    [[nodiscard]] Any GetProperty(std::string const& key) const;

    [[nodiscard]] Bundle GetBundle() const;
    /// An invalid bundle when there is none with that id.
    [[nodiscard]] Bundle GetBundle(long id) const;
    /// The bundles that one file gave.
    [[nodiscard]] std::vector<Bundle> GetBundles(std::string const& location) const;
    /// All bundles, also the system bundle, in the order of their locations.
    [[nodiscard]] std::vector<Bundle> GetBundles() const;

    /// Installs the bundles of one file, all or none, without loading code; those that are installed already
    /// are given as they are.
    ///
    /// @param location        A zip file, or a shared library with a zip appended (UTF-8). A bundle's code is
    ///                        loaded by just this text: without a slash it is looked for where the system's
    ///                        loader looks.
    /// @param bundleManifest  Manifests by symbolic name, to be taken instead of those in the file.
    /// @return                The bundles, in the order of their symbolic names.
    /// @throws std::runtime_error  the file or a manifest cannot be read, or the bundle is there already from
    ///                             another file; nothing is installed.
    std::vector<Bundle>
    InstallBundles(std::string const& location,
                   AnyMap const& bundleManifest = AnyMap(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS));

    /// Registers `service` under the interfaces I1 and Is.
    ///
    /// @throws std::invalid_argument  "Can't register as null class", for a null pointer.
    /// @throws std::runtime_error     "Properties contain case variants of the key: <key>".
    template <class I1, class... Is, class Impl>
    ServiceRegistration<I1, Is...> RegisterService(std::shared_ptr<Impl> const& service,
                                                   ServiceProperties const& properties = {}) {
        return ServiceRegistration<I1, Is...>(
            RegisterService(makeInterfaceMap<I1, Is...>(service), properties));
    }
    /// The same under the interfaces of a map.
    ///
    /// @throws std::invalid_argument  "Can't register empty InterfaceMap as a service", also for a null map.
    [[nodiscard]] ServiceRegistrationU RegisterService(InterfaceMapConstPtr const& services,
                                                       ServiceProperties const& properties = {});

    /// The service of that interface with the highest ranking, among equals the one registered first; an
    /// invalid reference when there is none. An empty id stands for all interfaces.
    template <class S>
    [[nodiscard]] ServiceReference<S> GetServiceReference() {
        return ServiceReference<S>(GetServiceReference(us_service_interface_iid<S>()));
    }
    [[nodiscard]] ServiceReferenceU GetServiceReference(std::string const& clazz);

    /// All of them, best first. An empty id stands for all interfaces.
    template <class S>
    [[nodiscard]] std::vector<ServiceReference<S>> GetServiceReferences() {
        auto const found = GetServiceReferences(us_service_interface_iid<S>());
        return {found.begin(), found.end()};
    }
    [[nodiscard]] std::vector<ServiceReferenceU> GetServiceReferences(std::string const& clazz);

    /// The service object, which lives at least as long as the returned pointer; null when it is taken back
    /// during the call.
    ///
    /// @throws std::invalid_argument  "Default constructed ServiceReference is not a valid input to
    ///                                GetService()", for every reference that is false.
    template <class S>
    [[nodiscard]] std::shared_ptr<S> GetService(ServiceReference<S> const& reference) {
        return std::static_pointer_cast<S>(GetService(static_cast<ServiceReferenceBase const&>(reference)));
    }
    [[nodiscard]] std::shared_ptr<void> GetService(ServiceReferenceBase const& reference);
    [[nodiscard]] InterfaceMapConstPtr GetService(ServiceReferenceU const& reference);

private:
    friend struct detail::Access;

    std::shared_ptr<detail::BundleContextData> data_;
};

}  // namespace cppmicroservices
