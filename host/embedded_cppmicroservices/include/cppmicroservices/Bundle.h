#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"
#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class BundleContext;
template <class S>
class ServiceReference;
using ServiceReferenceU = ServiceReference<void>;

namespace detail {
struct Access;
struct BundleData;
struct FrameworkHolder;
}  // namespace detail

/// A handle to one installed bundle. A default-constructed one refers to none: it is false, and every other
/// member throws std::invalid_argument "invalid bundle".
///
/// The framework runs as long as a handle to it or to one of its bundles exists; the last one stops it.
///
/// @threads  Any; one handle like a plain value. No lock is held while a bundle's activator runs.
class US_Framework_EXPORT Bundle {
public:
    enum State : std::uint32_t {
        STATE_UNINSTALLED = 0x01,
        STATE_INSTALLED = 0x02,
        STATE_RESOLVED = 0x04,
        STATE_STARTING = 0x08,
        STATE_STOPPING = 0x10,
        STATE_ACTIVE = 0x20
    };

    Bundle() noexcept;
    Bundle(Bundle const& other);
    Bundle(Bundle&& other) noexcept;
    Bundle& operator=(Bundle const& other);
    Bundle& operator=(Bundle&& other) noexcept;
    Bundle& operator=(std::nullptr_t) noexcept;
    virtual ~Bundle();

    bool operator==(Bundle const& other) const noexcept;
    /// By id; a handle that refers to none is the last.
    bool operator<(Bundle const& other) const noexcept;
    explicit operator bool() const noexcept;

    [[nodiscard]] State GetState() const;
    /// The bundle's own context; invalid unless the bundle is starting, active or stopping.
    [[nodiscard]] BundleContext GetBundleContext() const;
    [[nodiscard]] long GetBundleId() const;
    /// The file that the bundle was installed from, spelled as it was then.
    [[nodiscard]] std::string GetLocation() const;
    /// The name of the manifest's folder inside that file.
    [[nodiscard]] std::string GetSymbolicName() const;
    [[nodiscard]] BundleVersion GetVersion() const;
    /// The manifest. Valid as long as a handle to this bundle exists.
    [[nodiscard]] AnyMap const& GetHeaders() const;
    /// What the bundle has registered and not taken back.
    ///
    /// @throws std::logic_error  "Bundle <name> (location=<file>) is in UNINSTALLED state".
    [[nodiscard]] std::vector<ServiceReferenceU> GetRegisteredServices() const;

    /// Starts the bundle; an active one stays as it is. Loads the code and calls the activator when the
    /// manifest has `"bundle.activator": true`. The code is never unloaded.
    ///
    /// @throws std::logic_error        "Bundle <name> (location=<file>) is uninstalled".
    /// @throws std::runtime_error      the activator threw or is missing, or the framework has stopped; the
    ///                                 bundle is not started.
    /// @throws SharedLibraryException  the code cannot be loaded.
    void Start();
    /// The same: nothing is kept between two runs, so that there are no options to tell apart.
    void Start(std::uint32_t options);
    /// Stops the bundle, if it is active, and takes its services back.
    ///
    /// @throws std::runtime_error  the activator threw; the bundle is stopped all the same.
    /// @throws std::logic_error    "Bundle <name> (location=<file>) is uninstalled".
    void Stop();
    void Stop(std::uint32_t options);
    /// Stops the bundle and takes it out of the framework. What its activator throws goes to the log.
    ///
    /// @throws std::logic_error    "Bundle <name> (location=<file>) is in BUNDLE_UNINSTALLED state".
    /// @throws std::runtime_error  "Cannot uninstall a system bundle."; the framework has stopped.
    void Uninstall();

protected:
    Bundle(std::shared_ptr<detail::BundleData> data,
           std::shared_ptr<detail::FrameworkHolder> holder) noexcept;

private:
    friend struct detail::Access;

    [[nodiscard]] detail::BundleData& data() const;

    std::shared_ptr<detail::BundleData> data_;
    std::shared_ptr<detail::FrameworkHolder> holder_;
};

/// "INSTALLED", "ACTIVE" and so on.
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, Bundle::State state);
/// "Bundle[id=<id>, loc=<file>, name=<symbolic name>, state=<state>]"; "Bundle[]" when it refers to none.
US_Framework_EXPORT std::ostream& operator<<(std::ostream& out, Bundle const& bundle);

}  // namespace cppmicroservices
