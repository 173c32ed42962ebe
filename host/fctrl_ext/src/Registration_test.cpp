#include <foundation/fctrl_ext/Registration.hpp>

#include <support/Latch.hpp>

#include <atomic>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

#include <gtest/gtest.h>

namespace foundation::fctrl_ext {
namespace {

/// Counts the runs and does in each what the test says.
class Counted final : public Registration {
public:
    explicit Counted(std::function<void(int)> work = {}) : work_(std::move(work)) {}

    int runs() const { return runs_; }

protected:
    void addFeatures() override {
        int const run = ++runs_;
        if (work_) work_(run);
    }

private:
    std::function<void(int)> work_;
    std::atomic<int> runs_ = 0;
};

TEST(ARegistration, AddsItsFeaturesOnTheFirstCallOnly) {
    Counted registration;
    EXPECT_EQ(registration.runs(), 0);
    registration.addFeaturesOnce();
    registration.addFeaturesOnce();
    EXPECT_EQ(registration.runs(), 1);
    std::jthread([&] { registration.addFeaturesOnce(); }).join();
    EXPECT_EQ(registration.runs(), 1) << "whichever thread made that call";
}

TEST(ARegistration, IsTriedAgainAfterAFailure) {
    Counted registration([](int run) {
        if (run < 3) throw std::runtime_error("failure " + std::to_string(run));
    });
    for (char const* const text : {"failure 1", "failure 2"}) {
        try {
            registration.addFeaturesOnce();
            FAIL() << "the failure must reach the caller";
        } catch (std::runtime_error const& error) {
            EXPECT_STREQ(error.what(), text);
        }
    }
    registration.addFeaturesOnce();
    registration.addFeaturesOnce();
    EXPECT_EQ(registration.runs(), 3);
}

TEST(ARegistration, PassesOnWhatIsNoStandardException) {
    Counted registration([](int run) {
        if (run == 1) throw 7;
    });
    EXPECT_THROW(registration.addFeaturesOnce(), int);
    EXPECT_NO_THROW(registration.addFeaturesOnce());
    EXPECT_EQ(registration.runs(), 2);
}

TEST(ARegistration, ReturnsAtOnceToItsOwnWork) {
    Counted* self = nullptr;
    Counted registration([&](int) { self->addFeaturesOnce(); });
    self = &registration;
    registration.addFeaturesOnce();
    EXPECT_EQ(registration.runs(), 1);
}

TEST(ARegistration, ReturnsAtOnceToItsOwnWorkAlsoAfterAFailure) {
    Counted* self = nullptr;
    Counted registration([&](int run) {
        self->addFeaturesOnce();
        if (run == 1) throw std::runtime_error("once");
    });
    self = &registration;
    EXPECT_THROW(registration.addFeaturesOnce(), std::runtime_error);
    registration.addFeaturesOnce();
    EXPECT_EQ(registration.runs(), 2);
}

TEST(ARegistration, DoesNotWaitInsideTheWorkOfAnother) {
    foundation::test::Latch inside(2);
    foundation::test::Latch asked(2);
    Counted* left = nullptr;
    Counted* right = nullptr;
    auto const askEachOther = [&](Counted*& other) {
        inside.arriveAndWait();
        other->addFeaturesOnce();
        asked.arriveAndWait();
    };
    Counted first([&](int) { askEachOther(right); });
    Counted second([&](int) { askEachOther(left); });
    left = &first;
    right = &second;
    std::jthread([&] {
        std::jthread const other([&] { second.addFeaturesOnce(); });
        first.addFeaturesOnce();
    }).join();
    EXPECT_EQ(first.runs(), 1);
    EXPECT_EQ(second.runs(), 1);
}

TEST(ARegistration, MakesOtherThreadsWaitForARunningCall) {
    foundation::test::Latch inside(1);
    foundation::test::Latch release(1);
    std::atomic<bool> added = false;
    Counted registration([&](int) {
        inside.countDown();
        release.wait();
        added = true;
    });
    std::jthread const first([&] { registration.addFeaturesOnce(); });
    inside.wait();
    std::vector<std::jthread> others;
    foundation::test::Latch arrived(3);
    for (int i = 0; i < 3; ++i) {
        others.emplace_back([&] {
            arrived.countDown();
            registration.addFeaturesOnce();
            EXPECT_TRUE(added) << "a call that returns finds the features added";
        });
    }
    arrived.wait();
    release.countDown();
    others.clear();
    EXPECT_EQ(registration.runs(), 1);
}

TEST(ARegistration, LetsAWaitingThreadTryAgain) {
    foundation::test::Latch inside(1);
    foundation::test::Latch release(1);
    Counted registration([&](int run) {
        if (run > 1) return;
        inside.countDown();
        release.wait();
        throw std::runtime_error("the first one");
    });
    std::jthread first([&] { EXPECT_THROW(registration.addFeaturesOnce(), std::runtime_error); });
    inside.wait();
    std::jthread second([&] { EXPECT_NO_THROW(registration.addFeaturesOnce()); });
    release.countDown();
    first.join();
    second.join();
    EXPECT_EQ(registration.runs(), 2);
}

TEST(ARegistration, IsAskedByManyThreadsAtOnce) {
    for (int round = 0; round < 50; ++round) {
        int features = 0;  // Not atomic: the runs must not overlap, and each caller must see their effects.
        Counted registration([&](int run) {
            ++features;
            if (run < 3) throw std::runtime_error("not yet");
        });
        foundation::test::Latch start(4);
        std::vector<std::jthread> threads;
        for (int i = 0; i < 4; ++i) {
            threads.emplace_back([&] {
                start.arriveAndWait();
                for (bool added = false; !added;) {
                    try {
                        registration.addFeaturesOnce();
                        added = true;
                        EXPECT_EQ(features, 3);
                    } catch (std::runtime_error const&) {
                        // Another call is to try again.
                    }
                }
            });
        }
        threads.clear();
        EXPECT_EQ(registration.runs(), 3);
    }
}

TEST(ARegistration, IsDestroyedThroughItsBase) {
    struct Noticed final : Registration {
        explicit Noticed(bool& destroyed) : destroyed_(destroyed) {}
        Noticed(Noticed const&) = delete;
        Noticed& operator=(Noticed const&) = delete;
        ~Noticed() override { destroyed_ = true; }
        void addFeatures() override {}

    private:
        bool& destroyed_;
    };
    bool destroyed = false;
    std::unique_ptr<Registration> registration = std::make_unique<Noticed>(destroyed);
    registration.reset();
    EXPECT_TRUE(destroyed);
}

static_assert(std::has_virtual_destructor_v<Registration>);
static_assert(std::is_abstract_v<Registration>);
static_assert(!std::is_copy_constructible_v<Registration> && !std::is_move_constructible_v<Registration>);

}  // namespace
}  // namespace foundation::fctrl_ext
