#include "DiscoveryTest.hpp"
#include "lifetimes_test_library.hpp"

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>

#include <Kept.hpp>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <optional>
#include <string>
#include <thread>

#include <foundation/fctrl_ext/Registration.hpp>
#include <foundation/usm.hpp>

#include <cppmicroservices/ServiceTracker.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using foundation::test::Kept;
using usm::CurrentEngineInstance;
using usm::EngineInstance;

// What is written at the end of the process by a static object made before the catalogue, and by two watchers' state.
// On Windows watchers go with the process itself.
#if defined(_WIN32)
std::string const byEarly = "early watching ";
std::string const byWatchers;
#else
std::string const byEarly = "early ";
std::string const byWatchers = "let go let go ";
#endif

void declareWhatIsKept() {
    declare({.name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    declare({.name = "forced"});
}

/// The end of a process that is a fresh one.
class StaticObjects : public testing::Test {
protected:
    StaticObjects() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(StaticObjects, OfTheHostMayUseEverythingTillTheEnd) {
    EXPECT_EXIT(
        {
            static Kept early("early");  // Before the catalogue, so destroyed after its watchers have gone.
            declareWhatIsKept();
            early.take();
            static Kept late("late");
            late.take();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^late watching " + byEarly + '$');
}

TEST_F(StaticObjects, OfAnotherLibraryMayUseEverythingTillTheEnd) {
    EXPECT_EXIT(
        {
            prepareToKeepInLibrary();
            declareWhatIsKept();
            keepInLibrary();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^library, late watching library, " + byEarly + '$');
}

RunningFramework& runningWithBundle(SharedScript const& script) {
    static TemporaryFolder const root;
    static auto* const running = new RunningFramework({{"script", Any(script)}});
    fs::path const folder = root.path() / "bin" / "win64" / "fctrl_ext";
    fs::create_directories(folder);
    fs::copy_file(codeBundles.at("first"), folder / codeBundles.at("first").filename());
    foundation::cppmicroservices::setFramework(std::make_shared<Framework>(running->framework));
    foundation::cppmicroservices::setInstallationRoot(root.path());
    askEverything();
    return *running;
}

TEST_F(StaticObjects, OfABundleMayUseEverythingTillTheEnd) {
    for (bool const isStopped : {false, true}) {
        SCOPED_TRACE(isStopped ? "the framework is stopped" : "the framework is not stopped");
        EXPECT_EXIT(
            {
                declareWhatIsKept();
                static auto* const script = new SharedScript(std::make_shared<Script>());
                (*script)->areKept = true;
                RunningFramework& running = runningWithBundle(*script);
                if (isStopped) running.stop();
                std::exit(0);
            },
            testing::ExitedWithCode(0),
            "^bundle watching $");
    }
}

#if defined(EMBEDDED_FRAMEWORK)
TEST_F(StaticObjects, MayBeTrackersOfTheRegistrationServices) {
    EXPECT_EXIT(
        {
            static auto* const script = new SharedScript(std::make_shared<Script>());
            RunningFramework& running = runningWithBundle(*script);
            static ::cppmicroservices::ServiceTracker<fctrl_ext::Registration> tracker(running.context());
            tracker.Open();
            std::exit(tracker.Size() == 1 ? 0 : 1);
        },
        testing::ExitedWithCode(0),
        "^$");
}
#endif

/// Uses everything, until the process has ended.
[[noreturn]] void useForEver(int number, std::atomic<int>& rounds) {
    auto const process = getFeature("process");
    auto const zor = getFeature("zor");
    for (int round = 0;; ++round) {
        process->set(round);
        zor->set(round + number);
        (void)(process->get() + zor->get());
        auto const watching = process->addCallback([](IFeature const& changed) { (void)changed.get(); });
        getFeature("forced");
        getFeatureIgnoreCase("nobody");
        std::string const name = "own " + std::to_string(number) + ' ' + std::to_string(round % 1'000);
        declare({.scope = static_cast<Scope>(round % 2), .name = name});
        watching.disconnect();
        ++rounds;
    }
}

TEST_F(StaticObjects, EndInTheMiddleOfWhatOtherThreadsDo) {
    for (int repetition = 0; repetition < 5; ++repetition) {
        EXPECT_EXIT(
            {
                static Kept early("early");
                declareWhatIsKept();
                early.take();
                static std::atomic<int>* const rounds = new std::atomic<int>[4]();
                for (int number = 0; number < 4; ++number)
                    std::thread([number] { useForEver(number, rounds[number]); }).detach();
                for (int number = 0; number < 4; ++number) {
                    while (rounds[number] < 20)
                        std::this_thread::yield();
                }
                std::exit(0);
            },
            testing::ExitedWithCode(0),
            // Others change the features in between, which it may notice.
            "early");
    }
}

TEST(AWatcher, IsLetGoWithItsStateWhenTheProcessEnds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            struct Farewell {
                ~Farewell() { std::fputs("let go ", stderr); }
            };
            declare({});
            declare({.scope = Scope::ZOR, .name = "zor"});
            for (char const* const name : {"Alpha", "zor"})
                getFeature(name)->addCallback([farewell = std::make_shared<Farewell>()](IFeature const&) {});
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        '^' + byWatchers + '$');
}

TEST(AHandle, OutlivesTheEngineInstanceThatItWasUsedIn) {
    declare({.scope = Scope::ZOR, .name = "zor", .defaultValue = 3});
    Feature<Scope::ZOR> zor("zor");
    int calls = 0;
    boost::signals2::connection watching;
    {
        EngineInstance engine;
        CurrentEngineInstance const current(engine);
        zor.set(7);
        watching = zor.addCallback([&](IFeature const&) { ++calls; });
        EXPECT_EQ(calls, 1);
    }
    EXPECT_FALSE(watching.connected());
    watching.disconnect();  // Harmless.
    EXPECT_EQ(zor.get(), 3) << "it is the main instance that is current now";
    zor.set(4);
    EXPECT_EQ(calls, 1);
    EngineInstance other;
    CurrentEngineInstance const current(other);
    EXPECT_EQ(zor.get(), 3);
}

TEST(AnOverride, ActsWhenItEndsOnTheInstanceThatIsCurrentThen) {
    declare({.scope = Scope::ZOR, .name = "zor", .defaultValue = 3});
    Feature<Scope::ZOR> const zor("zor");
    std::optional<ScopedFeature> forced;
    {
        EngineInstance engine;
        CurrentEngineInstance const current(engine);
        forced.emplace("zor", 5);
        EXPECT_EQ(zor.get(), 5);
    }
    EXPECT_EQ(zor.get(), 3);
    getFeature("zor")->set(9);
    forced.reset();
    EXPECT_EQ(zor.get(), 3) << "the value from before, of the instance that is gone";
}

TEST_F(Discovery, LeavesABundlesWatcherWhenTheFrameworkHasStopped) {
    declare({});
    script->watched = "Alpha";
    addCode("first");
    askEverything();
    running.stop();
    getFeature("Alpha")->set(1);
    EXPECT_EQ(script->watcherCalls, 2) << "once when it began to watch, and once for the change";
}

}  // namespace
}  // namespace foundation::feature::management::test
