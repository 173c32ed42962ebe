#include <foundation/feature/management.hpp>

#include <support/Latch.hpp>

#include <array>
#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>

#include <foundation/usm.hpp>

#include <gtest/gtest.h>

namespace foundation::feature {
namespace {

constexpr std::size_t threadCount = 8;

void registerBeta(Scope scope, std::string name, int defaultValue) {
    management::registerFeature(scope, std::move(name), defaultValue, "Beta", "", "", 0, "", "module");
}

/// Runs `work(thread number)` on `threadCount` threads that start together, and waits for them.
template <class Work>
void runTogether(Work const& work) {
    foundation::test::Latch start(threadCount);
    std::vector<std::jthread> threads;
    for (std::size_t thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([&, thread] {
            start.arriveAndWait();
            work(thread);
        });
    }
}

TEST(ThreadsAtOnce, LoseNoReadAndNoWrite) {
    registerBeta(Scope::PROCESS, "Alpha", 0);
    Feature<Scope::PROCESS> shared("Alpha");
    constexpr std::size_t rounds = 2000;
    runTogether([&](std::size_t thread) {
        Feature<Scope::PROCESS> own("Alpha");
        for (std::size_t round = 0; round < rounds; ++round) {
            (void)shared.get();
            (void)own.isActive();
            // Every thread writes values of its own, so each write is a change.
            own.set(static_cast<int>(1 + thread + threadCount * round));
        }
    });
    EXPECT_EQ(shared.getReadCount(), 2 * threadCount * rounds);
    EXPECT_EQ(shared.getWriteCount(), threadCount * rounds);
}

TEST(ThreadsAtOnce, RegisterOneNameOnce) {
    std::atomic<std::size_t> rejected = 0;
    runTogether([&](std::size_t thread) {
        try {
            management::registerFeature(
                Scope::PROCESS, "Alpha", 0, "Off", "", "", 0, "", "module " + std::to_string(thread));
        } catch (std::logic_error const&) {
            ++rejected;
        }
    });
    EXPECT_EQ(rejected, threadCount - 1);
    EXPECT_EQ(management::getAllFeatures().size(), 1u);
}

TEST(ThreadsAtOnce, ShareOneEngineInstanceWhoseTableGrows) {
    registerBeta(Scope::ZOR, "zor", 7);
    Feature<Scope::ZOR> const first("zor");
    detail::State const* const record = first.getState();
    constexpr std::size_t rounds = 300;
    runTogether([&](std::size_t thread) {
        for (std::size_t round = 0; round < rounds; ++round) {
            std::string const name = "zor " + std::to_string(thread) + " " + std::to_string(round);
            registerBeta(Scope::ZOR, name, static_cast<int>(round));
            EXPECT_EQ(management::getFeature(name)->get(), static_cast<int>(round));
            EXPECT_EQ(first.getState(), record);
        }
    });
    EXPECT_EQ(first.getDefaultValue(), 7);
    EXPECT_EQ(management::zor::getDataIndex("zor"), 0u);
    EXPECT_EQ(management::getAllFeatures().size(), 1 + threadCount * rounds);
}

TEST(ThreadsAtOnce, DoEverythingOnEngineInstancesOfTheirOwnAndShared) {
    registerBeta(Scope::PROCESS, "process", 0);
    registerBeta(Scope::ZOR, "zor", 0);
    std::array<usm::EngineInstance, 3> shared;
    constexpr int rounds = 100;
    runTogether([&](std::size_t thread) {
        usm::EngineInstance own;
        usm::CurrentEngineInstance const current(own);
        Feature<Scope::ZOR> const zor("zor");
        std::atomic<int> calls = 0;
        int expected = 0;
        for (int round = 0; round < rounds; ++round) {
            std::string const suffix = std::to_string(thread) + "-" + std::to_string(round);
            registerBeta(Scope::PROCESS, "Process" + suffix, round);
            registerBeta(Scope::ZOR, "Zor" + suffix, round);
            EXPECT_NE(management::getFeatureIgnoreCase("process" + suffix), nullptr);
            EXPECT_EQ(management::getFeature("Nobody" + suffix), nullptr);

            auto const process = management::getFeature("process");
            auto const connection = process->addCallback([&](IFeature const&) { ++calls; });
            process->set(static_cast<int>(thread) * rounds + round);
            connection.disconnect();

            // Nobody else has this thread's own instance, whatever goes on in the shared ones.
            EXPECT_EQ(zor.get(), expected);
            auto const ownZor = management::getFeature("zor");
            ownZor->set(++expected);
            EXPECT_EQ(zor.get(), expected);
            {
                usm::CurrentEngineInstance const inner(
                    shared[(thread + static_cast<std::size_t>(round)) % 3]);
                EXPECT_EQ(management::getFeature("Zor" + suffix)->get(), round);
                ScopedFeature const forced("zor", round);
                (void)zor.get();
            }
            if (round % 25 == 0) (void)management::getAllFeatures();
        }
        EXPECT_GE(calls, rounds);
    });
    EXPECT_EQ(management::getAllFeatures().size(), 2 + 2 * threadCount * rounds);
}

TEST(ThreadsAtOnce, WatchAndChangeOneFeature) {
    registerBeta(Scope::PROCESS, "Alpha", 0);
    std::atomic<std::size_t> calls = 0;
    Feature<Scope::PROCESS> kept("Alpha");
    kept.addCallback([&](IFeature const&) { ++calls; });
    constexpr std::size_t rounds = 300;
    runTogether([&](std::size_t thread) {
        Feature<Scope::PROCESS> alpha("Alpha");
        for (std::size_t round = 0; round < rounds; ++round) {
            auto const connection = alpha.addCallback([](IFeature const& changed) { (void)changed.get(); });
            alpha.set(static_cast<int>(1 + thread + threadCount * round));
            connection.disconnect();
        }
    });
    EXPECT_EQ(calls, 1 + threadCount * rounds);
    EXPECT_EQ(kept.getState()->signal.num_slots(), 1u);
}

}  // namespace
}  // namespace foundation::feature
