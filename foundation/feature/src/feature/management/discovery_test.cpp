#include "DiscoveryTest.hpp"

#include <support/Latch.hpp>

#include <atomic>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(Discovery, FindsWhatAManifestListsWithoutAskingAService) {
    int asked = 0;
    script->addFeatures["first"] = [&] { ++asked; };
    addCode("first");
    addManifest("lists", qz("Wanted"));
    auto const feature = getFeature("Wanted");
    ASSERT_TRUE(feature);
    EXPECT_EQ(feature->get(), 3);
    EXPECT_EQ(asked, 0);
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(2)));
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
    EXPECT_THAT(logged(installerChannel), IsEmpty());
}

TEST_F(Discovery, IsLeftAloneByALookupThatFinds) {
    addManifest("lists", qz("Wanted"));
    declare({});
    EXPECT_TRUE(getFeature("Alpha"));
    EXPECT_NO_THROW(process::getDataPtr("Alpha"));
    EXPECT_THAT(capture.records(), IsEmpty());
}

TEST_F(Discovery, ServesLookupsOfEveryKind) {
    std::string const listed =
        R"("qz": {"features": [)" + descriptor("Process") +
        R"(, {"name": "Engine", "FCtrlState": "On", "defaultValue": 9, "type": "perZOR"}]})";
    addManifest("lists", listed);
    EXPECT_EQ(zor::getDataIndex("Engine"), 0U);
    EXPECT_EQ(process::getDataPtr("Process")->defaultValue, 3);
    EXPECT_TRUE(getFeatureIgnoreCase("engine"));
    EXPECT_THAT(allNames(), ElementsAre("Engine", "Process"));
}

TEST_F(Discovery, StopsAtTheServiceThatRegistersTheFeature) {
    int asked = 0;
    for (char const* const name : {"first", "second", "third"}) {
        addCode(name);
        script->addFeatures[name] = [&] {
            if (++asked == 2) declare({.name = "Wanted"});
        };
    }
    EXPECT_TRUE(getFeature("Wanted"));
    EXPECT_EQ(asked, 2);
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(3), found(3), slowLine));
}

TEST_F(Discovery, AsksEveryServiceForTheListOfAllFeatures) {
    int asked = 0;
    for (char const* const name : {"first", "second", "third"}) {
        addCode(name);
        script->addFeatures[name] = [&] {
            if (++asked == 1) declare({.name = "Wanted"});
        };
    }
    EXPECT_THAT(allNames(), ElementsAre("Wanted"));
    EXPECT_EQ(asked, 3);
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(3), found(3), slowLine));
}

TEST_F(Discovery, GoesOnAfterAServiceThatFails) {
    std::string failed;
    for (char const* const name : {"first", "second"}) {
        std::string const location = addCode(name);
        script->addFeatures[name] = [&failed, location] {
            if (failed.empty()) {
                failed = location;
                throw std::runtime_error("no luck");
            }
            declare({.name = "Wanted"});
        };
    }
    EXPECT_TRUE(getFeature("Wanted"));
    ASSERT_FALSE(failed.empty());
    EXPECT_THAT(
        logged(lookupChannel),
        ElementsAre(installed(2),
                    found(2),
                    slowLine,
                    "256: Unable to load foundation::fctrl_ext::Registration instance: no luck: " + failed));
}

TEST_F(Discovery, LogsAFailingServiceOnlyWhenItsSeverityIsOn) {
    addCode("first");
    script->addFeatures["first"] = [] { throw std::runtime_error("no luck"); };
    log::setChannelMask(lookupChannel, details);
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(1), found(1)));
}

TEST_F(Discovery, PassesOnWhatIsNoStandardException) {
    addCode("first");
    for (Caller const& caller : callers) {
        SCOPED_TRACE(caller.name);
        script->addFeatures["first"] = [] { throw 7; };
        EXPECT_THROW(caller.ask("Missing"), int);
    }
    script->addFeatures["first"] = [] { declare({.name = "Missing"}); };
    EXPECT_TRUE(getFeature("Missing")) << "the failed lookups leave everything usable";
}

