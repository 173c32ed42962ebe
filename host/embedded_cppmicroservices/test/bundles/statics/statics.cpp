#include "Statics.h"

#include <cstdio>
#include <memory>

#include <cppmicroservices/BundleActivator.h>

namespace {

/// Long enough to lie on the heap, so that a use after its end is noticed.
std::string const staticText = "a static text of the bundle, longer than a short string";

struct StaticTexts final : statics::Texts {
    [[nodiscard]] std::string const& text() const override { return staticText; }
};

/// Its Stop() uses a static object of the bundle.
struct StaticsActivator final : cppmicroservices::BundleActivator {
    void Start(cppmicroservices::BundleContext context) override {
        context.RegisterService<statics::Texts>(std::make_shared<StaticTexts>());
    }
    void Stop(cppmicroservices::BundleContext) override {
        std::printf("stopped with %s\n", staticText.c_str());
    }
};

}  // namespace

CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(StaticsActivator)
