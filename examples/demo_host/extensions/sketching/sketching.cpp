// An extension without a list: it publishes a service that registers its features once they are asked for.

#include <foundation/feature/management.hpp>

#include <foundation/fctrl_ext/Registration.hpp>

#include <cppmicroservices/BundleActivator.h>

#include <memory>

namespace {

using foundation::fctrl_ext::Registration;

class SketchingFeatures final : public Registration {
    void addFeatures() override {
        foundation::feature::management::registerFeature(foundation::feature::Scope::ZOR,
                                                         "SketchingAutomaticConstraints",
                                                         1,
                                                         "On",
                                                         "modeling",
                                                         "extensions/sketching/sketching.cpp",
                                                         __LINE__,
                                                         "modeling",
                                                         "sketching");
    }
};

class Activator final : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<Registration>(std::make_shared<SketchingFeatures>());
    }

    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
