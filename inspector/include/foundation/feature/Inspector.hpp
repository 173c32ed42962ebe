#pragma once

#include <foundation/feature/inspector_export.hpp>

#include <cstdint>
#include <memory>
#include <string>

namespace foundation::feature {

/// Where an inspector listens and what its page may do.
struct InspectorOptions {
    std::uint16_t port = 0;     ///< of 127.0.0.1; 0: one that the system chooses
    bool allowWriting = false;  ///< whether the page may change features
};

/// A page in the browser over the live catalogue, served by this process as long as the object lives.
///
/// It listens on 127.0.0.1 only, and answers nobody who does not know the random token in its address: whoever
/// has the address can see, and where writing is allowed change, every feature. Nothing is written to disk.
///
/// One thread of its own serves the page. It sleeps while no page is open. On it run: what extensions do when
/// all features are listed, which happens when a page is opened or refreshed; and the watchers of a feature that
/// is changed in the page, with the engine instance that it was changed in as the current one.
///
/// Reading a value for the page is no counted read.
class Inspector {
public:
    /// Starts to listen. The page can be opened when this returns.
    ///
    /// @throws  std::runtime_error  "inspector: 127.0.0.1:<port> cannot be listened on: <reason>"
    /// @throws  std::system_error   there can be no further thread.
    FOUNDATION_FEATURE_INSPECTOR_EXPORT explicit Inspector(InspectorOptions const& options = {});

    /// Closes every connection and ends the thread. Waits for an extension that is just registering features, and
    /// for the watchers of a change that is just made in the page, so it must not be called from one.
    FOUNDATION_FEATURE_INSPECTOR_EXPORT ~Inspector();

    Inspector(Inspector const&) = delete;
    Inspector& operator=(Inspector const&) = delete;

    /// The page's address, token included: "http://127.0.0.1:<port>/<token>/".
    /// @threads  Any.
    FOUNDATION_FEATURE_INSPECTOR_EXPORT std::string const& url() const;

private:
    friend class InspectedInstance;
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace foundation::feature
