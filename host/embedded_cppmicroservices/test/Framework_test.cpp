#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceTracker.h>

#include <chrono>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Probe.h"

namespace {

using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::textOf;
using bundle_test::writeLibrary;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;
using cppmicroservices::Framework;
using cppmicroservices::FrameworkEvent;
using cppmicroservices::FrameworkFactory;
using cppmicroservices::IllegalStateException;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
using testing::Contains;

std::chrono::milliseconds const forever = std::chrono::milliseconds::zero();

TEST(AFramework, IsTheBundleZero) {
    RunningFramework running;
    EXPECT_EQ(running.framework.GetBundleId(), 0);
    EXPECT_EQ(running.framework.GetLocation(), "System Bundle");
    EXPECT_EQ(running.framework.GetSymbolicName(), "system_bundle");
    EXPECT_EQ(running.framework.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_TRUE(running.context().GetBundle() == running.framework);
    EXPECT_TRUE(running.context().GetBundle(0) == running.framework);
    EXPECT_EQ(running.context().GetBundles().size(), 1U);
}

TEST(AFramework, HasAContextFromInitToStop) {
    Framework framework = FrameworkFactory().NewFramework();
    EXPECT_FALSE(framework.GetBundleContext());
    framework.Init();
    EXPECT_TRUE(framework.GetBundleContext());
    EXPECT_EQ(framework.GetState(), Bundle::STATE_STARTING);
    BundleContext context = framework.GetBundleContext();
    framework.Start();
    EXPECT_TRUE(framework.GetBundleContext() == context);
    framework.Start();
    framework.Stop();
    EXPECT_EQ(framework.WaitForStop(forever).GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_FALSE(context);
    EXPECT_FALSE(framework.GetBundleContext());
}

TEST(AFramework, IsWaitedForNoLongerThanTold) {
    RunningFramework running;
    EXPECT_EQ(running.framework.WaitForStop(std::chrono::milliseconds(1)).GetType(),
              FrameworkEvent::FRAMEWORK_WAIT_TIMEDOUT);
    running.framework.Stop();
    FrameworkEvent const event = running.framework.WaitForStop(forever);
    EXPECT_EQ(event.GetType(), FrameworkEvent::FRAMEWORK_STOPPED);
    EXPECT_TRUE(event.GetBundle() == running.framework);
    EXPECT_EQ(running.framework.WaitForStop(forever).GetType(), FrameworkEvent::FRAMEWORK_STOPPED)
        << "waiting for a framework that is not running ends at once";
}

TEST(AFramework, GivesItsProperties) {
    RunningFramework running({{"a", Any(1)}, {"b", Any(std::string("x"))}});
    EXPECT_EQ(running.context().GetProperty("a").ToString(), "1");
    EXPECT_EQ(running.context().GetProperty("b").ToString(), "x");
    EXPECT_TRUE(running.context().GetProperty("missing").Empty());
}

TEST(AStoppedFramework, LeavesItsBundlesBehind) {
    TemporaryFolder folder;
    RunningFramework running;
    auto const location = writeZip(folder.path() / "a.zip", bundle("a"));
    Bundle bundle = running.context().InstallBundles(location).at(0);
    bundle.Start();
    auto const service = std::make_shared<probe::Plain>();
    bundle.GetBundleContext().RegisterService<probe::Plain>(service);
    ServiceTracker<probe::Plain> tracker(running.context());
    tracker.Open();
    ServiceReference<probe::Plain> const reference = tracker.GetServiceReference();
    EXPECT_TRUE(reference);

    running.stop();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_INSTALLED);
    EXPECT_FALSE(bundle.GetBundleContext());
    EXPECT_EQ(textOf<std::runtime_error>([&] { bundle.Start(); }),
              "Bundle a (location=" + location + ") belongs to a stopped framework");
    EXPECT_FALSE(reference);
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(tracker.GetService(), nullptr);
    tracker.Close();
    EXPECT_EQ(service.use_count(), 1);

    running.framework.Start();
    EXPECT_EQ(running.context().GetBundles().size(), 1U) << "only the system bundle";
    EXPECT_FALSE(running.context().GetServiceReference<probe::Plain>());
}

TEST(AFramework, StopsWhenItsLastHandleGoes) {
    TemporaryFolder folder;
    auto const journal = std::make_shared<probe::Journal>();
    auto const location = writeLibrary(
        folder.path() / "probe.so", PROBE_LIBRARY, bundle("probe", R"("bundle.activator": true)"));
    BundleContext context;
    {
        Framework framework = FrameworkFactory().NewFramework(
            std::unordered_map<std::string, Any>{{"probe.journal", Any(journal)}});
        framework.Start();
        context = framework.GetBundleContext();
        context.InstallBundles(location).at(0).Start();
        Framework const copy = framework;
        Framework const moved = std::move(framework);
        EXPECT_TRUE(copy == moved);
    }
    EXPECT_FALSE(context);
    EXPECT_THAT(journal->lines(), Contains("stop 0.0.0"));
}

TEST(AnInvalidContext, RefusesEverything) {
    RunningFramework other;
    other.context().RegisterService<probe::Plain>(std::make_shared<probe::Plain>());
    auto const reference = other.context().GetServiceReference<probe::Plain>();
    std::vector<BundleContext> contexts(1);
    {
        RunningFramework const running;
        contexts.push_back(running.context());
        EXPECT_TRUE(contexts.back());
    }
    for (BundleContext& context : contexts) {
        EXPECT_FALSE(context);
        std::vector<std::function<void()>> const members = {
            [&] { (void)context.GetBundle(); },
            [&] { (void)context.GetBundle(0); },
            [&] { (void)context.GetBundles(); },
            [&] { (void)context.GetBundles("x"); },
            [&] { (void)context.GetProperty("x"); },
            [&] { (void)context.InstallBundles("x"); },
            [&] { (void)context.RegisterService<probe::Plain>(std::make_shared<probe::Plain>()); },
            [&] { (void)context.GetServiceReference<probe::Plain>(); },
            [&] { (void)context.GetServiceReferences<probe::Plain>(); },
            [&] { (void)context.GetService(reference); },
        };
        for (auto const& member : members) {
            EXPECT_EQ(textOf<IllegalStateException>(member), "The bundle context is no longer valid");
        }
    }
}

TEST(AFramework, CannotBeUninstalled) {
    RunningFramework running;
    EXPECT_EQ(textOf<std::runtime_error>([&] { running.framework.Uninstall(); }),
              "Cannot uninstall a system bundle.");
    EXPECT_EQ(running.framework.GetState(), Bundle::STATE_ACTIVE);
}

TEST(AContext, IsComparedAndLetGo) {
    RunningFramework const running;
    BundleContext context = running.context();
    EXPECT_TRUE(context == running.context());
    EXPECT_TRUE(context != BundleContext());
    EXPECT_TRUE(context < BundleContext()) << "one that refers to nothing is the last";
    EXPECT_FALSE(BundleContext() < context);
    context = nullptr;
    EXPECT_FALSE(context);
}

}  // namespace