TEST_F(Discovery, InstallsOnceForEachKindOfLookup) {
    int started = 0;
    int asked = 0;
    script->start["first"] = [&] { ++started; };
    script->addFeatures["first"] = [&] { ++asked; };
    addCode("first");
    addManifest("bad", R"("qz": {"features": "none"})");
    for (Caller const& caller : callers) {
        SCOPED_TRACE(caller.name);
        for (int run = 0; run < 3; ++run) {
            capture.clear();
            caller.ask("Missing");
            EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(2), found(1), slowLine));
            EXPECT_EQ(logged(manifestChannel).size(), run == 0 ? 1U : 0U)
                << "each kind of lookup reads the manifests, but only once";
        }
    }
    EXPECT_EQ(started, 1) << "what runs already is not started again";
    EXPECT_EQ(asked, 1);
}

TEST_F(Discovery, SharesTheInstallationOfLookupsByNameWhateverTheCase) {
    addManifest("bad", R"("qz": {"features": "none"})");
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_FALSE(getFeatureIgnoreCase("missing"));
    EXPECT_EQ(logged(manifestChannel).size(), 1U);
    EXPECT_THAT(logged(lookupChannel),
                ElementsAre(installed(1), found(0), slowLine, installed(1), found(0), slowLine));
}

TEST_F(Discovery, SaysWhereALookupWasSlow) {
    for (Caller const& caller : callers) {
        SCOPED_TRACE(caller.name);
        capture.clear();
        caller.ask("Missing");
        auto const records = capture.records();
        ASSERT_EQ(records.size(), 3U);
        EXPECT_EQ(records[2].severity, slowLookups);
        std::string const head = "slow feature lookup required\n";
        ASSERT_THAT(records[2].message, StartsWith(head));
        EXPECT_GT(records[2].message.size(), head.size());
#if defined(_WIN32)
        // A call is known by its module and address only.
        EXPECT_THAT(records[2].message, testing::HasSubstr("foundation_feature.dll(+0x"));
#else
        EXPECT_THAT(records[2].message, testing::HasSubstr(caller.name));
#endif
    }
}

TEST_F(Discovery, SeesServicesThatComeLater) {
    EXPECT_FALSE(getFeature("Wanted"));
    script->addFeatures["second"] = [] { declare({.name = "Wanted"}); };
    auto bundles = running.context().InstallBundles(text(codeBundles.at("second")));
    bundles.at(0).Start();
    capture.clear();
    EXPECT_TRUE(getFeature("Wanted"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(0), found(1), slowLine));
}

TEST_F(Discovery, FindsNothingInAMissingFolder) {
    fs::remove_all(root.path() / "bin");
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(0), found(0), slowLine));
    EXPECT_EQ(capture.records().size(), 3U);
}

TEST_F(Discovery, LeavesOutWhatCannotBeInstalledOrStarted) {
    script->start["first"] = [] { throw std::runtime_error("does not start"); };
    std::string const failing = addCode("first");
    writeFile(folder / "notes.txt", "no bundle");
    writeFile(folder / "text.zip", "no bundle either");
    std::string const whole = addManifest("truncated", qz("Truncated"));
    fs::resize_file(folder / "truncated.zip", fs::file_size(folder / "truncated.zip") / 2);
    addManifest("zzz", qz("Wanted"));
    EXPECT_TRUE(getFeature("Wanted"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(1)));
    EXPECT_THAT(logged(installerChannel),
                ElementsAre(StartsWith("512: left out " + failing + ": "),
                            StartsWith("512: left out " + text(folder / "text.zip") + ": "),
                            StartsWith("512: left out " + whole + ": ")));
    EXPECT_FALSE(getFeature("Truncated"));
}

