#include <foundation/fctrl_ext/Registration.hpp>

#include <cppmicroservices/BundleActivator.h>

#include <memory>
#include <stdexcept>

namespace {

/// Adds nothing, but says by its failure that it was asked.
struct Refusing final : foundation::fctrl_ext::Registration {
    void addFeatures() override { throw std::runtime_error("asked"); }
};

/// Fails to start when the framework's property "registering.fails" is set.
struct Activator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext context) override {
        if (!context.GetProperty("registering.fails").Empty()) throw std::runtime_error("told to fail");
        context.RegisterService<foundation::fctrl_ext::Registration>(std::make_shared<Refusing>());
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
