#include <foundation/feature/State.hpp>

#include <type_traits>
#include <vector>

#include <foundation/feature/Feature.hpp>

#include <gtest/gtest.h>

namespace foundation::feature {
namespace {

using detail::State;

// A handle to fire records with; nothing looks its name up.
Feature<Scope::PROCESS> const anyHandle("Any");

State makeState(int defaultValue, std::function<void(IFeature const&)> callback = {}) {
    return State(defaultValue, std::move(callback), "component", "module", "Beta", "client", "file.cpp", 12);
}

void expectTexts(State const& state) {
    EXPECT_EQ(state.component, "component");
    EXPECT_EQ(state.module, "module");
    EXPECT_EQ(state.fctrlState, "Beta");
    EXPECT_EQ(state.clientDir, "client");
    EXPECT_EQ(state.filename, "file.cpp");
    EXPECT_EQ(state.line, 12);
}

TEST(AStateRecord, StartsWithItsDefaultAndUncounted) {
    State const state = makeState(7);
    EXPECT_EQ(state.value, 7);
    EXPECT_EQ(state.defaultValue, 7);
    EXPECT_EQ(state.readCount, 0u);
    EXPECT_EQ(state.writeCount, 0u);
    expectTexts(state);
}

TEST(AStateRecord, HasTheSignalAndTheCountersOfTheInterface) {
    static_assert(
        std::is_same_v<
            decltype(State::signal),
            boost::signals2::signal<void(IFeature const&),
                                    boost::signals2::optional_last_value<void>,
                                    int,
                                    std::less<int>,
                                    std::function<void(IFeature const&)>,
                                    std::function<void(boost::signals2::connection const&, IFeature const&)>,
                                    boost::signals2::mutex>>);
    static_assert(std::is_same_v<decltype(State::value), std::atomic<std::int32_t>>);
    static_assert(std::is_same_v<decltype(State::readCount), std::atomic<std::uint64_t>>);
    static_assert(std::is_same_v<decltype(State::writeCount), std::atomic<std::uint64_t>>);
    static_assert(!std::is_polymorphic_v<State>);
    static_assert(std::is_copy_constructible_v<State> && std::is_move_constructible_v<State>);
    EXPECT_TRUE(makeState(0).signal.empty());
}

TEST(AStateRecord, MadeWithAnEmptyCallbackIsUnwatched) {
    EXPECT_EQ(makeState(0, {}).signal.num_slots(), 0u);
}

TEST(AStateRecord, MadeWithACallbackIsWatchedByItButDoesNotCallItYet) {
    int calls = 0;
    State state = makeState(0, [&](IFeature const&) { ++calls; });
    EXPECT_EQ(state.signal.num_slots(), 1u);
    EXPECT_EQ(calls, 0);
    state.signal(anyHandle);
    EXPECT_EQ(calls, 1);
}

TEST(AStateRecord, CallsTheCallbackItWasMadeWithBeforeEveryLaterOne) {
    std::vector<int> order;
    State state = makeState(0, [&](IFeature const&) { order.push_back(1); });
    state.signal.connect([&](IFeature const&) { order.push_back(2); });
    state.signal.connect([&](IFeature const&) { order.push_back(3); });
    state.signal(anyHandle);
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3}));
}

TEST(AStateRecord, IsCopiedWithItsNumbersAndTextsButUnwatched) {
    int calls = 0;
    State original = makeState(7, [&](IFeature const&) { ++calls; });
    original.value = 9;
    original.readCount = 3;
    original.writeCount = 2;

    State copy(original);
    EXPECT_EQ(copy.defaultValue, 7);
    EXPECT_EQ(copy.value, 9);
    EXPECT_EQ(copy.readCount, 3u);
    EXPECT_EQ(copy.writeCount, 2u);
    expectTexts(copy);
    EXPECT_EQ(copy.signal.num_slots(), 0u);
    copy.signal(anyHandle);
    EXPECT_EQ(calls, 0);
    original.signal(anyHandle);
    EXPECT_EQ(calls, 1);
}

TEST(AStateRecord, CarriesItsWatchersAlongWhenMoved) {
    int calls = 0;
    State original = makeState(7);
    boost::signals2::connection const connection = original.signal.connect([&](IFeature const&) { ++calls; });
    original.value = 9;
    original.readCount = 3;
    original.writeCount = 2;

    State moved(std::move(original));
    EXPECT_EQ(moved.defaultValue, 7);
    EXPECT_EQ(moved.value, 9);
    EXPECT_EQ(moved.readCount, 3u);
    EXPECT_EQ(moved.writeCount, 2u);
    expectTexts(moved);
    moved.signal(anyHandle);
    EXPECT_EQ(calls, 1);
    EXPECT_TRUE(connection.connected());
}

TEST(AStateRecord, KeepsItsConstantTextsWhenMovedFrom) {
    State original = makeState(7);
    State const moved(std::move(original));
    expectTexts(original);  // NOLINT(bugprone-use-after-move): the texts are constant, so they stay
    expectTexts(moved);
}

TEST(AStateRecord, LeavesItsConnectionsNotConnectedWhenItEnds) {
    boost::signals2::connection connection;
    {
        State state = makeState(0);
        connection = state.signal.connect([](IFeature const&) {});
        EXPECT_TRUE(connection.connected());
    }
    EXPECT_FALSE(connection.connected());
}

TEST(AStateRecord, MovesTheTextsOfItsConstructor) {
    std::string component(1000, 'c');
    char const* const text = component.data();
    State const state(0, {}, std::move(component), "", "", "", "", 0);
    EXPECT_EQ(state.component.data(), text);
}

}  // namespace
}  // namespace foundation::feature