TEST_F(Discovery, ReadsWhatAManifestSaysOfItsFeatures) {
    addManifest("full",
                qz("Full",
                   R"("fctrl_json": "dir/list.json", "clientdir": "cl", "component": {"name": "co"},)"
                   R"("qzbuiltin_module": "builtin", "module": {"name": "mo"})"));
    addManifest("other", qz("Other", R"("component": {"title": "co"}, "module": {"name": "mo"})"));
    addManifest("wrong", qz("Builtin", R"("qzbuiltin_module": "builtin", "module": 5)"));
    addManifest("text", qz("Texts", R"("clientdir": 5, "qzbuiltin_module": 1.5, "component": {"name": 7})"));
    std::string const bare = addManifest("bare", qz("Bare"));
    addManifest("own",
                R"("qz": {"features": [)" + descriptor("Own", R"(, "file": "own.cpp", "line": 12)") + "]}");

    auto const full = getFeature("Full");
    ASSERT_TRUE(full);
#if defined(_WIN32)
    EXPECT_EQ(full->getFilename(), "dir\\list.json");
#else
    EXPECT_EQ(full->getFilename(), "dir/list.json");
#endif
    EXPECT_EQ(full->getClientDir(), "cl");
    EXPECT_EQ(full->getComponent(), "co");
    EXPECT_EQ(full->getModule(), "builtin") << "the module is not read";
    EXPECT_EQ(full->getLine(), -1);
    auto const other = getFeature("Other");
    ASSERT_TRUE(other);
    EXPECT_EQ(other->getClientDir(), "");
    EXPECT_EQ(other->getComponent(), "");
    EXPECT_EQ(other->getModule(), "mo");
    auto const builtin = getFeature("Builtin");
    ASSERT_TRUE(builtin);
    EXPECT_EQ(builtin->getModule(), "builtin");
    auto const texts = getFeature("Texts");
    ASSERT_TRUE(texts);
    EXPECT_EQ(texts->getClientDir(), "5");
    EXPECT_EQ(texts->getModule(), "1.5");
    EXPECT_EQ(texts->getComponent(), "7");
    auto const unlocated = getFeature("Bare");
    ASSERT_TRUE(unlocated);
    EXPECT_EQ(unlocated->getFilename(), bare);
    EXPECT_EQ(unlocated->getModule(), "");
    auto const own = getFeature("Own");
    ASSERT_TRUE(own);
    EXPECT_EQ(own->getFilename(), "own.cpp");
    EXPECT_EQ(own->getLine(), 12);
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
}

TEST_F(Discovery, MatchesTheKeysOfAManifestExactly) {
    addManifest("a", R"("QZ": {"features": [)" + descriptor("A") + "]}");
    addManifest("b", R"("qz": {"Features": [)" + descriptor("B") + "]}");
    addManifest("c", qz("C", R"("Component": 5, "MODULE": {"name": "mo"}, "ClientDir": "cl")"));
    addManifest("d", qz("D", R"("module": {"Name": "mo"})"));
    EXPECT_THAT(allNames(), testing::UnorderedElementsAre("C", "D"));
    auto const feature = getFeature("C");
    ASSERT_TRUE(feature);
    EXPECT_EQ(feature->getModule(), "");
    EXPECT_EQ(feature->getClientDir(), "");
    EXPECT_EQ(getFeature("D")->getModule(), "");
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
}

struct Mistake {
    char const* name;  // of the bundle
    std::string headers;
    std::string reason;  // what the record's end begins with
};

