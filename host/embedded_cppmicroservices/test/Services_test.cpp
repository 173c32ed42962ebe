#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/IllegalStateException.h>
#include <cppmicroservices/ServiceException.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTracker.h>

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Probe.h"

namespace declared {
struct Named {
    int number = 0;
};
}  // namespace declared
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(declared::Named, "a name of its own")

namespace {

using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::textOf;
using bundle_test::writeLibrary;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::BundleContext;
using cppmicroservices::ServiceException;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceReferenceU;
using cppmicroservices::ServiceRegistration;
using cppmicroservices::ServiceTracker;
using cppmicroservices::ServiceTrackerCustomizer;
using probe::Plain;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
namespace Constants = cppmicroservices::Constants;

struct Both final : probe::Greeter, Plain {
    [[nodiscard]] std::string greet() const override { return "both"; }
};

class Services : public testing::Test {
protected:
    std::shared_ptr<Plain> add(int number, std::optional<int> ranking = {}) {
        auto service = std::make_shared<Plain>();
        service->number = number;
        cppmicroservices::ServiceProperties properties;
        if (ranking) properties[Constants::SERVICE_RANKING] = *ranking;
        registrations.push_back(context.RegisterService<Plain>(service, properties));
        return service;
    }

    RunningFramework running;
    BundleContext context = running.context();
    std::vector<ServiceRegistration<Plain>> registrations;
};

TEST_F(Services, AreFoundByTheirInterfaceWithoutVirtualFunctions) {
    EXPECT_FALSE(context.GetServiceReference<Plain>());
    EXPECT_THAT(context.GetServiceReferences<Plain>(), IsEmpty());
    auto const service = add(5);
    auto const reference = context.GetServiceReference<Plain>();
    ASSERT_TRUE(reference);
    EXPECT_EQ(reference.GetInterfaceId(), "probe::Plain");
    EXPECT_EQ(context.GetService(reference), service);
    EXPECT_EQ(context.GetService(reference)->get(), 5);
    EXPECT_TRUE(reference.GetBundle() == running.framework) << "registered through the framework's context";
    EXPECT_TRUE(ServiceReference<Plain>(context.GetServiceReference("probe::Plain")) == reference);
}

TEST_F(Services, ComeWithTheHighestRankingFirstThenInTheOrderOfRegistration) {
    add(0);
    add(1, -1);
    add(2, 5);
    add(3);
    add(4, 5);
    std::vector<int> numbers;
    for (auto const& reference : context.GetServiceReferences<Plain>()) {
        numbers.push_back(context.GetService(reference)->get());
    }
    EXPECT_THAT(numbers, ElementsAre(2, 4, 0, 3, 1));
    EXPECT_EQ(context.GetService(context.GetServiceReference<Plain>())->get(), 2);
}

TEST_F(Services, HaveProperties) {
    auto const registration = context.RegisterService<Plain>(
        std::make_shared<Plain>(),
        {{"Colour", Any(std::string("red"))}, {Constants::SERVICE_RANKING, Any(3)}});
    auto const reference = registration.GetReference();
    EXPECT_EQ(reference.GetProperty("colour").ToString(), "red") << "names ignore case";
    EXPECT_EQ(any_cast<int>(reference.GetProperty(Constants::SERVICE_RANKING)), 3);
    EXPECT_GT(any_cast<long>(reference.GetProperty(Constants::SERVICE_ID)), 0);
    EXPECT_THAT(any_cast<std::vector<std::string>>(reference.GetProperty(Constants::OBJECTCLASS)),
                ElementsAre("probe::Plain"));
    EXPECT_TRUE(reference.GetProperty("missing").Empty());
    EXPECT_THAT(reference.GetPropertyKeys(),
                IsSupersetOf({std::string("Colour"), Constants::SERVICE_RANKING, Constants::SERVICE_ID}));
}

TEST_F(Services, MayHaveSeveralInterfaces) {
    auto const service = std::make_shared<Both>();
    auto const registration = context.RegisterService<Plain, probe::Greeter>(service);
    auto const plain = context.GetServiceReference<Plain>();
    auto const greeter = context.GetServiceReference<probe::Greeter>();
    EXPECT_TRUE(plain == greeter);
    EXPECT_EQ(context.GetService(plain).get(), static_cast<Plain*>(service.get()));
    EXPECT_EQ(context.GetService(greeter).get(), static_cast<probe::Greeter*>(service.get()));
    EXPECT_TRUE(registration.GetReference<probe::Greeter>() == greeter);

    ServiceReference<probe::Greeter> const converted(plain);
    EXPECT_EQ(context.GetService(converted)->greet(), "both");
    ServiceReference<declared::Named> const none(plain);
    EXPECT_FALSE(none) << "the service does not have that interface";

    auto const all = context.GetService(ServiceReferenceU(plain));
    ASSERT_TRUE(all);
    EXPECT_EQ(all->size(), 2U);
    EXPECT_EQ(all->count("probe::Greeter"), 1U);
}

TEST_F(Services, MayDeclareTheIdOfTheirInterface) {
    auto const service = std::make_shared<declared::Named>();
    context.RegisterService<declared::Named>(service);
    EXPECT_TRUE(context.GetServiceReference("a name of its own"));
    EXPECT_EQ(context.GetService(context.GetServiceReference<declared::Named>()), service);
}

TEST_F(Services, AreNotRegisteredWithoutAnObject) {
    EXPECT_EQ(
        textOf<std::invalid_argument>([&] { context.RegisterService<Plain>(std::shared_ptr<Plain>()); }),
        "Can't register as null class");
    EXPECT_FALSE(context.GetServiceReference<Plain>());
}

TEST_F(Services, StayWhenTheirRegistrationIsDropped) {
    add(1);
    registrations.clear();
    EXPECT_TRUE(context.GetServiceReference<Plain>());
}

TEST_F(Services, AreTakenBack) {
    auto const service = add(1);
    auto const reference = context.GetServiceReference<Plain>();
    EXPECT_TRUE(registrations[0]);
    EXPECT_EQ(service.use_count(), 2);
    registrations[0].Unregister();
    EXPECT_FALSE(reference);
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_EQ(textOf<std::invalid_argument>([&] { (void)context.GetService(reference); }),
              "Default constructed ServiceReference is not a valid input to GetService()");
    EXPECT_FALSE(context.GetServiceReference<Plain>());
    EXPECT_EQ(service.use_count(), 1) << "nothing holds it any more";
    EXPECT_THROW(registrations[0].Unregister(), std::logic_error);
}

TEST_F(Services, RegisteredTwiceAreTwo) {
    auto const service = std::make_shared<Plain>();
    context.RegisterService<Plain>(service);
    context.RegisterService<Plain>(service);
    auto const references = context.GetServiceReferences<Plain>();
    ASSERT_EQ(references.size(), 2U);
    EXPECT_TRUE(references[0] != references[1]);
    EXPECT_EQ(context.GetService(references[0]), context.GetService(references[1]));
}

TEST_F(Services, AreComparedByRankingThenByAge) {
    add(0);
    add(1);
    add(2, 7);
    auto const references = context.GetServiceReferences<Plain>();  // 2, 0, 1
    EXPECT_TRUE(references[1] < references[0]);
    EXPECT_TRUE(references[2] < references[1]) << "the older one is the better one";
    EXPECT_FALSE(references[0] < references[1]);
    std::unordered_set<ServiceReference<Plain>> const set(references.begin(), references.end());
    EXPECT_EQ(set.size(), 3U);
    EXPECT_EQ(set.count(references[1]), 1U);
}

TEST(AnInvalidServiceReference, GivesNoService) {
    RunningFramework const running;
    BundleContext context = running.context();
    ServiceReference<Plain> reference;
    EXPECT_FALSE(reference);
    EXPECT_FALSE(reference.GetBundle());
    EXPECT_EQ(textOf<std::invalid_argument>([&] { (void)context.GetService(reference); }),
              "Default constructed ServiceReference is not a valid input to GetService()");
    context.RegisterService<Plain>(std::make_shared<Plain>());
    reference = context.GetServiceReference<Plain>();
    EXPECT_TRUE(reference);
    reference = nullptr;
    EXPECT_FALSE(reference);
}

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
