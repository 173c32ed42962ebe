#include <foundation/feature/Feature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/fctrl_ext/Registration.hpp>

#include <cppmicroservices/BundleActivator.h>

#include <memory>

namespace {

/// Registers one feature by call.
struct CodeRegistration final : foundation::fctrl_ext::Registration {
    void addFeatures() override {
        foundation::feature::management::registerFeature(
            foundation::feature::Scope::PROCESS, "OfCode", 7, "On", "", "code.cpp", 1, "kernel", "code");
    }
};

struct CodeActivator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<foundation::fctrl_ext::Registration>(std::make_shared<CodeRegistration>());
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(CodeActivator)
