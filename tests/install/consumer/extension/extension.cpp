#include <foundation/fctrl_ext/Registration.hpp>

#include <foundation/feature/management.hpp>

#include <cppmicroservices/BundleActivator.h>

#include <memory>
#include <stdexcept>

namespace {

struct Answering final : foundation::fctrl_ext::Registration {
    void addFeatures() override {
        foundation::feature::management::registerFeature(foundation::feature::Scope::PROCESS,
                                                         "OfAnExtension",
                                                         1,
                                                         "On",
                                                         "",
                                                         "extension.cpp",
                                                         1,
                                                         "",
                                                         "extension");
        throw std::runtime_error("asked");
    }
};

struct Activator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<foundation::fctrl_ext::Registration>(std::make_shared<Answering>());
    }
    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
