#include "DiscoveryTest.hpp"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <foundation/fctrl_ext/Registration.hpp>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/ServiceRegistration.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(_WIN32)
#define FOUNDATION_TEST_NOINLINE
#else
#define FOUNDATION_TEST_NOINLINE __attribute__((noinline))
#endif

namespace foundation::feature::management::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

TEST_F(Discovery, NamesEachBundleThatCannotBeUsedAndTheReason) {
    std::string const withCode = R"("bundle.activator": true)";
    struct Row {
        std::string file;
        std::string reason;
    };
    writeFile(folder / "a_nothing.so", "");
    writeFile(folder / "b_text.so", "this is no library");
    writeFile(root.path() / "text", "this is no library either, but a manifest follows");
    bundle_test::writeLibrary(
        folder / "c_unloadable.so", root.path() / "text", bundle("unloadable", withCode));
    addManifest("d_code_in_a_zip", withCode);
    writeZip(folder / "e_bad_json.zip", {{"bad/manifest.json", "{\"bundle.symbolic_name\": }"}});
    writeZip(folder / "f_no_manifest.zip", {{"none/other.json", "{}"}});
    writeZip(folder / "g_nameless.zip", {{"nameless/manifest.json", "{}"}});
    script->start["first"] = [] { throw std::runtime_error("no luck"); };
    script->start["second"] = [] { throw 7; };
    fs::rename(addCode("first"), folder / "h_throws.so");
    fs::rename(addCode("second"), folder / "i_throws_an_int.so");
    addManifest("z_good", qz("Wanted"));

    Row const rows[] = {
        {"a_nothing.so", "Could not init zip archive"},
        {"b_text.so", "Could not init zip archive"},
        {"c_unloadable.so", "Error loading"},
        {"d_code_in_a_zip.zip", "Error loading"},
        {"e_bad_json.zip", "Invalid value."},
        {"f_no_manifest.zip", "bundle.symbolic_name is not defined"},
        {"g_nameless.zip", "bundle.symbolic_name is not defined"},
        {"h_throws.so", "no luck"},
        {"i_throws_an_int.so", ""},
    };
    EXPECT_TRUE(getFeature("Wanted"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(1)));
    EXPECT_THAT(logged(manifestChannel), IsEmpty());
    auto const lines = logged(installerChannel);
    ASSERT_EQ(lines.size(), std::size(rows));
    for (std::size_t i = 0; i < lines.size(); ++i) {
        std::string const head = "512: left out " + text(folder / rows[i].file) + ": ";
        EXPECT_THAT(lines[i], StartsWith(head));
        EXPECT_GT(lines[i].size(), head.size()) << "there is a reason";
        EXPECT_THAT(lines[i], HasSubstr(rows[i].reason));
    }
}

TEST_F(Discovery, NamesTheWholeSourceOfItsRecords) {
    addManifest("wrong", R"("qz": 5)");
    getFeature("Missing");
    std::map<std::string, std::string> const functions = {
        {lookupChannel, "void foundation::feature::management::registerAdditionalFeatures(Test const&)"},
        {manifestChannel,
         "void foundation::feature::management::registerBundleFeatures(cppmicroservices::Bundle)"}};
    ASSERT_EQ(capture.records().size(), 4U);
    for (Record const& record : capture.records()) {
        EXPECT_EQ(record.function, functions.at(record.channel));
        EXPECT_EQ(record.file, "foundation/feature/src/feature/management");
        EXPECT_EQ(record.line, 0);
    }
}

TEST_F(Discovery, LogsAManifestValueOfEveryWrongKind) {
    struct Key {
        char const* name;
        std::string kind;    // that it must have
        std::string before;  // the value, in "qz"
        std::string after;
    };
    std::string const list = R"("features": [)" + descriptor("Wrong") + "]";
    Key const keys[] = {
        {"qz", "map", "", ""},
        {"features", "list", R"({"features": )", "}"},
        {"component", "map", "{" + list + R"(, "component": )", "}"},
        {"module", "map", "{" + list + R"(, "module": )", "}"},
    };
    struct Value {
        char const* kind;
        char const* json;
    };
    Value const values[] = {{"bool", "true"},
                            {"int", "5"},
                            {"double", "1.5"},
                            {"text", R"("text")"},
                            {"list", "[1]"},
                            {"map", "{}"}};
    std::vector<std::string> expected;
    for (Key const& key : keys) {
        for (Value const& value : values) {
            if (key.kind == value.kind) continue;
            std::string const name = std::string(key.name) + "_" + value.kind;
            expected.push_back("512: Unable to get fctrl list from " +
                               addManifest(name, R"("qz": )" + key.before + value.json + key.after) +
                               ": Exception: ");
        }
    }
    std::sort(expected.begin(), expected.end());
    addManifest("z_good", qz("Wanted"));
    EXPECT_TRUE(getFeature("Wanted"));
    auto const lines = logged(manifestChannel);
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_THAT(lines[i], StartsWith(expected[i]));
        EXPECT_GT(lines[i].size(), expected[i].size()) << "there is a reason";
    }
    EXPECT_FALSE(getFeature("Wrong"));
}

