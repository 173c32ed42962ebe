#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTracker.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Fixtures.h"
#include "Probe.h"

namespace {

using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::Services;
using bundle_test::TemporaryFolder;
using bundle_test::textOf;
using bundle_test::writeLibrary;
using cppmicroservices::Any;
using cppmicroservices::BundleContext;
using cppmicroservices::ServiceException;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceTracker;
using cppmicroservices::ServiceTrackerCustomizer;
using probe::Plain;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Services, AreSeenByATrackerOpenedBeforeOrAfter) {
    add(0);
    ServiceTracker<Plain> tracker(context);
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    EXPECT_THAT(tracker.GetServiceReferences(), IsEmpty());
    EXPECT_EQ(tracker.GetService(), nullptr);
    EXPECT_EQ(textOf<ServiceException>([&] { (void)tracker.GetServiceReference(); }),
              "No service is being tracked");

    tracker.Open();
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_FALSE(tracker.IsEmpty());
    add(1, 9);
    EXPECT_EQ(tracker.Size(), 2);
    EXPECT_EQ(tracker.GetServiceReferences().size(), 2U);
    EXPECT_EQ(tracker.GetServices().size(), 2U);
    EXPECT_EQ(tracker.GetService()->get(), 1) << "the highest ranking";
    EXPECT_EQ(tracker.GetService(registrations[0].GetReference())->get(), 0);
    EXPECT_TRUE(tracker.GetServiceReference() == registrations[1].GetReference());

    int const count = tracker.GetTrackingCount();
    registrations[1].Unregister();
    EXPECT_EQ(tracker.Size(), 1);
    EXPECT_GT(tracker.GetTrackingCount(), count);
    EXPECT_EQ(tracker.GetService()->get(), 0);
}

TEST_F(Services, AreHeldByATrackerUntilItIsClosed) {
    auto const service = add(0);
    ServiceTracker<Plain> tracker(context);
    tracker.Open();
    tracker.Open();
    EXPECT_GT(service.use_count(), 2);
    tracker.Close();
    EXPECT_EQ(service.use_count(), 2);
    EXPECT_EQ(tracker.Size(), 0);
    EXPECT_EQ(tracker.GetTrackingCount(), -1);
    tracker.Close();
    add(1);
    EXPECT_EQ(tracker.Size(), 0) << "a closed tracker sees nothing";
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 2) << "it may be opened again";
}

TEST_F(Services, AreWaitedFor) {
    ServiceTracker<Plain> tracker(context);
    tracker.Open();
    EXPECT_EQ(tracker.WaitForService(std::chrono::milliseconds(1)), nullptr);
    EXPECT_EQ(
        textOf<std::invalid_argument>([&] { (void)tracker.WaitForService(std::chrono::milliseconds(-1)); }),
        "negative timeout");
    auto const service = add(0);
    EXPECT_EQ(tracker.WaitForService(), service);
}

TEST(ATracker, WithAnInvalidContextCannotBeOpened) {
    ServiceTracker<Plain> tracker(BundleContext{});
    EXPECT_EQ(textOf<cppmicroservices::IllegalStateException>([&] { tracker.Open(); }),
              "The bundle context is no longer valid");
    EXPECT_EQ(tracker.Size(), 0);
    tracker.Close();
}

TEST_F(Services, AreTrackedOneByOneOrByTheIdOfAnInterface) {
    add(0);
    add(1);
    ServiceTracker<Plain> single(context, registrations[1].GetReference());
    single.Open();
    EXPECT_EQ(single.Size(), 1);
    EXPECT_EQ(single.GetService()->get(), 1);
    ServiceTracker<Plain> named(context, "probe::Plain");
    named.Open();
    EXPECT_EQ(named.Size(), 2);
    named.Remove(registrations[0].GetReference());
    EXPECT_EQ(named.Size(), 1);
}

/// Writes down what it is told.
class Notes final : public ServiceTrackerCustomizer<Plain, std::string> {
public:
    explicit Notes(BundleContext const& context) : context_(context) {}

    std::shared_ptr<std::string> AddingService(ServiceReference<Plain> const& reference) override {
        int const number = context_.GetService(reference)->get();
        if (number < 0) return nullptr;
        lines.push_back("adding " + std::to_string(number));
        if (number == 13) throw std::runtime_error("an unlucky number");
        return std::make_shared<std::string>("tracked " + std::to_string(number));
    }
    void ModifiedService(ServiceReference<Plain> const& reference,
                         std::shared_ptr<std::string> const& service) override {
        lines.push_back("modified " + *service + " to " + reference.GetProperty("to").ToStringNoExcept());
    }
    void RemovedService(ServiceReference<Plain> const& reference,
                        std::shared_ptr<std::string> const& service) override {
        lines.push_back((reference ? "removed " : "removed late ") + *service);
    }

    std::vector<std::string> lines;

private:
    BundleContext context_;
};

TEST_F(Services, AreTrackedAsTheCustomizerSays) {
    Notes notes(context);
    ServiceTracker<Plain, std::string> tracker(context, &notes);
    add(0);
    add(-1);
    tracker.Open();
    EXPECT_EQ(tracker.Size(), 1) << "the customizer did not want the other one";
    EXPECT_EQ(*tracker.GetService(), "tracked 0");
    add(2);
    registrations[0].SetProperties({{"to", Any(std::string("x"))}});
    registrations[0].Unregister();
    tracker.Close();
    EXPECT_THAT(
        notes.lines,
        ElementsAre(
            "adding 0", "adding 2", "modified tracked 0 to x", "removed tracked 0", "removed tracked 2"));
}

TEST_F(Services, AreTakenBackWhenTheirBundleStops) {
    TemporaryFolder folder;
    RunningFramework other({{"probe.rankings", Any(std::vector<Any>{Any(1), Any(3), Any(2)})}});
    auto const location = writeLibrary(
        folder.path() / "probe.so", PROBE_LIBRARY, bundle("probe", R"("bundle.activator": true)"));
    auto bundle = other.context().InstallBundles(location).at(0);
    ServiceTracker<Plain> tracker(other.context());
    tracker.Open();
    bundle.Start();
    EXPECT_EQ(tracker.Size(), 3);
    EXPECT_EQ(bundle.GetRegisteredServices().size(), 3U);
    EXPECT_EQ(tracker.GetService()->get(), 1) << "the one with ranking 3";
    auto const held = tracker.GetService();
    auto const references = tracker.GetServiceReferences();
    std::weak_ptr<Plain> const dropped = tracker.GetService(references.at(0)) == held
                                             ? tracker.GetService(references.at(1))
                                             : tracker.GetService(references.at(0));
    bundle.Stop();
    EXPECT_EQ(tracker.Size(), 0);
    for (auto const& reference : references) {
        EXPECT_FALSE(reference);
    }
    EXPECT_EQ(held->get(), 1) << "whoever holds one may go on using it";
    EXPECT_TRUE(dropped.expired());
}

}  // namespace
