#include "usm_test_memory.hpp"
#include "usm_test_support.hpp"

#include <foundation/usm.hpp>

#include <gtest/gtest.h>

#include <new>

namespace foundation::usm {
namespace {

/// Runs `action` with 0, 1, 2, ... allocations until it has enough, and `check` after each failure.
/// @return  How many times it failed.
template <class Action, class Check>
int failUntilMemorySuffices(Action const& action, Check const& check) {
    for (int failures = 0;; ++failures) {
        try {
            limitAllocations(failures);
            action();
            limitAllocations(-1);
            return failures;
        } catch (std::bad_alloc const&) {
            limitAllocations(-1);
            check();
        }
    }
}

TEST(WhenMemoryRunsOut, AnInsertionLeavesTheValueToItsCallerAndTheSlotEmpty) {
    EngineInstance instance;
    CurrentEngineInstance const bound(instance);
    std::size_t const slot = Zor::getNextID(typeid(Counted));
    Value value = makeValue<Counted>(7);
    void* const object = value.get();
    int const failures =
        failUntilMemorySuffices([&] { Zor::findOrInsert(slot, typeid(Counted), std::move(value)); },
                                [&] {
                                    EXPECT_EQ(value.get(), object);
                                    EXPECT_EQ(Zor::find(slot, typeid(Counted)), nullptr);
                                });
    EXPECT_GT(failures, 0);
    EXPECT_EQ(value, nullptr);
    EXPECT_EQ(Zor::find(slot, typeid(Counted)), object);
}

TEST(WhenMemoryRunsOut, ATypeGetsNoSlotAndTheNextOneTakesItsNumber) {
    EXPECT_EQ(Zor::getNextID(typeid(char)), 0u);
    int const failures = failUntilMemorySuffices([] { EXPECT_EQ(Zor::getNextID(typeid(int)), 1u); }, [] {});
    EXPECT_GT(failures, 0);
    EXPECT_EQ(Zor::getNextID(typeid(double)), 2u);
}

TEST(WhenMemoryRunsOut, TheMainInstanceIsMadeByALaterUse) {
    int const failures = failUntilMemorySuffices([] { Zor::find(0, typeid(int)); }, [] {});
    EXPECT_GT(failures, 0);
    EXPECT_EQ(Zor::find(0, typeid(int)), nullptr);
}

}  // namespace
}  // namespace foundation::usm
