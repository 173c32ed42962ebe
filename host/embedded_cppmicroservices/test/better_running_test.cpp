// Where the embedded framework does better than the installed one: services, bundles and the framework itself.

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceTracker.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Probe.h"

namespace {

using bundle_test::bundle;
using bundle_test::Entries;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::textOf;
using bundle_test::together;
using bundle_test::writeLibrary;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;
using cppmicroservices::Framework;
using cppmicroservices::FrameworkFactory;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceRegistration;
using cppmicroservices::ServiceTracker;
using probe::Plain;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
namespace Constants = cppmicroservices::Constants;

std::chrono::milliseconds const forever = std::chrono::milliseconds::zero();
char const activator[] = R"("bundle.activator": true)";

TEST(ATracker, GivesItsServicesBestFirst) {
    RunningFramework const running;
    BundleContext context = running.context();
    ServiceTracker<Plain> tracker(context);
    tracker.Open();
    int number = 0;
    std::vector<ServiceRegistration<Plain>> registrations;
    for (int const ranking : {0, -1, 5, 0, 5, 3}) {
        auto service = std::make_shared<Plain>();
        service->number = number++;
        registrations.push_back(
            context.RegisterService<Plain>(service, {{Constants::SERVICE_RANKING, Any(ranking)}}));
    }
    auto const numbers = [&] {
        std::vector<int> result;
        for (auto const& reference : tracker.GetServiceReferences()) {
            result.push_back(tracker.GetService(reference)->get());
        }
        return result;
    };
    EXPECT_THAT(numbers(), ElementsAre(2, 4, 5, 0, 3, 1));
    registrations[1].SetProperties({{Constants::SERVICE_RANKING, Any(9)}});
    EXPECT_THAT(numbers(), ElementsAre(1, 2, 4, 5, 0, 3)) << "a ranking may change";
    EXPECT_EQ(tracker.GetServices().front()->get(), 1);
}

TEST(ATracker, LetsGoOfTheFrameworksOwnServicesToo) {
    RunningFramework running;
    auto const service = std::make_shared<Plain>();
    running.context().RegisterService<Plain>(service);
    ServiceTracker<Plain> tracker(running.context());
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 1);
    running.stop();
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(service.use_count(), 1);
}

TEST(ARestartedFramework, DoesNotTakeItsOldBundlesBack) {
    TemporaryFolder const folder;
    RunningFramework running;
    auto const location = writeZip(folder.path() / "a.zip", bundle("a"));
    Bundle old = running.context().InstallBundles(location).at(0);
    running.stop();
    running.framework.Start();
    EXPECT_EQ(textOf<std::runtime_error>([&] { old.Start(); }),
              "Bundle a (location=" + location + ") belongs to a stopped framework");
    EXPECT_TRUE(running.context().InstallBundles(location).at(0) != old);
}

TEST(ServiceProperties, OfTheFrameworksOwnAreNotTheCallersToSet) {
    RunningFramework const running;
    auto const registration = running.context().RegisterService<Plain>(
        std::make_shared<Plain>(), {{Constants::SERVICE_ID, Any(-7)}, {Constants::OBJECTCLASS, Any(1)}});
    auto const reference = registration.GetReference();
    EXPECT_GT(any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)), 0);
    EXPECT_THAT(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
                ElementsAre("probe::Plain"));
}

TEST(ARanking, ThatIsNoIntCountsAsNone) {
    RunningFramework const running;
    BundleContext context = running.context();
    auto const registration =
        context.RegisterService<Plain>(std::make_shared<Plain>(), {{Constants::SERVICE_RANKING, Any(99L)}});
    context.RegisterService<Plain>(std::make_shared<Plain>(), {{Constants::SERVICE_RANKING, Any(1)}});
    EXPECT_TRUE(context.GetServiceReferences<Plain>().back() == registration.GetReference());
}

TEST(ATracker, OfAReferenceToNothingTracksNothing) {
    RunningFramework const running;
    running.context().RegisterService<Plain>(std::make_shared<Plain>());
    ServiceTracker<Plain> tracker(running.context(), ServiceReference<Plain>());
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 0);
}

/// A customizer that does what the test says.
class Customizer final : public cppmicroservices::ServiceTrackerCustomizer<Plain> {
public:
    std::shared_ptr<Plain> AddingService(ServiceReference<Plain> const&) override {
        if (adding) adding();
        return std::make_shared<Plain>();
    }
    void ModifiedService(ServiceReference<Plain> const&, std::shared_ptr<Plain> const&) override {}
    void RemovedService(ServiceReference<Plain> const&, std::shared_ptr<Plain> const&) override {
        if (removed) removed();
    }

    std::function<void()> adding;
    std::function<void()> removed;
};

