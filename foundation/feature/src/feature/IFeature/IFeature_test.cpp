#include <foundation/feature/IFeature.hpp>

#include <memory>
#include <optional>
#include <stdexcept>
#include <type_traits>
#include <vector>

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <support/GroupingLocale.hpp>
#include <support/LogCapture.hpp>

namespace foundation::feature {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr unsigned changes = 16;
constexpr char const* setChannel = "foundation::feature::set";

void registerBeta(std::string name, int defaultValue, Scope scope = Scope::PROCESS) {
    management::registerFeature(
        scope, std::move(name), defaultValue, "Beta", "client", "file.cpp", 12, "component", "module");
}

std::unique_ptr<IFeature> makeBeta(std::string const& name, int defaultValue, Scope scope = Scope::PROCESS) {
    registerBeta(name, defaultValue, scope);
    return management::getFeature(name);
}

/// Both forms of handle must behave alike: what is said here holds for each scope.
class AHandle : public testing::TestWithParam<Scope> {
protected:
    std::unique_ptr<IFeature> make(std::string const& name, int defaultValue) {
        return makeBeta(name, defaultValue, GetParam());
    }
};

INSTANTIATE_TEST_SUITE_P(Of, AHandle, testing::Values(Scope::PROCESS, Scope::ZOR), [](auto const& scope) {
    return scope.param == Scope::PROCESS ? "AProcessFeature" : "APerInstanceFeature";
});

TEST_P(AHandle, ReadsTheDefaultAndCountsTheRead) {
    auto const feature = make("Alpha", 5);
    EXPECT_EQ(feature->get(), 5);
    EXPECT_EQ(feature->getReadCount(), 1u);
    EXPECT_EQ(feature->getWriteCount(), 0u);
}

TEST_P(AHandle, CountsEachFormOfReadOnce) {
    auto const feature = make("Alpha", 0);
    EXPECT_FALSE(feature->isActive());
    EXPECT_EQ(feature->getReadCount(), 1u);
    bool const implicitly = *feature;
    EXPECT_FALSE(implicitly);
    EXPECT_EQ(feature->getReadCount(), 2u);
    feature->set(-1);
    EXPECT_TRUE(feature->isActive());
    EXPECT_TRUE(*feature);
    EXPECT_EQ(feature->getReadCount(), 4u);
}

TEST_P(AHandle, TellsItsProvenanceWithoutCounting) {
    auto const feature = make("Alpha", 5);
    EXPECT_EQ(feature->getName(), "Alpha");
    EXPECT_EQ(feature->getScope(), GetParam());
    EXPECT_EQ(feature->getDefaultValue(), 5);
    EXPECT_EQ(feature->getFCtrlState(), "Beta");
    EXPECT_EQ(feature->getClientDir(), "client");
    EXPECT_EQ(feature->getComponent(), "component");
    EXPECT_EQ(feature->getModule(), "module");
    EXPECT_EQ(feature->getFilename(), "file.cpp");
    EXPECT_EQ(feature->getLine(), 12);
    EXPECT_EQ(feature->getReadCount(), 0u);
    EXPECT_EQ(feature->getWriteCount(), 0u);
    EXPECT_EQ(&feature->getModule(), &feature->getState()->module);
}

TEST_P(AHandle, DoesNothingAtAllWhenThePresentValueIsSet) {
    auto const feature = make("Alpha", 5);
    int calls = 0;
    feature->addCallback([&](IFeature const&) { ++calls; });
    log::setChannelMask(setChannel, changes);
    test::LogCapture const capture;

    feature->set(5);
    EXPECT_EQ(calls, 1);  // the one at registration
    EXPECT_EQ(feature->getReadCount(), 0u);
    EXPECT_EQ(feature->getWriteCount(), 0u);
    EXPECT_THAT(capture.records(), IsEmpty());
}

TEST_P(AHandle, LogsCountsAndAnnouncesAChange) {
    auto const feature = make("Alpha", 5);
    std::vector<IFeature const*> seen;
    feature->addCallback([&](IFeature const& changed) { seen.push_back(&changed); });
    feature->addCallback([&](IFeature const& changed) { seen.push_back(&changed); });
    seen.clear();
    log::setChannelMask(setChannel, changes);
    test::LogCapture const capture;

    feature->set(3);
    ASSERT_EQ(capture.records().size(), 1u);
    auto const record = capture.records().front();
    EXPECT_EQ(record.message, "feature Alphachanged.  from: 5 to: 3");
    EXPECT_EQ(record.channel, "foundation::feature::set");
    EXPECT_EQ(record.severity, 16u);
    EXPECT_EQ(record.file, "foundation/feature/src/feature/IFeature");
    EXPECT_EQ(record.function, "void foundation::feature::IFeature::set(int)");
    EXPECT_EQ(record.line, 19);
    EXPECT_EQ(feature->getWriteCount(), 1u);
    EXPECT_EQ(feature->get(), 3);
    EXPECT_THAT(seen, ElementsAre(feature.get(), feature.get()));
}

TEST_P(AHandle, ShowsTheOldValueToALogSinkAndTheNewOneToACallback) {
    auto const feature = make("Alpha", 5);
    std::vector<std::string> steps;
    auto const note = [&](char const* who) {
        detail::State const& state = *feature->getState();
        steps.push_back(who + std::to_string(state.value) + " after " + std::to_string(state.writeCount) +
                        " writes");
    };
    feature->addCallback([&](IFeature const&) { note("callback: "); });
    steps.clear();
    log::setChannelMask(setChannel, changes);
    test::LogCapture const capture([&](test::Record const&) { note("sink: "); });

    feature->set(6);
    EXPECT_THAT(steps, ElementsAre("sink: 5 after 0 writes", "callback: 6 after 1 writes"));
}

TEST_P(AHandle, LogsNothingWhenItsSeverityIsOff) {
    auto const feature = make("Alpha", 5);
    log::setChannelMask(setChannel, ~changes);
    test::LogCapture const capture;
    feature->set(6);
    EXPECT_THAT(capture.records(), IsEmpty());
    EXPECT_EQ(feature->getWriteCount(), 1u);
}

TEST_P(AHandle, LogsNumbersWithoutGroupingWhateverTheHostsLocale) {
    test::GroupingLocale const locale;
    auto const feature = make("Alpha", -1234567);
    log::setChannelMask(setChannel, changes);
    test::LogCapture const capture;
    feature->set(2147483647);
    ASSERT_EQ(capture.records().size(), 1u);
    EXPECT_EQ(capture.records().front().message, "feature Alphachanged.  from: -1234567 to: 2147483647");
}

TEST_P(AHandle, KeepsValueAndCountWhenACallbackThrows) {
    auto const feature = make("Alpha", 0);
    bool mayThrow = false;
    int laterCalls = 0;
    feature->addCallback([&](IFeature const&) {
        if (mayThrow) throw std::runtime_error("watcher is unhappy");
    });
    feature->addCallback([&](IFeature const&) { ++laterCalls; });
    mayThrow = true;
    try {
        feature->set(4);
        FAIL() << "the exception was lost";
    } catch (std::runtime_error const& error) {
        EXPECT_STREQ(error.what(), "watcher is unhappy");
    }
    EXPECT_EQ(feature->get(), 4);
    EXPECT_EQ(feature->getWriteCount(), 1u);
    EXPECT_EQ(laterCalls, 1);
}

TEST_P(AHandle, CallsANewWatcherAtOnceAndThenOnEachChange) {
    auto const feature = make("Alpha", 5);
    std::vector<int> seen;
    auto const connection =
        feature->addCallback([&](IFeature const& changed) { seen.push_back(changed.get()); });
    EXPECT_TRUE(connection.connected());
    feature->set(6);
    feature->set(7);
    EXPECT_THAT(seen, ElementsAre(5, 6, 7));
    EXPECT_EQ(feature->getReadCount(), 3u);
}

TEST_P(AHandle, CallsItsWatchersOldestFirst) {
    auto const feature = make("Alpha", 0);
    std::vector<char> order;
    for (char const watcher : {'a', 'b', 'c'}) {
        feature->addCallback([&order, watcher](IFeature const&) { order.push_back(watcher); });
    }
    order.clear();
    feature->set(1);
    EXPECT_THAT(order, ElementsAre('a', 'b', 'c'));
}

TEST_P(AHandle, NoLongerCallsAWatcherThatDisconnected) {
    auto const feature = make("Alpha", 0);
    int calls = 0;
    auto const connection = feature->addCallback([&](IFeature const&) { ++calls; });
    connection.disconnect();
    feature->set(1);
    EXPECT_EQ(calls, 1);
}

TEST_P(AHandle, GoesOnCallingAWatcherWhoseConnectionWasLetGo) {
    auto const feature = make("Alpha", 0);
    int calls = 0;
    {
        auto const connection = feature->addCallback([&](IFeature const&) { ++calls; });
    }
    feature->set(1);
    EXPECT_EQ(calls, 2);
}

TEST_P(AHandle, KeepsAWatcherThatThrewWhenItWasAdded) {
    auto const feature = make("Alpha", 0);
    int calls = 0;
    auto const watcher = [&](IFeature const&) {
        if (++calls == 1) throw std::runtime_error("not yet");
    };
    EXPECT_THROW(feature->addCallback(watcher), std::runtime_error);
    feature->set(1);
    EXPECT_EQ(calls, 2);
}

TEST_P(AHandle, LetsAWatcherDisconnectItself) {
    auto const feature = make("Alpha", 0);
    boost::signals2::connection connection;
    int calls = 0;
    int laterCalls = 0;
    connection = feature->addCallback([&](IFeature const&) {
        ++calls;
        connection.disconnect();
    });
    feature->addCallback([&](IFeature const&) { ++laterCalls; });
    // The first call comes before there is a connection to end.
    feature->set(1);
    feature->set(2);
    EXPECT_EQ(calls, 2);
    EXPECT_EQ(laterCalls, 3);
}

TEST_P(AHandle, LetsAWatcherAddAnother) {
    auto const feature = make("Alpha", 0);
    std::vector<std::string> seen;
    bool isAdded = false;
    feature->addCallback([&](IFeature const& changed) {
        seen.push_back("first " + std::to_string(changed.get()));
        if (changed.get() != 1 || isAdded) return;
        isAdded = true;
        feature->addCallback(
            [&](IFeature const& again) { seen.push_back("second " + std::to_string(again.get())); });
    });
    feature->set(1);
    feature->set(2);
    EXPECT_THAT(seen, ElementsAre("first 0", "first 1", "second 1", "first 2", "second 2"));
}

TEST_P(AHandle, LetsAWatcherSetTheSameFeature) {
    auto const feature = make("Alpha", 0);
    std::vector<int> seen;
    auto const other = management::getFeature("Alpha");
    feature->addCallback([&](IFeature const& changed) {
        int const value = changed.get();
        seen.push_back(value);
        if (value > 0 && value < 3) other->set(value + 1);
    });
    feature->set(1);
    EXPECT_THAT(seen, ElementsAre(0, 1, 2, 3));
    EXPECT_EQ(feature->get(), 3);
    EXPECT_EQ(feature->getWriteCount(), 3u);
}

TEST_P(AHandle, LetsAWatcherRegisterAndLookUpFeatures) {
    auto const feature = make("Alpha", 0);
    std::optional<int> beta;
    feature->addCallback([&](IFeature const& changed) {
        if (!changed) return;
        registerBeta("Beta", 8);
        beta = management::getFeature("Beta")->get();
    });
    feature->set(1);
    EXPECT_EQ(beta, 8);
}

TEST_P(AHandle, SharesTheRecordWithEveryOtherHandle) {
    auto const first = make("Alpha", 5);
    auto const second = management::getFeature("Alpha");
    EXPECT_EQ(first->get(), 5);
    EXPECT_EQ(second->getReadCount(), 1u);
    second->set(6);
    EXPECT_EQ(first->get(), 6);
    EXPECT_EQ(first->getWriteCount(), 1u);
    EXPECT_EQ(first->getState(), second->getState());
}

TEST(AnEmptyCallback, IsNeitherConnectedNorLookedUp) {
    log::setChannelMask("foundation::feature::lookup", 2);
    test::LogCapture const capture;
    Feature<Scope::PROCESS> process("Nobody");
    Feature<Scope::ZOR> zor("Nobody");
    EXPECT_FALSE(process.addCallback({}).connected());
    EXPECT_FALSE(zor.addCallback(nullptr).connected());
    EXPECT_THAT(capture.records(), IsEmpty());
}

TEST(AHandleOfAPerInstanceFeature, ReadsTheValueOfTheCurrentEngineInstance) {
    auto const feature = makeBeta("Alpha", 5, Scope::ZOR);
    usm::EngineInstance first;
    usm::EngineInstance second;
    {
        usm::CurrentEngineInstance const current(first);
        feature->set(1);
    }
    {
        usm::CurrentEngineInstance const current(second);
        EXPECT_EQ(feature->get(), 5);
        feature->set(2);
        {
            usm::CurrentEngineInstance const inner(first);
            EXPECT_EQ(feature->get(), 1);
            EXPECT_EQ(feature->getWriteCount(), 1u);
        }
        EXPECT_EQ(feature->get(), 2);
    }
    EXPECT_EQ(feature->get(), 5);
}

TEST(AHandleOfAPerInstanceFeature, WatchesTheInstanceThatWasCurrent) {
    auto const feature = makeBeta("Alpha", 0, Scope::ZOR);
    usm::EngineInstance instance;
    int calls = 0;
    feature->addCallback([&](IFeature const&) { ++calls; });
    {
        usm::CurrentEngineInstance const current(instance);
        feature->set(1);
    }
    EXPECT_EQ(calls, 1);
    feature->set(1);
    EXPECT_EQ(calls, 2);
}

TEST(TheHandleInterface, IsAbstractAndConvertsToBoolImplicitly) {
    static_assert(std::is_abstract_v<IFeature>);
    static_assert(std::has_virtual_destructor_v<IFeature>);
    static_assert(std::is_convertible_v<IFeature const&, bool>);
    static_assert(std::is_same_v<decltype(std::declval<IFeature const&>().getReadCount()), std::size_t>);
    static_assert(std::is_same_v<decltype(std::declval<IFeature const&>().getModule()), std::string const&>);
    registerBeta("Alpha", 1);
    EXPECT_TRUE(Feature<0>("Alpha"));
}

}  // namespace
}  // namespace foundation::feature
