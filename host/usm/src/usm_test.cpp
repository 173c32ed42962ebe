#include "usm_test_module.hpp"
#include "usm_test_support.hpp"

#include <foundation/usm.hpp>

#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <iostream>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>

namespace foundation::usm {
namespace {

template <class Error>
std::string errorOf(std::function<void()> const& action) {
    try {
        action();
    } catch (Error const& error) {
        return typeid(error) == typeid(Error) ? error.what() : typeid(error).name();
    }
    return "no error";
}

std::size_t countedSlot() {
    return Zor::getNextID(typeid(Counted));
}

void* findCounted() {
    return Zor::find(countedSlot(), typeid(Counted));
}

Counted& insertCounted(int number) {
    Value value = makeValue<Counted>(number);
    return *static_cast<Counted*>(Zor::findOrInsert(countedSlot(), typeid(Counted), std::move(value)));
}

TEST(ASlotNumber, IsDenseAndTheSameWheneverItsTypeAsksAgain) {
    EXPECT_EQ(Zor::getNextID(typeid(int)), 0u);
    EXPECT_EQ(Zor::getNextID(typeid(double)), 1u);
    EXPECT_EQ(Zor::getNextID(typeid(int)), 0u);
    EXPECT_EQ(Zor::getNextID(typeid(Counted)), 2u);
    EXPECT_EQ(Zor::getNextID(typeid(double)), 1u);
}

TEST(ASlotNumber, IsTheSameInEveryModule) {
    EXPECT_EQ(Zor::getNextID(typeid(int)), 0u);
    EXPECT_EQ(slotInOtherModule(), 1u);
    EXPECT_EQ(Zor::getNextID(typeid(Shared)), 1u);
}

TEST(AnEmptySlot, IsFoundAsNull) {
    EXPECT_EQ(Zor::find(countedSlot(), typeid(Counted)), nullptr);
    EngineInstance instance;
    CurrentEngineInstance const bound(instance);
    EXPECT_EQ(Zor::find(countedSlot(), typeid(Counted)), nullptr);
}

TEST(ASlotThatWasNeverGivenOut, IsFoundAsNullAndNotFilled) {
    constexpr std::size_t last = std::numeric_limits<std::size_t>::max();
    for (std::size_t const slot : {std::size_t{0},
                                   std::size_t{15},
                                   std::size_t{16},
                                   std::size_t{1000},
                                   last / 2,
                                   last - 16,
                                   last - 15,
                                   last}) {
        SCOPED_TRACE(slot);
        EXPECT_EQ(Zor::find(slot, typeid(Counted)), nullptr);
        Value value = makeValue<Counted>(7);
        EXPECT_EQ(
            errorOf<std::out_of_range>([&] { Zor::findOrInsert(slot, typeid(Counted), std::move(value)); }),
            "per-instance slot " + std::to_string(slot) + " was never given out");
        ASSERT_NE(value, nullptr);
        EXPECT_EQ(static_cast<Counted*>(value.get())->number, 7);
        EXPECT_EQ(Zor::find(slot, typeid(Counted)), nullptr);
    }
}

TEST(AValue, IsTakenByAnEmptySlot) {
    Value value = makeValue<Counted>(7);
    void* const object = value.get();
    EXPECT_EQ(Zor::findOrInsert(countedSlot(), typeid(Counted), std::move(value)), object);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(findCounted(), object);
}

TEST(AValue, IsLeftToTheCallerByAFullSlot) {
    Counted& first = insertCounted(1);
    Value value = makeValue<Counted>(2);
    void* const object = value.get();
    EXPECT_EQ(Zor::findOrInsert(countedSlot(), typeid(Counted), std::move(value)), &first);
    EXPECT_EQ(value.get(), object);
    EXPECT_EQ(first.number, 1);
    value.reset();
    EXPECT_EQ(Counted::alive, 1);
}

TEST(AValue, ThatIsNullIsRefused) {
    std::size_t const slot = countedSlot();
    auto const insertNull = [&] { Zor::findOrInsert(slot, typeid(Counted), Value(nullptr, [](void*) {})); };
    EXPECT_EQ(errorOf<std::invalid_argument>(insertNull), "per-instance slot 0: the value must not be null");
    EXPECT_EQ(findCounted(), nullptr);
    Counted& held = insertCounted(1);
    EXPECT_EQ(errorOf<std::invalid_argument>(insertNull), "per-instance slot 0: the value must not be null");
    EXPECT_EQ(findCounted(), &held);
}

TEST(AValue, OfAnotherTypeThanAskedForIsReported) {
    Counted& held = insertCounted(1);
    std::string const text =
        "per-instance slot 0 holds a value of type \"foundation::usm::Counted\", not \"double\"";
    EXPECT_EQ(errorOf<std::logic_error>([] { Zor::find(0, typeid(double)); }), text);
    Value value = makeValue<double>(2.5);
    EXPECT_EQ(errorOf<std::logic_error>([&] { Zor::findOrInsert(0, typeid(double), std::move(value)); }),
              text);
    ASSERT_NE(value, nullptr);
    EXPECT_EQ(*static_cast<double*>(value.get()), 2.5);
    EXPECT_EQ(findCounted(), &held);
}

TEST(AValue, StaysWhereItIsWhileOtherSlotsAreFilled) {
    EngineInstance instance;
    CurrentEngineInstance const bound(instance);
    std::vector<void*> objects;
    for (std::type_index const type : manyTypes()) {
        objects.push_back(Zor::findOrInsert(Zor::getNextID(type), type, makeValue<Counted>()));
        ASSERT_NE(objects.back(), nullptr);
    }
    std::size_t slot = 0;
    for (std::type_index const type : manyTypes()) {
        EXPECT_EQ(Zor::find(slot, type), objects[slot]);
        ++slot;
    }
}

TEST(AValue, IsSeenByEveryModule) {
    EXPECT_EQ(findInOtherModule(), nullptr);
    std::size_t const slot = Zor::getNextID(typeid(Shared));
    void* const ofMain = Zor::findOrInsert(slot, typeid(Shared), makeValue<Shared>(1));
    EXPECT_EQ(findInOtherModule(), ofMain);
    EngineInstance instance;
    CurrentEngineInstance const bound(instance);
    EXPECT_EQ(findInOtherModule(), nullptr);
    void* const ofInstance = Zor::findOrInsert(slot, typeid(Shared), makeValue<Shared>(2));
    EXPECT_EQ(findInOtherModule(), ofInstance);
}

TEST(AnEngineInstance, StaysWhereItWasMade) {
    static_assert(!std::is_copy_constructible_v<EngineInstance> &&
                  !std::is_copy_assignable_v<EngineInstance>);
    static_assert(!std::is_move_constructible_v<EngineInstance> &&
                  !std::is_move_assignable_v<EngineInstance>);
    static_assert(!std::is_convertible_v<EngineInstance&, CurrentEngineInstance>);
}

TEST(AnEngineInstance, HasValuesOfItsOwn) {
    EngineInstance first;
    EngineInstance second;
    Counted& ofMain = insertCounted(0);
    {
        CurrentEngineInstance const bound(first);
        EXPECT_EQ(findCounted(), nullptr);
        EXPECT_EQ(insertCounted(1).number, 1);
    }
    {
        CurrentEngineInstance const bound(second);
        EXPECT_EQ(findCounted(), nullptr);
        EXPECT_EQ(insertCounted(2).number, 2);
    }
    EXPECT_EQ(findCounted(), &ofMain);
    CurrentEngineInstance const bound(first);
    EXPECT_EQ(static_cast<Counted*>(findCounted())->number, 1);
}

TEST(AnEngineInstance, IsCurrentUntilTheInnermostBindingEnds) {
    EngineInstance outer;
    EngineInstance inner;
    insertCounted(0);
    auto const currentNumber = [] { return static_cast<Counted*>(findCounted())->number; };
    {
        CurrentEngineInstance const boundOuter(outer);
        insertCounted(1);
        {
            CurrentEngineInstance const boundInner(inner);
            insertCounted(2);
            {
                CurrentEngineInstance const outerAgain(outer);
                EXPECT_EQ(currentNumber(), 1);
            }
            EXPECT_EQ(currentNumber(), 2);
        }
        EXPECT_EQ(currentNumber(), 1);
    }
    EXPECT_EQ(currentNumber(), 0);
}

TEST(AnEngineInstance, IsCurrentUntilAnExceptionLeavesItsScope) {
    EngineInstance instance;
    EXPECT_THROW(
        {
            CurrentEngineInstance const bound(instance);
            insertCounted(1);
            throw std::runtime_error("left");
        },
        std::runtime_error);
    EXPECT_EQ(findCounted(), nullptr);
}

TEST(AnEngineInstance, DestroysItsValuesWithItself) {
    {
        EngineInstance instance;
        CurrentEngineInstance const bound(instance);
        for (std::type_index const type : manyTypes()) {
            Zor::findOrInsert(Zor::getNextID(type), type, makeValue<Counted>());
        }
        EXPECT_EQ(Counted::alive, 500);
    }
    EXPECT_EQ(Counted::alive, 0);
}

/// Writes down, when it is destroyed, its number and which slots the instance still fills.
struct Witness {
    ~Witness() {
        std::optional<CurrentEngineInstance> bound;
        if (instance != nullptr) bound.emplace(*instance);
        *log += std::to_string(number) + ":";
        std::size_t slot = 0;
        for (std::type_index const type : {std::type_index(typeid(Numbered<0>)),
                                           std::type_index(typeid(Numbered<1>)),
                                           std::type_index(typeid(Numbered<2>))}) {
            *log += Zor::find(slot++, type) == nullptr ? "-" : "x";
        }
        *log += " ";
    }

