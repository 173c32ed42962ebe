// An extension that lists a feature in its manifest and registers another one as soon as it is started.

#include <foundation/feature/management.hpp>

#include <cppmicroservices/BundleActivator.h>

namespace {

class Activator final : public cppmicroservices::BundleActivator {
public:
    // The manifest's own feature is not there yet: manifests are read once all bundles have been started.
    void Start(cppmicroservices::BundleContext) override {
        foundation::feature::management::registerFeature(foundation::feature::Scope::PROCESS,
                                                         "ViewportFrameStatistics",
                                                         0,
                                                         "DebugOrTest",
                                                         "graphics",
                                                         "extensions/viewport/viewport.cpp",
                                                         __LINE__,
                                                         "graphics",
                                                         "viewport");
    }

    void Stop(cppmicroservices::BundleContext) override {}
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Activator)