#if !defined(_WIN32)
// On Windows every text is a file name: nothing makes the installation fail.
TEST_F(Discovery, TriesAgainAfterAnInstallationThatFailed) {
    // No file name anywhere: half a surrogate pair.
    foundation::cppmicroservices::setInstallationRoot(
        fl::filesystem::path(std::u16string(1, char16_t{0xD800})));
    addCode("first");
    addManifest("lists", qz("Listed"));
    int asked = 0;
    script->addFeatures["first"] = [&] {
        ++asked;
        declare({.name = "Wanted"});
    };
    for (Caller const& caller : callers) {
        SCOPED_TRACE(caller.name);
        EXPECT_THROW(caller.ask("Missing"), std::range_error);
        EXPECT_THROW(caller.ask("Missing"), std::range_error) << "and again";
    }
    EXPECT_THAT(capture.records(), IsEmpty());
#if !defined(__SANITIZE_THREAD__)
    // Not under g++'s ThreadSanitizer: there, threads that wait for a static whose initialisation fails wait for ever.
    runTogether(16, [](int number) {
        EXPECT_THROW(callers[static_cast<std::size_t>(number) % callers.size()].ask("Missing"),
                     std::range_error);
    });
#endif
    foundation::cppmicroservices::setInstallationRoot(root.path());
    EXPECT_TRUE(getFeature("Listed"));
    EXPECT_TRUE(getFeature("Wanted"));
    EXPECT_EQ(asked, 1);
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(2), installed(2), found(1), slowLine));
    askEverything();
}
#endif

TEST_F(Discovery, PassesOverAServiceThatGoesWhileAnotherIsAsked) {
    int asked = 0;
    std::map<std::string, std::string> others = {{"first", "second"}, {"second", "first"}};
    for (char const* const name : {"first", "second"}) {
        addCode(name);
        script->addFeatures[name] = [&, name] {
            ++asked;
            for (auto& bundle : running.context().GetBundles()) {
                if (bundle.GetSymbolicName() == others[name]) bundle.Stop();
            }
        };
    }
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_EQ(asked, 1);
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(2), found(2), slowLine))
        << "no failure is logged";
    capture.clear();
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(2), found(1), slowLine));
}

/// A service that the host registers itself.
class Service final : public fctrl_ext::Registration {
public:
    explicit Service(std::function<void()> work) : work_(std::move(work)) {}

    void addFeatures() override { work_(); }

private:
    std::function<void()> work_;
};

TEST_F(Discovery, AsksManyServicesThatFailForWantOfAFeatureAFewTimesEach) {
    log::setChannelMask(lookupChannel, slowLookups);
    constexpr int count = 12;
    int asked = 0;
    for (int i = 0; i < count; ++i) {
        running.context().RegisterService<fctrl_ext::Registration>(std::make_shared<Service>([&] {
            ++asked;
            // Its text leaves addFeatures(), so that the service is asked again.
            process::getDataPtr("Missing");
        }));
    }
    for (int lookup = 1; lookup <= 2; ++lookup) {
        EXPECT_FALSE(getFeature("Missing"));
        EXPECT_LE(asked, lookup * 2 * count);
        EXPECT_GE(asked, lookup * count) << "each lookup tries each of them";
    }
    EXPECT_THAT(
        logged(lookupChannel),
        testing::Contains("256: Unable to load foundation::fctrl_ext::Registration instance: unregistered "
                          "feature: Missing: System Bundle")
            .Times(static_cast<std::size_t>(asked)));
}

TEST_F(Discovery, NamesNoPlaceOfAServiceThatFailsAfterItHasGone) {
    log::setChannelMask(lookupChannel, slowLookups);
    ::cppmicroservices::ServiceRegistration<fctrl_ext::Registration> registration;
    registration = running.context().RegisterService<fctrl_ext::Registration>(std::make_shared<Service>([&] {
        registration.Unregister();
        throw std::runtime_error("gone");
    }));
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_THAT(
        logged(lookupChannel),
        ElementsAre(slowLine, "256: Unable to load foundation::fctrl_ext::Registration instance: gone: "));
}

TEST_F(Discovery, AsksAServiceAgainThatFailedBeforeAnotherHadRegisteredWhatItNeeds) {
    running.context().RegisterService<fctrl_ext::Registration>(std::make_shared<Service>([] {
        getFeature("Wanted");  // Has the other service asked, too early.
        declare({.name = "Needed"});
    }));
    running.context().RegisterService<fctrl_ext::Registration>(std::make_shared<Service>([] {
        process::getDataPtr("Needed");
        declare({.name = "Wanted"});
    }));
    EXPECT_TRUE(getFeature("Wanted"));
}

