#include "DiscoveryTest.hpp"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>

#include <foundation/usm.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using Clock = std::chrono::steady_clock;

/// How long the threads run: FOUNDATION_STRESS_SECONDS, else two seconds.
std::chrono::milliseconds duration() {
    char const* const text = std::getenv("FOUNDATION_STRESS_SECONDS");
    std::chrono::seconds const given(text != nullptr ? std::strtol(text, nullptr, 10) : 0);
    return given.count() > 0 ? given : std::chrono::seconds(2);
}

constexpr int registrars = 3;
constexpr int writers = 3;
constexpr int namesOfEach = 2'000;
constexpr int disputedNames = 200;

std::string ownName(int registrar, int number) {
    return "Own " + std::to_string(registrar) + ' ' + std::to_string(number);
}

std::string disputedName(int number) {
    return "Disputed " + std::to_string(number);
}

/// The records of changes, counted by what the feature changed to.
class ChangeLog {
public:
    void note(Record const& record) {
        if (record.channel != "foundation::feature::set") return;
        int const value = std::stoi(record.message.substr(record.message.rfind(' ')));
        std::lock_guard const lock(mutex_);
        ++records_;
        repeated_ += values_.insert(value).second ? 0 : 1;
    }

    std::uint64_t records() const { return records_; }
    std::uint64_t repeated() const { return repeated_; }

private:
    std::mutex mutex_;  // Guards everything below while threads run.
    std::uint64_t records_ = 0;
    std::uint64_t repeated_ = 0;
    std::set<int> values_;
};

/// Everything that can be done at once, by threads that check what each can be sure of.
class Everything : public Discovery {
protected:
    Everything() : changes([this](Record const& record) { log.note(record); }) {
        log::setChannelMask(lookupChannel, 0);
        log::setChannelMask("foundation::feature::set", 16);
        declare({.name = "Shared", .module = "stress"});
        declare({.scope = Scope::ZOR, .name = "Zor", .defaultValue = 7, .module = "stress"});
    }

    bool isOver() const { return Clock::now() >= end; }

    /// Names of its own, whose fate it knows, and names that others want as well.
    void registerAll(int registrar) {
        for (int round = 0; !isOver(); ++round) {
            int const number = round % namesOfEach;
            Scope const scope = static_cast<Scope>(number % 2);
            std::string const name = ownName(registrar, number);
            declare({.scope = scope, .name = name, .defaultValue = number, .module = "stress"});
            known[static_cast<std::size_t>(registrar)] = std::min(round + 1, namesOfEach);
            EXPECT_EQ(getFeature(name)->getDefaultValue(), number);
            dispute(registrar, round % disputedNames);
        }
    }

    void dispute(int registrar, int number) {
        std::string const module = "m" + std::to_string(registrar);
        std::string const name = disputedName(number);
        try {
            declare({.name = name, .defaultValue = registrar, .module = module});
            owners[static_cast<std::size_t>(number)] |= 1u << registrar;
        } catch (std::logic_error const& error) {
            std::string const owner = getFeature(name)->getModule();
            EXPECT_NE(owner, module);
            EXPECT_EQ(error.what(),
                      "feature registered twice: " + name + ": modules: " + owner + " and " + module);
        }
    }

    /// Finds what must be there by every way; lists everything.
    void lookUp(int number) {
        for (int round = 0; !isOver(); ++round) {
            int const registrar = (number + round) % registrars;
            int const count = known[static_cast<std::size_t>(registrar)];
            if (count == 0) continue;
            std::string const name = ownName(registrar, round % count);
            EXPECT_TRUE(getFeature(name));
            std::string lower = name;
            lower[0] = 'o';
            EXPECT_EQ(getFeatureIgnoreCase(lower)->getName(), name);
            if (round % 2 == 0) {
                Feature<Scope::PROCESS> const fresh("Shared");
                EXPECT_NE(fresh.getState(), nullptr);
            }
            if (round % 64 == 0) {
                EXPECT_FALSE(getFeature("Missing"));
            }
            if (round % 256 == 0) {
                EXPECT_GE(getAllFeatures().size(), static_cast<std::size_t>(count));
            }
        }
    }

    /// Changes the shared feature, always to a value that nothing else has.
    void write(int writer) {
        Feature<Scope::PROCESS> own("Shared");
        for (int round = 0; !isOver(); ++round) {
            sharedHandle.set(1 + writer + writers * 2 * round);
            own.set(1 + writer + writers * (2 * round + 1));
            writes += 2;
            (void)own.get();
            (void)sharedHandle.isActive();
            reads += 2;
            std::this_thread::yield();
        }
    }

    void watch() {
        Feature<Scope::PROCESS> own("Shared");
        while (!isOver()) {
            int calls = 0;
            std::thread::id const self = std::this_thread::get_id();
            auto const watching = own.addCallback([&calls, self](IFeature const& changed) {
                if (std::this_thread::get_id() == self) ++calls;
                (void)changed.getName();
            });
            EXPECT_EQ(calls, 1);
            watching.disconnect();
            EXPECT_FALSE(watching.connected());
            // Whoever changes the feature may still be in the callback.
            forgotten.push_back(watching);
            if (forgotten.size() > 100) forgotten.clear();
        }
    }