TEST(ATrackersFailure, IsLoggedAndHurtsNobodyElse) {
    std::ostringstream log;
    Framework framework = FrameworkFactory().NewFramework({}, &log);
    framework.Start();
    BundleContext context = framework.GetBundleContext();
    Customizer customizer;
    customizer.adding = [] { throw std::runtime_error("adding failed"); };
    ServiceTracker<Plain> tracker(context, &customizer);
    tracker.Open();
    auto registration = context.RegisterService<Plain>(std::make_shared<Plain>());
    EXPECT_TRUE(registration);
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(log.str(), "service framework: a service tracker's customizer failed: adding failed\n");

    tracker.Close();
    EXPECT_EQ(textOf<std::runtime_error>([&] { tracker.Open(); }), "adding failed")
        << "here the caller is told";
    EXPECT_EQ(tracker.GetTrackingCount(), -1) << "and the tracker stays closed";

    customizer.adding = nullptr;
    tracker.Open();
    customizer.removed = [] { throw std::runtime_error("removing failed"); };
    registration.Unregister();
    EXPECT_THAT(log.str(), HasSubstr("removing failed\n"));
}

TEST(ATracker, DoesNotMindAServiceThatGoesWhileItIsLookedAt) {
    RunningFramework const running;
    BundleContext context = running.context();
    auto registration = context.RegisterService<Plain>(std::make_shared<Plain>());
    auto const reference = registration.GetReference();
    Customizer customizer;
    customizer.adding = [&] {
        registration.Unregister();
        (void)context.GetService(reference);  // Throws.
    };
    ServiceTracker<Plain> tracker(context, &customizer);
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(tracker.GetTrackingCount(), 0);
}

TEST(ATracker, MayBeClosedByItsOwnCustomizer) {
    RunningFramework const running;
    Customizer customizer;
    ServiceTracker<Plain> tracker(running.context(), &customizer);
    tracker.Open();
    customizer.adding = [&] { tracker.Close(); };
    int removals = 0;
    customizer.removed = [&] { ++removals; };
    running.context().RegisterService<Plain>(std::make_shared<Plain>());
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(removals, 1) << "what came too late is let go of";
}

TEST(Threads, OpenAndCloseTrackersWhileServicesComeAndGo) {
    RunningFramework running;
    std::atomic<bool> done = false;
    std::jthread const registering([&] {
        BundleContext context = running.context();
        while (!done) {
            auto registration = context.RegisterService<Plain>(std::make_shared<Plain>());
            registration.Unregister();
        }
    });
    ServiceTracker<Plain> shared(running.context());
    together(3, [&](int) {
        for (int round = 0; round < 50; ++round) {
            ServiceTracker<Plain> own(running.context());
            own.Open();
            shared.Open();
            EXPECT_LE(own.Size(), 1);
            shared.Close();
            own.Close();
            EXPECT_EQ(own.Size(), 0);
        }
    });
    done = true;
}

TEST(Threads, StopTheFrameworkUnderOneAnother) {
    for (int round = 0; round < 10; ++round) {
        auto framework = cppmicroservices::FrameworkFactory().NewFramework();
        framework.Start();
        together(4, [framework](int number) {
            auto mine = framework;
            BundleContext context = mine.GetBundleContext();
            ServiceTracker<Plain> tracker(context);
            try {
                tracker.Open();
                context.RegisterService<Plain>(std::make_shared<Plain>());
                if (number == 0) mine.Stop();
                context.RegisterService<Plain>(std::make_shared<Plain>());
            } catch (cppmicroservices::IllegalStateException const&) {
                // Another thread was faster.
            }
            mine.Stop();
            mine.WaitForStop(std::chrono::milliseconds::zero());
            EXPECT_EQ(tracker.Size(), 0);
        });
        EXPECT_FALSE(framework.GetBundleContext());
    }
}

/// Bundles with code, and the log of their framework.
class Bundles : public testing::Test {
protected:
    void start(std::unordered_map<std::string, Any> const& properties) {
        framework.emplace(FrameworkFactory().NewFramework(properties, &log));
        framework->Start();
        context = framework->GetBundleContext();
    }
    Bundle install(std::string const& name = "a.so", std::string const& members = activator) {
        auto const location = writeLibrary(folder.path() / name, PROBE_LIBRARY, bundle("probe", members));
        return context.InstallBundles(location).at(0);
    }

    TemporaryFolder folder;
    std::ostringstream log;
    std::optional<Framework> framework;
    BundleContext context;
};

TEST_F(Bundles, ThatFailToStopWithTheFrameworkAreLogged) {
    start({{"probe.stop", Any(std::string("bang"))}});
    Bundle bundle = install();
    bundle.Start();
    framework->Stop();
    framework->WaitForStop(forever);
    EXPECT_EQ(log.str(),
              "service framework: Bundle probe (location=" + bundle.GetLocation() +
                  "), BundleActivator::Stop() failed: bang\n");
}

