#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceTracker.h>

#include <support/Latch.hpp>

#include <atomic>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Probe.h"

namespace {

using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::together;
using bundle_test::writeLibrary;
using cppmicroservices::Any;
using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
using probe::Plain;

TEST(Threads, InstallAndStartABundleOnce) {
    TemporaryFolder folder;
    auto const journal = std::make_shared<probe::Journal>();
    RunningFramework running({{"probe.journal", Any(journal)}, {"probe.greeter", Any(true)}});
    auto const location = writeLibrary(
        folder.path() / "probe.so", PROBE_LIBRARY, bundle("probe", R"("bundle.activator": true)"));
    std::vector<Bundle> bundles(8);
    together(8, [&](int number) {
        auto bundle = running.context().InstallBundles(location).at(0);
        bundle.Start();
        EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
        EXPECT_TRUE(running.context().GetServiceReference<probe::Greeter>());
        bundles[static_cast<std::size_t>(number)] = bundle;
    });
    for (Bundle const& bundle : bundles) {
        EXPECT_TRUE(bundle == bundles[0]);
    }
    EXPECT_EQ(journal->lines().size(), 1U);
}

TEST(Threads, StartAndStopABundleInTurns) {
    TemporaryFolder folder;
    auto const journal = std::make_shared<probe::Journal>();
    RunningFramework running({{"probe.journal", Any(journal)}});
    auto const location = writeLibrary(
        folder.path() / "probe.so", PROBE_LIBRARY, bundle("probe", R"("bundle.activator": true)"));
    auto const bundle = running.context().InstallBundles(location).at(0);
    together(4, [&](int number) {
        Bundle mine = bundle;
        for (int round = 0; round < 25; ++round) {
            number % 2 == 0 ? mine.Start() : mine.Stop();
        }
    });
    Bundle(bundle).Stop();
    int active = 0;
    for (std::string const& line : journal->lines()) {
        if (line.starts_with("start")) ++active;
        if (line.starts_with("stop")) --active;
        EXPECT_TRUE(active == 0 || active == 1) << "calls of one activator never overlap";
    }
    EXPECT_EQ(active, 0);
}

TEST(Threads, RegisterAndTakeBackServicesUnderATracker) {
    RunningFramework running;
    ServiceTracker<Plain> tracker(running.context());
    tracker.Open();
    std::atomic<bool> done = false;
    std::jthread const reader([&] {
        while (!done) {
            for (auto const& reference : tracker.GetServiceReferences()) {
                auto const service = tracker.GetService(reference);
                EXPECT_TRUE(service == nullptr || service->get() >= 0);
            }
            BundleContext context = running.context();
            for (auto const& reference : context.GetServiceReferences<Plain>()) {
                try {
                    auto const service = context.GetService(reference);
                    EXPECT_TRUE(service == nullptr || service->get() >= 0);
                } catch (std::invalid_argument const&) {
                    // It has been taken back already.
                }
            }
        }
    });
    together(4, [&](int number) {
        BundleContext context = running.context();
        for (int round = 0; round < 100; ++round) {
            auto service = std::make_shared<Plain>();
            service->number = number;
            auto registration = context.RegisterService<Plain>(service);
            auto const reference = registration.GetReference();
            registration.SetProperties({{cppmicroservices::Constants::SERVICE_RANKING, Any(round)}});
            registration.Unregister();
            EXPECT_EQ(tracker.GetService(reference), nullptr);
        }
    });
    done = true;
    EXPECT_EQ(tracker.Size(), 0);
}

TEST(Threads, ThatCloseATrackerWaitForItsCustomizer) {
    struct Slow final : cppmicroservices::ServiceTrackerCustomizer<Plain> {
        std::shared_ptr<Plain> AddingService(ServiceReference<Plain> const&) override {
            inside.countDown();
            released.wait();
            left = true;
            return nullptr;
        }
        void ModifiedService(ServiceReference<Plain> const&, std::shared_ptr<Plain> const&) override {}
        void RemovedService(ServiceReference<Plain> const&, std::shared_ptr<Plain> const&) override {}
        foundation::test::Latch inside{1};
        foundation::test::Latch released{1};
        std::atomic<bool> left = false;
    };
    RunningFramework running;
    Slow slow;
    ServiceTracker<Plain> tracker(running.context(), &slow);
    tracker.Open();
    std::jthread const registering(
        [&] { running.context().RegisterService<Plain>(std::make_shared<Plain>()); });
    slow.inside.wait();
    EXPECT_TRUE(running.context().GetServiceReference<Plain>()) << "nothing is locked meanwhile";
    std::jthread const releasing([&] { slow.released.countDown(); });
    tracker.Close();
    EXPECT_TRUE(slow.left);
}

}  // namespace
