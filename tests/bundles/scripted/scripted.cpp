#include "Kept.hpp"
#include "Script.hpp"

#include <foundation/fctrl_ext/Registration.hpp>
#include <foundation/feature/IFeature.hpp>
#include <foundation/feature/management.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleActivator.h>
#include <cppmicroservices/BundleContext.h>

#include <memory>
#include <string>
#include <utility>

namespace {

using foundation::test::Script;
using foundation::test::SharedScript;

struct Registration final : foundation::fctrl_ext::Registration {
    Registration(SharedScript script, std::string name)
        : script_(std::move(script)), name_(std::move(name)) {}

    void addFeatures() override { Script::run(script_->addFeatures, name_); }

private:
    SharedScript script_;
    std::string name_;
};

void watch(SharedScript const& script) {
    auto const feature = foundation::feature::management::getFeature(script->watched);
    feature->addCallback([script](foundation::feature::IFeature const&) { ++script->watcherCalls; });
}

void keep() {
    static foundation::test::Kept kept("bundle");
    kept.take();
}

struct Activator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext context) override {
        auto const script = cppmicroservices::any_cast<SharedScript>(context.GetProperty("script"));
        std::string const name = context.GetBundle().GetSymbolicName();
        Script::run(script->start, name);
        if (!script->watched.empty()) watch(script);
        if (script->areKept) keep();
        context.RegisterService<foundation::fctrl_ext::Registration>(
            std::make_shared<Registration>(script, name));
    }
    void Stop(cppmicroservices::BundleContext context) override {
        auto const script = cppmicroservices::any_cast<SharedScript>(context.GetProperty("script"));
        Script::run(script->stop, context.GetBundle().GetSymbolicName());
    }
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
