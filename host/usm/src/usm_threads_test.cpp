#include "usm_test_support.hpp"

#include <support/Latch.hpp>

#include <foundation/usm.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <set>
#include <thread>
#include <vector>

namespace foundation::usm {
namespace {

constexpr int threadCount = 4;

/// Runs `work(0)`, `work(1)`, ... each on a thread of its own, all let go at once.
void runTogether(std::function<void(int)> const& work, int count = threadCount) {
    foundation::test::Latch start(count);
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&start, &work, number] {
            start.arriveAndWait();
            work(number);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

TEST(ThreadsThatAskForSlots, AreGivenTheSameDenseNumbers) {
    std::vector<std::type_index> const types = manyTypes();
    std::vector<std::vector<std::size_t>> slots(threadCount, std::vector<std::size_t>(types.size()));
    runTogether([&](int number) {
        // Each thread starts elsewhere in the list.
        std::size_t const first = types.size() * static_cast<std::size_t>(number) / threadCount;
        for (std::size_t i = 0; i < types.size(); ++i) {
            std::size_t const at = (first + i) % types.size();
            slots[static_cast<std::size_t>(number)][at] = Zor::getNextID(types[at]);
        }
    });
    for (std::vector<std::size_t> const& ofThread : slots)
        EXPECT_EQ(ofThread, slots.front());
    std::set<std::size_t> const distinct(slots.front().begin(), slots.front().end());
    EXPECT_EQ(distinct.size(), types.size());
    EXPECT_EQ(*distinct.rbegin(), types.size() - 1);
}

TEST(ThreadsThatInsertIntoOneSlot, AllGetTheValueOfOneWinner) {
    {
        EngineInstance instance;
        std::vector<std::type_index> const types = manyTypes();
        for (std::type_index const type : types)
            Zor::getNextID(type);
        std::vector<std::vector<void*>> results(threadCount, std::vector<void*>(types.size()));
        std::vector<std::vector<bool>> won(threadCount, std::vector<bool>(types.size()));
        runTogether([&](int number) {
            CurrentEngineInstance const bound(instance);
            auto const thread = static_cast<std::size_t>(number);
            for (std::size_t slot = 0; slot < types.size(); ++slot) {
                Value value = makeValue<Counted>(number);
                void* const mine = value.get();
                results[thread][slot] = Zor::findOrInsert(slot, types[slot], std::move(value));
                won[thread][slot] = value == nullptr;
                EXPECT_EQ(won[thread][slot], results[thread][slot] == mine);
            }
        });
        for (std::size_t slot = 0; slot < types.size(); ++slot) {
            int winners = 0;
            for (std::size_t thread = 0; thread < threadCount; ++thread) {
                EXPECT_EQ(results[thread][slot], results[0][slot]);
                if (won[thread][slot]) ++winners;
            }
            EXPECT_EQ(winners, 1) << slot;
        }
        EXPECT_EQ(Counted::alive, static_cast<int>(types.size()));
    }
    EXPECT_EQ(Counted::alive, 0);
}

TEST(AThreadThatFinds, SeesWholeValuesWhileAnotherFillsManySlots) {
    EngineInstance instance;
    std::vector<std::type_index> const types = manyTypes();
    for (std::type_index const type : types)
        Zor::getNextID(type);
    std::atomic<bool> filled = false;
    runTogether([&](int number) {
        CurrentEngineInstance const bound(instance);
        if (number == 0) {
            for (std::size_t slot = 0; slot < types.size(); ++slot) {
                Zor::findOrInsert(slot, types[slot], makeValue<Counted>(static_cast<int>(slot)));
            }
            filled = true;
            return;
        }
        std::vector<void*> seen(types.size());
        for (bool last = false; !last;) {
            last = filled;
            for (std::size_t slot = 0; slot < types.size(); ++slot) {
                void* const found = Zor::find(slot, types[slot]);
                if (seen[slot] != nullptr) {
                    ASSERT_EQ(found, seen[slot]);
                }
                if (found != nullptr) {
                    ASSERT_EQ(static_cast<Counted*>(found)->number, static_cast<int>(slot));
                }
                seen[slot] = found;
            }
        }
        EXPECT_EQ(std::count(seen.begin(), seen.end(), nullptr), 0);
    });
}

TEST(Threads, EachHaveTheInstanceTheyBound) {
    std::vector<EngineInstance> instances(threadCount);
    std::size_t const slot = Zor::getNextID(typeid(Counted));
    runTogether([&](int number) {
        CurrentEngineInstance const bound(instances[static_cast<std::size_t>(number)]);
        EXPECT_EQ(Zor::find(slot, typeid(Counted)), nullptr);
        Zor::findOrInsert(slot, typeid(Counted), makeValue<Counted>(number));
        for (int i = 0; i < 1000; ++i) {
            ASSERT_EQ(static_cast<Counted*>(Zor::find(slot, typeid(Counted)))->number, number);
        }
    });
    EXPECT_EQ(Counted::alive, threadCount);
    EXPECT_EQ(Zor::find(slot, typeid(Counted)), nullptr);
}

TEST(Threads, ThatBoundNoneShareTheMainInstanceFromItsFirstUse) {
    std::size_t const slot = Zor::getNextID(typeid(Counted));
    std::vector<void*> results(threadCount);
    runTogether([&](int number) {
        results[static_cast<std::size_t>(number)] =
            Zor::findOrInsert(slot, typeid(Counted), makeValue<Counted>(number));
    });
    for (void* const result : results)
        EXPECT_EQ(result, results.front());
    EXPECT_EQ(Zor::find(slot, typeid(Counted)), results.front());
    EXPECT_EQ(Counted::alive, 1);
}

}  // namespace
}  // namespace foundation::usm
