#include <foundation/feature/ScopedFeature.hpp>

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LogCapture.hpp"

namespace foundation::feature {
namespace {

using testing::IsEmpty;

std::unique_ptr<IFeature> makeBeta(std::string const& name, int defaultValue, Scope scope = Scope::PROCESS) {
    management::registerFeature(scope, name, defaultValue, "Beta", "", "", 0, "", "module");
    return management::getFeature(name);
}

/// The changes logged since it was made.
class Changes {
public:
    Changes() { log::setChannelMask("foundation::feature::set", 16); }

    std::vector<std::string> texts() const {
        std::vector<std::string> texts;
        for (auto const& record : capture_.records())
            texts.push_back(record.message);
        return texts;
    }

private:
    test::LogCapture capture_;
};

TEST(AScopedFeature, GivesTheValueWithinItsScopeAndTheEarlierOneAfterwards) {
    auto const alpha = makeBeta("Alpha", 0);
    Changes const changes;
    {
        ScopedFeature const forced("Alpha", 1);
        EXPECT_EQ(alpha->get(), 1);
        EXPECT_EQ(alpha->getReadCount(), 2u);  // the override's own read, and this one
    }
    EXPECT_EQ(alpha->get(), 0);
    EXPECT_EQ(alpha->getWriteCount(), 2u);
    EXPECT_THAT(
        changes.texts(),
        testing::ElementsAre("feature Alphachanged.  from: 0 to: 1", "feature Alphachanged.  from: 1 to: 0"));
}

TEST(AScopedFeature, AnnouncesBothEnds) {
    auto const alpha = makeBeta("Alpha", 0);
    std::vector<int> seen;
    alpha->addCallback([&](IFeature const& changed) { seen.push_back(changed.get()); });
    { ScopedFeature const forced("Alpha", 1); }
    EXPECT_THAT(seen, testing::ElementsAre(0, 1, 0));
}

TEST(AScopedFeature, DoesNothingWhenTheValueIsThereAlready) {
    auto const alpha = makeBeta("Alpha", 3);
    int calls = 0;
    alpha->addCallback([&](IFeature const&) { ++calls; });
    Changes const changes;
    { ScopedFeature const forced("Alpha", 3); }
    EXPECT_EQ(alpha->getWriteCount(), 0u);
    EXPECT_EQ(calls, 1);
    EXPECT_THAT(changes.texts(), IsEmpty());
}

TEST(AScopedFeature, RestoresWhatOthersChangedMeanwhile) {
    auto const alpha = makeBeta("Alpha", 3);
    {
        ScopedFeature const forced("Alpha", 3);
        alpha->set(9);
    }
    EXPECT_EQ(alpha->get(), 3);
    EXPECT_EQ(alpha->getWriteCount(), 2u);
}

TEST(AScopedFeature, DoesNothingForANameThatNobodyRegistered) {
    Changes const changes;
    { ScopedFeature const forced("Nobody", 1); }
    EXPECT_EQ(management::getFeature("Nobody"), nullptr);
    EXPECT_THAT(changes.texts(), IsEmpty());
}

TEST(AScopedFeature, DoesNothingForANullHandle) {
    Changes const changes;
    { ScopedFeature const forced(std::unique_ptr<IFeature>(), 1); }
    EXPECT_THAT(changes.texts(), IsEmpty());
}

TEST(AScopedFeature, TakesTheHandleThatItIsGiven) {
    auto const alpha = makeBeta("Alpha", 0);
    auto given = management::getFeature("Alpha");
    IFeature const* const address = given.get();
    IFeature const* announcedBy = nullptr;
    alpha->addCallback([&](IFeature const& changed) { announcedBy = &changed; });
    {
        ScopedFeature const forced(std::move(given), 1);
        EXPECT_EQ(announcedBy, address);
        EXPECT_EQ(alpha->get(), 1);
    }
    EXPECT_EQ(alpha->get(), 0);
}

TEST(AScopedFeature, WorksOnACopyOfATypedHandle) {
    auto const alpha = makeBeta("Alpha", 0);
    auto const beta = makeBeta("Beta", 0, Scope::ZOR);
    Feature<Scope::PROCESS> const process("Alpha");
    Feature<Scope::ZOR> const zor("Beta");
    {
        ScopedFeature const forcedAlpha(process, 1);
        ScopedFeature const forcedBeta(zor, 2);
        EXPECT_EQ(alpha->get(), 1);
        EXPECT_EQ(beta->get(), 2);
    }
    EXPECT_EQ(alpha->get(), 0);
    EXPECT_EQ(beta->get(), 0);
}

TEST(AScopedFeature, CopiesWhatATypedHandleHasFoundOut) {
    auto const alpha = makeBeta("Alpha", 0);
    Feature<Scope::PROCESS> const process("Alpha");
    EXPECT_EQ(process.get(), 0);
    log::setChannelMask("foundation::feature::lookup", 2);
    test::LogCapture const lookups;
    { ScopedFeature const forced(process, 1); }
    EXPECT_THAT(lookups.records(), IsEmpty());
    EXPECT_EQ(alpha->getWriteCount(), 2u);
}

TEST(AScopedFeature, OverridesTheCurrentEngineInstanceOnly) {
    auto const alpha = makeBeta("Alpha", 0, Scope::ZOR);
    usm::EngineInstance instance;
    {
        usm::CurrentEngineInstance const current(instance);
        ScopedFeature const forced("Alpha", 1);
        EXPECT_EQ(alpha->get(), 1);
        usm::EngineInstance other;
        usm::CurrentEngineInstance const inner(other);
        EXPECT_EQ(alpha->get(), 0);
    }
    usm::CurrentEngineInstance const current(instance);
    EXPECT_EQ(alpha->get(), 0);
    EXPECT_EQ(alpha->getWriteCount(), 2u);
}

TEST(AScopedFeature, RestoresOnceWhenItWasMoved) {
    auto const alpha = makeBeta("Alpha", 0);
    {
        std::optional<ScopedFeature> source(std::in_place, "Alpha", 1);
        ScopedFeature const destination(std::move(*source));
        source.reset();
        EXPECT_EQ(alpha->get(), 1);
    }
    EXPECT_EQ(alpha->get(), 0);
    EXPECT_EQ(alpha->getWriteCount(), 2u);
}

TEST(AScopedFeature, LeavesItsOverrideInForceWhenAnotherIsAssignedToIt) {
    auto const alpha = makeBeta("Alpha", 0);
    auto const beta = makeBeta("Beta", 0);
    {
        ScopedFeature target("Alpha", 1);
        {
            ScopedFeature source("Beta", 2);
            target = std::move(source);
        }
        EXPECT_EQ(alpha->get(), 1);
        EXPECT_EQ(beta->get(), 2);
    }
    EXPECT_EQ(alpha->get(), 1);
    EXPECT_EQ(beta->get(), 0);
    EXPECT_EQ(alpha->getWriteCount(), 1u);
}

TEST(AScopedFeature, KeepsItsOverrideWhenAssignedToItself) {
    auto const alpha = makeBeta("Alpha", 5);
    {
        ScopedFeature forced("Alpha", 1);
        ScopedFeature& same = forced;
        forced = std::move(same);
        EXPECT_EQ(alpha->get(), 1);
    }
    EXPECT_EQ(alpha->get(), 5);
}

TEST(AScopedFeature, BecomesInertWhenAnInertOneIsAssigned) {
    auto const alpha = makeBeta("Alpha", 0);
    {
        ScopedFeature target("Alpha", 1);
        target = ScopedFeature("Nobody", 7);
    }
    EXPECT_EQ(alpha->get(), 1);
}

TEST(NestedScopedFeatures, UnwindInReverseOrder) {
    auto const alpha = makeBeta("Alpha", 0);
    {
        ScopedFeature const outer("Alpha", 1);
        {
            ScopedFeature const inner("Alpha", 2);
            EXPECT_EQ(alpha->get(), 2);
        }
        EXPECT_EQ(alpha->get(), 1);
    }
    EXPECT_EQ(alpha->get(), 0);
}

TEST(NestedScopedFeatures, LeaveTheOuterValueWhenEndedInOrderOfConstruction) {
    auto const alpha = makeBeta("Alpha", 0);
    std::optional<ScopedFeature> outer(std::in_place, "Alpha", 1);
    std::optional<ScopedFeature> inner(std::in_place, "Alpha", 2);
    outer.reset();
    EXPECT_EQ(alpha->get(), 0);
    inner.reset();
    EXPECT_EQ(alpha->get(), 1);
}

TEST(AScopedFeatureWhoseWatcherThrows, LetsTheExceptionOutOfItsConstructorAndRestoresNothing) {
    auto const alpha = makeBeta("Alpha", 0);
    alpha->addCallback([](IFeature const& changed) {
        if (changed) throw std::runtime_error("watcher is unhappy");
    });
    EXPECT_THAT([] { ScopedFeature("Alpha", 1); },
                testing::ThrowsMessage<std::runtime_error>("watcher is unhappy"));
    EXPECT_EQ(alpha->get(), 1);
    EXPECT_EQ(alpha->getWriteCount(), 1u);
}

TEST(AScopedFeatureDeathTest, EndsTheProcessWhenAWatcherThrowsDuringTheRestore) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto const alpha = makeBeta("Alpha", 1);
    EXPECT_DEATH(
        {
            ScopedFeature const forced("Alpha", 0);
            alpha->addCallback([](IFeature const& changed) {
                if (changed) throw std::runtime_error("watcher is unhappy");
            });
        },
        "watcher is unhappy");
}

TEST(AScopedFeature, MovesButDoesNotCopy) {
    static_assert(!std::is_copy_constructible_v<ScopedFeature> && !std::is_copy_assignable_v<ScopedFeature>);
    static_assert(std::is_nothrow_move_constructible_v<ScopedFeature>);
    static_assert(std::is_nothrow_move_assignable_v<ScopedFeature>);
    static_assert(std::is_constructible_v<ScopedFeature, std::string, int>);
    static_assert(std::is_constructible_v<ScopedFeature, char const*, int>);
    auto const alpha = makeBeta("Alpha", 0);
    std::vector<ScopedFeature> forced;
    for (int value = 1; value < 9; ++value)
        forced.emplace_back("Alpha", value);
    EXPECT_EQ(alpha->get(), 8);
    while (!forced.empty())
        forced.pop_back();
    EXPECT_EQ(alpha->get(), 0);
}

}  // namespace
}  // namespace foundation::feature