TEST_F(Bundles, ThatFailToStopAreUninstalledAllTheSame) {
    start({{"probe.stop", Any(std::string("bang"))}});
    Bundle bundle = install();
    bundle.Start();
    bundle.Uninstall();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_UNINSTALLED);
    EXPECT_THAT(log.str(), HasSubstr("BundleActivator::Stop() failed: bang\n"));
    EXPECT_THROW(bundle.Uninstall(), std::logic_error);
}

TEST_F(Bundles, WhoseActivatorKeyIsNoBoolAreLogged) {
    start({});
    install("a.so", R"("bundle.activator": "true")").Start();
    EXPECT_THAT(log.str(), HasSubstr("bundle.activator is no bool; no code is loaded\n"));
}

TEST_F(Bundles, WhoseActivatorGivesNoReasonSaySo) {
    start({{"probe.start", Any(std::string())}});
    EXPECT_THAT(textOf<std::runtime_error>([&] { install().Start(); }),
                HasSubstr("start failed: an exception without a text"));
}

TEST_F(Bundles, OfOneFileComeBackOneByOne) {
    start({});
    Entries entries = bundle("alpha");
    entries.merge(bundle("beta"));
    auto const location = writeZip(folder.path() / "two.zip", entries);
    auto bundles = context.InstallBundles(location);
    bundles.at(0).Uninstall();
    auto const again = context.InstallBundles(location);
    ASSERT_EQ(again.size(), 2U);
    EXPECT_EQ(again[0].GetSymbolicName(), "alpha");
    EXPECT_TRUE(again[0] != bundles[0]);
    EXPECT_TRUE(again[1] == bundles[1]);
}

TEST_F(Bundles, CannotBeStartedAndStoppedWhileTheSameThreadDoesSo) {
    start({{"probe.rankings", Any(std::vector<Any>{Any(0)})}});
    Bundle bundle = install();
    Customizer customizer;
    std::vector<std::string> refusals;
    customizer.adding = [&] {
        refusals.push_back(textOf<std::runtime_error>([&] { bundle.Start(); }));
        refusals.push_back(textOf<std::runtime_error>([&] { bundle.Stop(); }));
    };
    ServiceTracker<Plain> tracker(context, &customizer);
    tracker.Open();
    bundle.Start();
    std::string const refusal = "Bundle probe (location=" + bundle.GetLocation() +
                                ") is being started or stopped by this very thread";
    EXPECT_THAT(refusals, ElementsAre(refusal, refusal));
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
}

TEST(AFramework, IsNotWaitedForByTheThreadThatStopsIt) {
    RunningFramework running;
    Customizer customizer;
    std::vector<std::string> refusals;
    customizer.removed = [&] {
        refusals.push_back(textOf<std::logic_error>([&] { running.framework.WaitForStop(forever); }));
        refusals.push_back(textOf<std::logic_error>([&] { running.framework.Start(); }));
    };
    ServiceTracker<Plain> tracker(running.context(), &customizer);
    tracker.Open();
    running.context().RegisterService<Plain>(std::make_shared<Plain>());
    running.stop();
    EXPECT_THAT(refusals,
                ElementsAre("a framework cannot be waited for by an activator that it is stopping",
                            "a framework cannot be started by an activator that it is stopping"));
}

TEST(AFramework, MayLoseItsLastHandleToTheThreadThatStopsIt) {
    auto alive = std::make_shared<int>(0);
    std::weak_ptr<int> const lifetime = alive;
    std::optional<Framework> framework = FrameworkFactory().NewFramework({{"alive", Any(alive)}});
    alive.reset();
    framework->Start();
    BundleContext context = framework->GetBundleContext();
    Customizer customizer;
    customizer.removed = [&] { framework.reset(); };
    ServiceTracker<Plain> tracker(context, &customizer);
    tracker.Open();
    context.RegisterService<Plain>(std::make_shared<Plain>());
    framework->Stop();
    while (!lifetime.expired()) {
        std::this_thread::yield();
    }
    EXPECT_FALSE(context);
    EXPECT_EQ(tracker.Size(), 0);
}

TEST(ABundlesHandle, KeepsTheFrameworkRunning) {
    TemporaryFolder const folder;
    Bundle bundle;
    {
        Framework framework = FrameworkFactory().NewFramework();
        framework.Start();
        auto const location = writeZip(folder.path() / "a.zip", bundle_test::bundle("a"));
        bundle = framework.GetBundleContext().InstallBundles(location).at(0);
    }
    bundle.Start();
    EXPECT_EQ(bundle.GetState(), Bundle::STATE_ACTIVE);
    EXPECT_THAT(bundle.GetRegisteredServices(), IsEmpty());
}

}  // namespace
