#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <cppmicroservices/ServiceReference.h>

#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <unordered_set>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Fixtures.h"
#include "Probe.h"

namespace declared {
struct Named {
    int number = 0;
};
}  // namespace declared
CPPMICROSERVICES_DECLARE_SERVICE_INTERFACE(declared::Named, "a name of its own")

namespace {

using bundle_test::RunningFramework;
using bundle_test::Services;
using bundle_test::textOf;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::BundleContext;
using cppmicroservices::InterfaceMap;
using cppmicroservices::InterfaceMapConstPtr;
using cppmicroservices::ServiceReference;
using cppmicroservices::ServiceReferenceU;
using cppmicroservices::ServiceRegistration;
using probe::Plain;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;
namespace Constants = cppmicroservices::Constants;

struct Both final : probe::Greeter, Plain {
    [[nodiscard]] std::string greet() const override { return "both"; }
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
    for (auto const& none :
         {InterfaceMapConstPtr(), InterfaceMapConstPtr(std::make_shared<InterfaceMap>())}) {
        EXPECT_EQ(textOf<std::invalid_argument>([&] { (void)context.RegisterService(none); }),
                  "Can't register empty InterfaceMap as a service");
    }
    EXPECT_FALSE(context.GetServiceReference<Plain>());
}

TEST_F(Services, WithPropertiesThatDifferInCaseOnlyAreRefused) {
    struct Row {
        char const* says;
        cppmicroservices::ServiceProperties properties;
    };
    Row const rows[] = {
        {"two of the caller's", {{"a", Any(1)}, {"A", Any(2)}}},
        {"one of the caller's and one of the framework's", {{"ObjectClass", Any(1)}}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_THAT(textOf<std::runtime_error>(
                        [&] { context.RegisterService<Plain>(std::make_shared<Plain>(), row.properties); }),
                    StartsWith("Properties contain case variants of the key: "));
        EXPECT_FALSE(context.GetServiceReference<Plain>());
    }
}

TEST_F(Services, OfAllInterfacesAreFoundByAnEmptyId) {
    EXPECT_FALSE(context.GetServiceReference(""));
    add(0);
    context.RegisterService<declared::Named>(std::make_shared<declared::Named>(),
                                             {{Constants::SERVICE_RANKING, Any(1)}});
    EXPECT_EQ(context.GetServiceReferences("").size(), 2U);
    EXPECT_TRUE(context.GetService(context.GetServiceReference("")));
}

TEST(AnInvalidRegistration, RefusesEverything) {
    ServiceRegistration<Plain> registration;
    EXPECT_FALSE(registration);
    std::vector<std::function<void()>> const members = {
        [&] { (void)registration.GetReference(); },
        [&] { registration.SetProperties({}); },
        [&] { registration.Unregister(); },
    };
    for (auto const& member : members) {
        EXPECT_EQ(textOf<std::logic_error>(member), "ServiceRegistrationBase object invalid");
    }
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
    EXPECT_EQ(textOf<std::logic_error>([&] { registrations[0].Unregister(); }), "Service is unregistered");
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

}  // namespace
