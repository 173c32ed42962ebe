#include "DiscoveryTest.hpp"

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

/// The end of a process in which discovery has opened its trackers.
class AProcess : public testing::Test {
protected:
    AProcess() {
        // The process that ends is a fresh one.
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }

    /// What the bundles of `discover()` do.
    static SharedScript const& script() {
        static auto* const script =
            new SharedScript(std::make_shared<Script>());  // Outlives every framework.
        return *script;
    }

    /// Opens all trackers over a service that stays.
    static RunningFramework& discover() {
        static TemporaryFolder const root;
        static auto* const running =
            new RunningFramework({{"script", Any(script())}});  // Never stops by itself.
        fs::path const folder = root.path() / "bin" / "win64" / "fctrl_ext";
        fs::create_directories(folder);
        fs::copy_file(codeBundles.at("first"), folder / codeBundles.at("first").filename());
        foundation::cppmicroservices::setFramework(std::make_shared<Framework>(running->framework));
        foundation::cppmicroservices::setInstallationRoot(root.path());
        askEverything();
        return *running;
    }
};

TEST_F(AProcess, EndsCleanlyWhenTheFrameworkIsStoppedBefore) {
    EXPECT_EXIT(
        {
            discover().stop();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^$");
}

TEST_F(AProcess, EndsCleanlyWhenTheFrameworkIsNotStopped) {
    EXPECT_EXIT(
        {
            discover();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^$");
}

RunningFramework* stoppedLast = nullptr;

TEST_F(AProcess, EndsCleanlyWhenTheFrameworkIsStoppedAfterTheTrackers) {
    EXPECT_EXIT(
        {
            // Registered before the trackers exist, so run after they have gone.
            std::atexit([] { stoppedLast->stop(); });
            stoppedLast = &discover();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^$");
}

/// Handles of all sorts that nobody destroys before the process does, resolved; and one feature that the bundle watches.
void keepHandles() {
    static std::unique_ptr<IFeature> const byName = getFeature("Alpha");
    static Feature<Scope::PROCESS> const typed("Alpha");
    static Feature<Scope::ZOR> const engine("Beta");
    static ScopedFeature const override("Alpha", 5);
    EXPECT_EQ(byName->get(), 5);
    EXPECT_EQ(typed.get(), 5);
    EXPECT_EQ(engine.get(), 0);
}

TEST_F(AProcess, EndsCleanlyWithHandlesAndABundlesWatchersAlive) {
    for (bool const isStopped : {false, true}) {
        SCOPED_TRACE(isStopped ? "the framework is stopped" : "the framework is not stopped");
        EXPECT_EXIT(
            {
                declare({});
                declare({.scope = Scope::ZOR, .name = "Beta"});
                script()->watched = "Alpha";
                RunningFramework& running = discover();
                if (isStopped) running.stop();
                keepHandles();
                getFeature("Alpha")->set(9);
                // At once when it began to watch, for the override, and just now: its code stays.
                std::exit(script()->watcherCalls == 3 ? 0 : 1);
            },
            testing::ExitedWithCode(0),
            "^$");
    }
}

TEST_F(AProcess, EndsCleanlyWhenABundleThatIsStoppedLateLooksForFeatures) {
    EXPECT_EXIT(
        {
            script()->stop["first"] = [] {
                askEverything();
                std::fputs("stopped late", stderr);
            };
            discover();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        testing::AnyOf("", "stopped late"));  // Not every framework stops its bundles by itself.
}

struct LateLookup {
    ~LateLookup() {
        askEverything();
        std::fputs("asked late", stderr);
    }
};

TEST_F(AProcess, EndsCleanlyWhenAStaticObjectLooksForFeaturesAfterTheTrackersHaveGone) {
    EXPECT_EXIT(
        {
            declare({});
            static LateLookup const late;  // After the registry, before the trackers.
            discover();
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "^asked late$");
}

}  // namespace
}  // namespace foundation::feature::management::test