    /// Engine instances that are born and die, and threads that do.
    void runEngines() {
        while (!isOver()) {
            usm::EngineInstance engine;
            std::array<std::thread, 2> threads;
            std::atomic<int> engineReads = 0;
            for (std::thread& thread : threads) {
                thread = std::thread([&] {
                    usm::CurrentEngineInstance const current(engine);
                    Feature<Scope::ZOR> const zor("Zor");
                    for (int round = 0; round < 20; ++round)
                        engineReads += zor.get() == 7 ? 1 : 0;
                });
            }
            for (std::thread& thread : threads)
                thread.join();
            EXPECT_EQ(engineReads, 40);
            usm::CurrentEngineInstance const current(engine);
            Feature<Scope::ZOR> zor("Zor");
            EXPECT_EQ(zor.getReadCount(), 40u);
            {
                usm::EngineInstance inner;
                usm::CurrentEngineInstance const innermost(inner);
                EXPECT_EQ(zor.get(), 7);
                EXPECT_EQ(zor.getReadCount(), 1u);
            }
        }
    }

    void changeMasks() {
        for (unsigned round = 0; !isOver(); ++round) {
            log::setChannelMask(registrationChannel, round % 2 == 0 ? 2 | 32 | 64 : 0);
            log::setChannelMask(lookupChannel, round % 3 == 0 ? 2 | 8 | 32 | 64 : 0);
            log::setChannelMask("foundation::feature::set", 16 | (round % 4));
            log::setChannelMask("*", round % 5 == 0 ? 512 : 0);
            changes.clear();
            capture.clear();
            std::this_thread::yield();
        }
    }

    void expectWholeRegistry() {
        std::set<std::string> expected = {"Shared", "Zor", "Listed", "Served"};
        for (int registrar = 0; registrar < registrars; ++registrar) {
            for (int number = 0; number < known[static_cast<std::size_t>(registrar)]; ++number)
                expected.insert(ownName(registrar, number));
        }
        for (int number = 0; number < disputedNames; ++number) {
            unsigned const owner = owners[static_cast<std::size_t>(number)];
            if (owner == 0) continue;
            EXPECT_EQ(owner & (owner - 1), 0u) << "two modules own " << number;
            EXPECT_EQ(getFeature(disputedName(number))->getModule(),
                      "m" + std::to_string(getFeature(disputedName(number))->getDefaultValue()));
            expected.insert(disputedName(number));
        }
        std::vector<std::string> const names = allNames();
        EXPECT_EQ(std::set<std::string>(names.begin(), names.end()), expected);
        EXPECT_EQ(names.size(), expected.size()) << "a name is listed twice";

        std::set<std::size_t> indices;
        for (auto const& feature : getAllFeatures()) {
            if (feature->getScope() == Scope::ZOR)
                indices.insert(zor::getDataIndex(std::string(feature->getName())));
        }
        EXPECT_EQ(*indices.rbegin(), indices.size() - 1) << "indices are not dense";
    }

    ChangeLog log;
    LogCapture changes;
    Clock::time_point end;
    Feature<Scope::PROCESS> sharedHandle{"Shared"};
    std::array<std::atomic<int>, registrars> known = {};
    std::array<std::atomic<unsigned>, disputedNames> owners = {};  // a bit for each module that may be one
    std::atomic<std::uint64_t> writes = 0;
    std::atomic<std::uint64_t> reads = 0;
    std::vector<boost::signals2::connection> forgotten;
};

TEST_F(Everything, AtOnceLosesNothingAndDoesNothingTwice) {
    addManifest("lists", qz("Listed"));
    addCode("first");
    std::atomic<int> served = 0;
    script->addFeatures["first"] = [&] {
        ++served;
        declare({.name = "Served"});
    };
    std::atomic<std::uint64_t> told = 0;
    auto const watching = sharedHandle.addCallback([&](IFeature const&) { ++told; });

    end = Clock::now() + duration();
    std::vector<std::jthread> threads;
    auto const start = [&](auto const& work) { threads.emplace_back(work); };
    for (int number = 0; number < 16; ++number) {
        start([number] { callers[static_cast<std::size_t>(number) % callers.size()].ask("Missing"); });
    }
    for (int number = 0; number < registrars; ++number)
        start([this, number] { registerAll(number); });
    for (int number = 0; number < writers; ++number)
        start([this, number] { write(number); });
    for (int number = 0; number < 2; ++number)
        start([this, number] { lookUp(number); });
    start([this] { watch(); });
    start([this] { runEngines(); });
    start([this] { changeMasks(); });
    start([this] {
        std::this_thread::sleep_until(end - duration() / 4);
        running.stop();  // While lookups ask its services.
    });
    threads.clear();

    EXPECT_EQ(served, 1);
    EXPECT_EQ(sharedHandle.getWriteCount(), writes);
    EXPECT_EQ(sharedHandle.getReadCount(), reads);
    EXPECT_EQ(told, writes + 1) << "once for each change, and when it began to watch";
    EXPECT_EQ(log.records(), writes);
    EXPECT_EQ(log.repeated(), 0u) << "a change was logged twice";
    expectWholeRegistry();
    RecordProperty("writes", std::to_string(writes));
    int registered = 0;
    for (auto const& count : known)
        registered += count;
    std::printf("%llu changes, %d registrations, %zu features\n",
                static_cast<unsigned long long>(writes.load()),
                registered,
                getAllFeatures().size());
}

}  // namespace
}  // namespace foundation::feature::management::test