#if defined(EMBEDDED_FRAMEWORK)
// The installed framework waits for ever for a bundle that this very thread is starting or stopping.

TEST_F(Discovery, MayBeAskedByABundleThatTheHostStarts) {
    std::string const location = addCode("first");
    addManifest("lists", qz("Listed"));
    bool isListed = false;
    script->start["first"] = [&] {
        askEverything();
        isListed = getFeature("Listed") != nullptr;
    };
    auto bundles = running.context().InstallBundles(location);
    bundles.at(0).Start();
    EXPECT_TRUE(isListed);
    capture.clear();
    askEverything();
    EXPECT_THAT(logged(installerChannel), IsEmpty());
}

TEST_F(Discovery, MayBeAskedByABundleThatStops) {
    int stopped = 0;
    for (char const* const name : {"first", "second"}) {
        addCode(name);
        script->stop[name] = [&] {
            askEverything();
            ++stopped;
        };
    }
    EXPECT_FALSE(getFeature("Missing"));  // The other kinds of lookup begin while the framework stops.
    running.stop();
    EXPECT_EQ(stopped, 2);
    EXPECT_TRUE(isUnknown("Missing"));
}

#endif

TEST_F(Discovery, GoesOnWithAnotherFramework) {
    addCode("first");
    int asked = 0;
    script->addFeatures["first"] = [&] {
        ++asked;
        throw std::runtime_error("asked");
    };
    EXPECT_FALSE(getFeature("Missing"));
    EXPECT_EQ(asked, 1);

    auto const otherScript = std::make_shared<Script>();
    otherScript->addFeatures["first"] = [] { declare({.name = "Wanted"}); };
    RunningFramework other({{"script", Any(otherScript)}});
    foundation::cppmicroservices::setFramework(std::make_shared<Framework>(other.framework));
    capture.clear();
    EXPECT_FALSE(getFeature("Wanted"));
    EXPECT_THAT(logged(lookupChannel)[0], installed(1)) << "counted once";
    running.stop();
    capture.clear();
    EXPECT_FALSE(getFeature("Wanted"));
    EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(1), found(0), slowLine))
        << "the tracker is that of the first framework";
    // What has not begun yet begins with the framework that is there now.
    EXPECT_NO_THROW(process::getDataPtr("Wanted"));
    EXPECT_TRUE(getFeature("Wanted"));
    foundation::cppmicroservices::setFramework(nullptr);
}

TEST_F(Discovery, OutlivesTheFrameworkThatItBeganWith) {
    addCode("first");
    {
        RunningFramework const brief({{"script", Any(script)}});
        foundation::cppmicroservices::setFramework(std::make_shared<Framework>(brief.framework));
        askEverything();
        foundation::cppmicroservices::setFramework(std::make_shared<Framework>(running.framework));
    }
    for (Caller const& caller : callers) {
        SCOPED_TRACE(caller.name);
        capture.clear();
        caller.ask("Missing");
        EXPECT_THAT(logged(lookupChannel), ElementsAre(installed(1), found(0), slowLine));
    }
}

#if !defined(_WIN32)
FOUNDATION_TEST_NOINLINE bool functionOfTheHostThatLooks(Caller const& caller) {
    caller.ask("Missing");
    return true;  // Not a jump into the call.
}

TEST_F(Discovery, NamesTheFunctionThatLooksAndThePublicOperationInTheStack) {
    for (Caller const& caller : callers) {
        SCOPED_TRACE(caller.name);
        capture.clear();
        EXPECT_TRUE(functionOfTheHostThatLooks(caller));
        auto const records = capture.records();
        ASSERT_FALSE(records.empty());
        std::string const& stack = records.back().message;
        EXPECT_THAT(stack, HasSubstr("functionOfTheHostThatLooks("));
        EXPECT_THAT(stack,
                    testing::ContainsRegex("# foundation::feature::management::([a-z]+::)?" +
                                           std::string(caller.name) + "\\("));
    }
}

// Called through a volatile pointer, and not the last that the caller does: each call stays one.
int returnedCalls = 0;
void lookFromDeepInTheHost(int depth);
void (*volatile callDeeper)(int) = lookFromDeepInTheHost;
void lookFromDeepInTheHost(int depth) {
    if (depth == 0)
        getFeature("Missing");
    else
        callDeeper(depth - 1);
    ++returnedCalls;
}

TEST_F(Discovery, NamesTwentyFiveCallsOfADeepStack) {
    lookFromDeepInTheHost(40);
    auto const records = capture.records();
    ASSERT_FALSE(records.empty());
    EXPECT_THAT(records.back().message, HasSubstr("\n24# "));
    EXPECT_THAT(records.back().message, testing::Not(HasSubstr("\n25# ")));
}
#endif

}  // namespace
}  // namespace foundation::feature::management::test