TEST_F(Discovery, LogsEachMistakeOfAManifestAndReadsTheOthers) {
    std::string const noMap = "cppmicroservices::BadAnyCastException: ";
    // By file name, the order in which they are read.
    Mistake const mistakes[] = {
        {"a_qz_that_is_no_map", R"("qz": "text")", noMap},
        {"b_features_that_are_a_text",
         R"("qz": {"features": "text"})",
         "invalid conversion: string to array"},
        {"c_features_that_are_a_map", R"("qz": {"features": {}})", "invalid conversion: object to array"},
        {"d_features_that_are_a_number", R"("qz": {"features": 5})", "invalid conversion: int64 to array"},
        {"e_component_that_is_a_text", qz("E", R"("component": "co")"), noMap},
        {"f_module_that_is_a_text", qz("F", R"("module": "mo")"), noMap},
        {"g_module_that_is_a_list", qz("G", R"("module": [1])"), noMap},
        {"h_descriptor_that_is_no_map", R"("qz": {"features": [5]})", "invalid conversion: int64 to object"},
        {"i_descriptor_without_a_name",
         R"("qz": {"features": [)" + descriptor("I") + R"(, {"FCtrlState": "On"}, )" + descriptor("NotI") +
             "]}",
         R"(property not specified: "name")"},
        {"j_feature_that_breaks_a_rule",
         R"("qz": {"features": [{"name": "J", "FCtrlState": "Off", "defaultValue": 1}]})",
         "fctrl: J: default value of Off fctrl must be 0"},
        {"k_feature_of_another_module", qz("Alpha"), "feature registered twice: Alpha: modules: m1 and "},
    };
    declare({});
    std::vector<std::string> expected;
    for (Mistake const& mistake : mistakes) {
        std::string const location = addManifest(mistake.name, mistake.headers);
        expected.push_back("512: Unable to get fctrl list from " + location +
                           ": Exception: " + mistake.reason);
    }
    addManifest("z_without_mistakes", qz("Wanted"));
    EXPECT_TRUE(getFeature("Wanted"));
    auto const lines = logged(manifestChannel);
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], StartsWith(expected[i]));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(static_cast<int>(expected.size()) + 1)));
    EXPECT_TRUE(getFeature("I")) << "what stands before the mistake stays registered";
    for (char const* const name : {"E", "F", "G", "NotI", "J"})
        EXPECT_FALSE(getFeature(name)) << name;
}

TEST_F(Discovery, TakesAManifestThatListsNothing) {
    addManifest("a");
    addManifest("b", R"("qz": {})");
    addManifest("c", R"("qz": {"features": [], "component": {"name": "co"}})");
    addManifest("d", R"("qz": {"component": 5})");
    EXPECT_THAT(allNames(), IsEmpty());
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(4), found(0), slowLine));
}

TEST_F(Discovery, MayBeAskedByABundleThatStarts) {
    int started = 0;
    script->start["first"] = [&] {
        ++started;
        askEverything();
    };
    addCode("first");
    askEverything();
    EXPECT_EQ(started, 1);
    EXPECT_EQ(logged(installerChannel), std::vector<std::string>());
}

TEST_F(Discovery, MayBeAskedByAServiceThatIsAsked) {
    std::map<std::string, int> asked;
    for (char const* const name : {"first", "second", "third"}) {
        addCode(name);
        script->addFeatures[name] = [&asked, name] {
            ++asked[name];
            askEverything();
            declare({.name = name});
        };
    }
    askEverything();
    for (char const* const name : {"first", "second", "third"}) {
        EXPECT_EQ(asked[name], 1) << name;
        EXPECT_TRUE(getFeature(name)) << name;
    }
}

TEST_F(Discovery, MayBeAskedByACallback) {
    declare({});
    auto const alpha = getFeature("Alpha");
    ASSERT_TRUE(alpha);
    int called = 0;
    addCode("first");
    script->addFeatures["first"] = [&] { alpha->set(2); };
    alpha->addCallback([&](IFeature const&) {
        ++called;
        askEverything();
    });
    EXPECT_EQ(called, 2) << "at once, and for the change that the service made meanwhile";
    EXPECT_EQ(alpha->get(), 2);
    alpha->set(1);
    EXPECT_EQ(called, 3);
    EXPECT_EQ(alpha->get(), 1) << "the service is asked once";
}

