// Ends a process in the way that its argument says. The framework, its bundles and trackers must survive
// that: checked by the exit code, by what is printed, and by whatever sanitizer the build has.

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/ServiceTracker.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include "Statics.h"

namespace {

using cppmicroservices::BundleContext;
using cppmicroservices::Framework;
using cppmicroservices::FrameworkFactory;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
using statics::Texts;

ServiceTracker<Texts>& staticTracker(BundleContext const& context = {}) {
    static ServiceTracker<Texts> tracker(context);
    return tracker;
}

std::shared_ptr<Texts>& heldService() {
    static std::shared_ptr<Texts> service;
    return service;
}

void startBundle(Framework& framework) {
    framework.Start();
    framework.GetBundleContext().InstallBundles(BUILT_STATICS).at(0).Start();
}

void track(Framework const& framework) {
    staticTracker(framework.GetBundleContext()).Open();
    heldService() = staticTracker().GetService();
    std::printf("tracked %s\n", heldService()->text().c_str());
}

void stop(Framework& framework) {
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());
}

/// Ends the process while it is told of a service.
struct Exiting final : cppmicroservices::ServiceTrackerCustomizer<Texts> {
    std::shared_ptr<Texts> AddingService(ServiceReference<Texts> const&) override { std::exit(0); }
    void ModifiedService(ServiceReference<Texts> const&, std::shared_ptr<Texts> const&) override {}
    void RemovedService(ServiceReference<Texts> const&, std::shared_ptr<Texts> const&) override {}
};

int end(std::string const& how) {
    if (how == "stopped") {
        Framework framework = FrameworkFactory().NewFramework();
        startBundle(framework);
        track(framework);
        stop(framework);
        return 0;
    }
    if (how == "dropped") {
        Framework framework = FrameworkFactory().NewFramework();
        startBundle(framework);
        track(framework);
        return 0;
    }
    if (how == "static") {
        static Framework framework = FrameworkFactory().NewFramework();
        startBundle(framework);
        track(framework);
        return 0;
    }
    if (how == "static, tracker first") {
        heldService();
        staticTracker();
        static Framework framework = FrameworkFactory().NewFramework();
        startBundle(framework);
        static ServiceTracker<Texts> second(framework.GetBundleContext());
        second.Open();
        return second.Size() == 1 ? 0 : 1;
    }
    if (how == "leaked") {
        static auto* const framework = new Framework(FrameworkFactory().NewFramework());
        startBundle(*framework);
        track(*framework);
        return 0;
    }
    if (how == "stopping") {
        static Framework framework = FrameworkFactory().NewFramework();
        startBundle(framework);
        track(framework);
        framework.Stop();
        return 0;
    }
    if (how == "inside a customizer") {
        static Framework framework = FrameworkFactory().NewFramework();
        framework.Start();
        Exiting customizer;
        ServiceTracker<Texts> tracker(framework.GetBundleContext(), &customizer);
        tracker.Open();
        startBundle(framework);
        return 1;
    }
    std::printf("unknown way: %s\n", how.c_str());
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    return argc == 2 ? end(argv[1]) : 2;
}
