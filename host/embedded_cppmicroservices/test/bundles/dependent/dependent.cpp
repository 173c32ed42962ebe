#include "Neighbour.h"

#include <stdexcept>

#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

namespace {

/// Starts only with the library that it needs.
struct Activator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext) override {
        if (neighbour::answer() != 42) throw std::runtime_error("another neighbour");
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