    int number;
    std::string* log;
    EngineInstance* instance;
};

TEST(AnEngineInstance, DestroysTheLatestValueFirstWhileTheEarlierOnesAreStillFound) {
    std::string log;
    {
        EngineInstance instance;
        CurrentEngineInstance const bound(instance);
        std::vector<std::type_index> const types = {
            typeid(Numbered<0>), typeid(Numbered<1>), typeid(Numbered<2>)};
        for (std::type_index const type : types)
            Zor::getNextID(type);
        for (int const number : {1, 0, 2}) {
            auto const slot = static_cast<std::size_t>(number);
            Zor::findOrInsert(slot, types[slot], makeValue<Witness>(number, &log, &instance));
        }
    }
    EXPECT_EQ(log, "2:xx- 0:-x- 1:--- ");
}

TEST(TheMainInstance, IsUsedByAThreadThatBoundNone) {
    Counted& held = insertCounted(1);
    void* seen = nullptr;
    std::thread([&seen] { seen = findCounted(); }).join();
    EXPECT_EQ(seen, &held);
}

TEST(TheMainInstance, IsNotReplacedByWhatAnotherThreadBinds) {
    EngineInstance instance;
    CurrentEngineInstance const bound(instance);
    insertCounted(1);
    void* seen = &instance;
    std::thread([&seen] { seen = findCounted(); }).join();
    EXPECT_EQ(seen, nullptr);
}

TEST(TheMainInstanceDeathTest, IsThereUntilTheProcessHasEnded) {
    auto const fillAndExit = [] {
        // Before the instance is made, so run after whatever its making has registered.
        std::atexit([] {
            std::cerr << "found " << static_cast<Counted*>(Zor::find(countedSlot(), typeid(Counted)))->number;
        });
        Zor::findOrInsert(countedSlot(), typeid(Counted), Value(new Counted(7), [](void* stored) {
                              std::cerr << "destroyed";
                              delete static_cast<Counted*>(stored);
                          }));
        std::exit(0);
    };
    EXPECT_EXIT(fillAndExit(), testing::ExitedWithCode(0), "^found 7$");
}

}  // namespace
}  // namespace foundation::usm
