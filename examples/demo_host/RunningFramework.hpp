#pragma once

#include <cppmicroservices/Framework.h>

#include <cstddef>
#include <memory>

namespace demo {

/// A service framework that runs, and is the one in which the process's extensions are installed, for the life of
/// this object. It must end before `main` returns: the extensions' code is still there then.
class RunningFramework {
public:
    /// @throws std::exception  the framework cannot be started.
    RunningFramework();
    ~RunningFramework();
    RunningFramework(RunningFramework const&) = delete;
    RunningFramework& operator=(RunningFramework const&) = delete;

    /// How many bundles are installed, the framework's own not counted.
    std::size_t bundleCount() const;

private:
    std::shared_ptr<cppmicroservices::Framework> framework_;
};

}  // namespace demo
