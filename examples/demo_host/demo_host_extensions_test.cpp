// What the program's extensions bring.

#include "DemoRun.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace demo {
namespace {

using test::engineValues;
using test::keysOf;
using test::linesOf;
using test::native;
using test::number;
using test::Outcome;
using test::rowsOf;
using test::run;
using test::TemporaryFolder;
using testing::AllOf;
using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

TEST(EachExtension, HasItsFeaturesInTheCatalogue) {
    struct Row {
        char const* says;
        char const* name;
        char const* scope;
        int value;
        char const* component;
        char const* module;
        std::string file;
    };
    Row const expectedRows[] = {
        {"a manifest alone",
         "TranslatorCurveFitting",
         "perZOR",
         1,
         "exchange",
         "translator",
         native("extensions/translator/manifest.json")},
        {"a manifest's feature with a file of its own",
         "TranslatorUnitGuessing",
         "perPROCESS",
         0,
         "exchange",
         "translator",
         "translator/units.cpp"},
        {"the manifest of a bundle with code",
         "ViewportDepthCueing",
         "perPROCESS",
         2,
         "graphics",
         "viewport",
         native("extensions/viewport/manifest.json")},
        {"an activator",
         "ViewportFrameStatistics",
         "perPROCESS",
         0,
         "graphics",
         "viewport",
         "extensions/viewport/viewport.cpp"},
        {"the only service of a bundle",
         "SketchingAutomaticConstraints",
         "perZOR",
         1,
         "modeling",
         "sketching",
         "extensions/sketching/sketching.cpp"},
        {"the first of two services",
         "LaboratoryFluidTracers",
         "perZOR",
         64,
         "simulation",
         "laboratory",
         "extensions/laboratory/laboratory.cpp"},
        {"the second of two services",
         "LaboratoryHeatMaps",
         "perPROCESS",
         0,
         "simulation",
         "laboratory",
         "extensions/laboratory/laboratory.cpp"},
    };
    for (char const* engines : {"0", "3"}) {
        auto const rows = rowsOf({"--engines", engines});
        for (Row const& expected : expectedRows) {
            SCOPED_TRACE(expected.says);
            ASSERT_TRUE(rows.contains(expected.name));
            auto const& row = rows.at(expected.name);
            EXPECT_EQ(row.at("scope").get<std::string>(), expected.scope);
            EXPECT_EQ(number(row, "value"), expected.value);
            EXPECT_EQ(row.at("component").get<std::string>(), expected.component);
            EXPECT_EQ(row.at("module").get<std::string>(), expected.module);
            EXPECT_EQ(row.at("file").get<std::string>(), expected.file);
        }
    }
}

TEST(TheFeatureOfAnExtension, TakesSettingsAndEnvironmentValuesAsAnyOther) {
    auto const rows =
        rowsOf({"--set", "LaboratoryFluidTracers=7"},
               {{"QZ_FEATURE_ViewportDepthCueing", "5"}, {"QZ_FEATURE_LaboratoryHeatMaps", "1"}});
    EXPECT_THAT(engineValues(rows.at("LaboratoryFluidTracers")), ElementsAre(7, 7));
    EXPECT_EQ(number(rows.at("ViewportDepthCueing"), "value"), 5);
    EXPECT_EQ(number(rows.at("LaboratoryHeatMaps"), "value"), 1);
}

TEST(TheBrokenExtension, IsReportedByEachKindOfLookupThatReadsItAndHasNoFeature) {
    Outcome const outcome = run({"--json"});
    EXPECT_EQ(outcome.exitCode, 0);
    std::vector<std::string> records = linesOf(outcome.errors);
    std::erase(records, test::extensionsNotice);
    EXPECT_THAT(records, SizeIs(2)) << "by getFeature and by getAllFeatures";
    EXPECT_THAT(records,
                Each(AllOf(StartsWith("foundation::feature::register [512] Unable to get fctrl list from "),
                           HasSubstr(native("/bin/win64/fctrl_ext/demo_broken.zip") +
                                     ": Exception: cppmicroservices::BadAnyCastException: ref_any_cast: "))));
    EXPECT_THAT(outcome.output, Not(HasSubstr("BrokenNeverRegistered")));
}

TEST(ThePlainRun, SaysWhichLookupMadeTheLibraryInstallTheExtensions) {
    EXPECT_THAT(linesOf(run({}).errors), testing::Contains(test::extensionsNotice).Times(1));
}

TEST(TheLog, ShowsWhichLookupMadeTheLibraryAskTheExtensions) {
    Outcome const outcome = run(
        {"--engines", "0", "--log", "demo_host=520,foundation::feature::lookup=8", "--only", "Sketching"});
    EXPECT_EQ(outcome.exitCode, 0);
    std::vector<std::string> records = linesOf(outcome.errors);
    std::erase_if(records, [](std::string const& line) { return line.find("demo_broken.zip") != line.npos; });
    std::string const lookup = "foundation::feature::lookup [8] ";
    std::string const found3 = lookup + "found 3 foundation::fctrl_ext::Registration instances";
    EXPECT_THAT(records,
                testing::ElementsAreArray({
                    std::string("demo_host [8] looking for HostCrashReports"),
                    std::string("demo_host [8] found: declared in demo_host/main.cpp"),
                    std::string("demo_host [8] looking for TranslatorCurveFitting"),
                    lookup + "installAndStarted 5",
                    test::extensionsNotice,
                    "demo_host [8] found: declared in " + native("extensions/translator/manifest.json"),
                    std::string("demo_host [8] looking for SketchingAutomaticConstraints"),
                    lookup + "installAndStarted 5",
                    found3,
                    std::string("demo_host [8] found: declared in extensions/sketching/sketching.cpp"),
                    std::string("demo_host [8] looking for NobodysFeature"),
                    lookup + "installAndStarted 5",
                    found3,
                    std::string("demo_host [8] not found: no extension has it"),
                    // What the engines' watcher says, though none runs, and then the catalogue.
                    std::string("demo_host [8] autosave is on"),
                    std::string("demo_host [8] autosave is off"),
                    std::string("demo_host [8] autosave is on"),
                    lookup + "installAndStarted 5",
                    found3,
                }));
    EXPECT_THAT(linesOf(outcome.output), SizeIs(2)) << "standard output carries the table alone";
}

TEST(TheLog, ShowsTheStackOfASlowLookup) {
    Outcome const outcome = run({"--engines", "0", "--log", "foundation::feature::lookup=256"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(outcome.errors, HasSubstr("slow feature lookup required\n"));
#if defined(_WIN32)
    // A call is known by its module and address only.
    EXPECT_THAT(outcome.errors, HasSubstr("foundation_feature.dll(+0x"));
#else
    EXPECT_THAT(outcome.errors, HasSubstr("foundation::feature::management::getFeature"));
#endif
}

TEST(AHostWithoutExtensions, RunsAllTheSame) {
    TemporaryFolder const root;
    test::Environment const variables = {{"FOUNDATION_ROOT", root.path.string()}};
    Outcome const outcome = run({}, variables);
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    auto const names = keysOf(rowsOf({}, variables));
    EXPECT_THAT(names, SizeIs(testing::Ge(150U)));
    EXPECT_THAT(names,
                Each(Not(AnyOf(StartsWith("Translator"),
                               StartsWith("Viewport"),
                               StartsWith("Sketching"),
                               StartsWith("Laboratory")))));
}

}  // namespace
}  // namespace demo
