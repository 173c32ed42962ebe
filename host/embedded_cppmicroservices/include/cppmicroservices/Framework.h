#pragma once

#include <chrono>

#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class FrameworkEvent;

/// A handle to a service framework, made by FrameworkFactory; also its system bundle, whose id is 0.
///
/// Stop() returns at once: a thread of the framework's own stops the bundles, in reverse order of their
/// locations. Then every context is invalid, every bundle is back in STATE_INSTALLED and belongs to the
/// framework no more; starting it again gives an empty framework.
class US_Framework_EXPORT Framework : public Bundle {
public:
    Framework(Framework const& other);
    Framework(Framework&& other) noexcept;
    Framework& operator=(Framework const& other);
    Framework& operator=(Framework&& other) noexcept;
    ~Framework() override;

    /// Makes the framework's bundle context valid: bundles can be installed and started.
    void Init();

    /// Waits until the framework has stopped; returns at once when it is not running.
    ///
    /// @param timeout  Zero waits without an end.
    /// @return         FRAMEWORK_STOPPED, or FRAMEWORK_WAIT_TIMEDOUT after `timeout`.
    /// @throws std::logic_error  called by an activator that the stopping framework itself is waiting for.
    FrameworkEvent WaitForStop(std::chrono::milliseconds const& timeout);

private:
    friend struct detail::Access;
    using Bundle::Bundle;
};

}  // namespace cppmicroservices
