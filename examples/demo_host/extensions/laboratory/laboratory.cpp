// An extension with two services: a lookup that the first one satisfies does not ask the second.

#include <foundation/feature/management.hpp>

#include <foundation/fctrl_ext/Registration.hpp>

#include <cppmicroservices/BundleActivator.h>

#include <memory>

namespace {

using foundation::fctrl_ext::Registration;
using foundation::feature::Scope;

void add(Scope scope, char const* name, int defaultValue, char const* state, int line) {
    foundation::feature::management::registerFeature(scope,
                                                     name,
                                                     defaultValue,
                                                     state,
                                                     "simulation",
                                                     "extensions/laboratory/laboratory.cpp",
                                                     line,
                                                     "simulation",
                                                     "laboratory");
}

class FluidFeatures final : public Registration {
    void addFeatures() override { add(Scope::ZOR, "LaboratoryFluidTracers", 64, "Beta", __LINE__); }
};

class HeatFeatures final : public Registration {
    void addFeatures() override { add(Scope::PROCESS, "LaboratoryHeatMaps", 0, "Off", __LINE__); }
};

class Activator final : public cppmicroservices::BundleActivator {
public:
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<Registration>(std::make_shared<FluidFeatures>());
        context.RegisterService<Registration>(std::make_shared<HeatFeatures>());
    }

    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