TEST_F(Discovery, ServesManyThreadsAtOnceWithOneInstallation) {
    log::setChannelMask(lookupChannel, details);  // A stack trace for each lookup would take seconds.
    std::atomic<int> started = 0;
    std::atomic<int> asked = 0;
    script->start["first"] = [&] { ++started; };
    script->addFeatures["first"] = [&] {
        ++asked;
        declare({.name = "Wanted"});
    };
    addCode("first");
    addManifest("bad", R"("qz": {"features": "none"})");
    addManifest("lists", qz("Listed"));
    std::atomic<int> right = 0;
    runTogether(16, [&](int number) {
        if (getFeature(number % 2 == 0 ? "Listed" : "Wanted") && !getFeature("Missing")) ++right;
    });
    EXPECT_EQ(right, 16);
    EXPECT_EQ(started, 1);
    EXPECT_EQ(asked, 1);
    EXPECT_EQ(logged(manifestChannel).size(), 1U);
}

TEST_F(Discovery, ServesThreadsWithDifferentLookupsAtOnce) {
    log::setChannelMask(lookupChannel, details);  // A stack trace for each lookup would take seconds.
    std::atomic<int> started = 0;
    std::atomic<int> asked = 0;
    script->start["first"] = [&] { ++started; };
    script->addFeatures["first"] = [&] { ++asked; };
    addCode("first");
    addManifest("lists", qz("Listed"));
    runTogether(16, [&](int number) {
        callers[static_cast<std::size_t>(number) % callers.size()].ask("Missing");
        EXPECT_TRUE(getFeature("Listed"));
    });
    EXPECT_EQ(started, 1);
    EXPECT_EQ(asked, 1);
}

TEST_F(Discovery, LetsTwoServicesAskForFeaturesOfEachOtherAtOnce) {
    log::setChannelMask(lookupChannel, details);
    // Whichever is asked first fails at first, so that another thread may be inside it while this one goes on to the
    // other: then each looks for a feature while the other is being asked.
    std::atomic<bool> hasFailed = false;
    foundation::test::Latch inside(2);
    for (char const* const name : {"first", "second"}) {
        addCode(name);
        script->addFeatures[name] = [&, name] {
            if (!hasFailed.exchange(true)) throw std::runtime_error("not yet");
            inside.arriveAndWait();
            EXPECT_FALSE(getFeature("Missing"));
            declare({.name = name});
        };
    }
    std::jthread const other([&] {
        while (!hasFailed)
            std::this_thread::yield();
        EXPECT_FALSE(getFeature("Missing"));
    });
    EXPECT_FALSE(getFeature("Missing"));
}

class WithoutAFramework : public testing::Test {
protected:
    WithoutAFramework() { log::setChannelMask("*", ~0U & ~(unsigned{entries} | leaves | parameters)); }

    LogCapture capture;
};

TEST_F(WithoutAFramework, DiscoveryDoesNothingAndSaysNothing) {
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_TRUE(isUnknown("Missing"));
    EXPECT_THAT(capture.records(), IsEmpty());
}

TEST_F(WithoutAFramework, AStoppedOneIsAsNone) {
    RunningFramework running;
    foundation::cppmicroservices::setFramework(std::make_shared<Framework>(running.framework));
    running.stop();
    EXPECT_TRUE(isUnknown("Missing"));
    EXPECT_THAT(capture.records(), IsEmpty());
    foundation::cppmicroservices::setFramework(nullptr);
}

TEST_F(Discovery, BeginsWhenTheFrameworkComes) {
    foundation::cppmicroservices::setFramework(nullptr);
    addManifest("lists", qz("Wanted"));
    EXPECT_FALSE(getFeature("Wanted"));
    foundation::cppmicroservices::setFramework(std::make_shared<Framework>(running.framework));
    EXPECT_TRUE(getFeature("Wanted"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(1)));
}

}  // namespace
}  // namespace foundation::feature::management::test
