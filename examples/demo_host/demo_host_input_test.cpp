// What the program does with its command line, descriptor files and environment.

#include "DemoRun.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace demo {
namespace {

using test::cellsOf;
using test::engineValues;
using test::Environment;
using test::errorsBesidesExtensions;
using test::linesOf;
using test::number;
using test::Outcome;
using test::rowsOf;
using test::run;
using test::TemporaryFolder;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

constexpr char const* alpha = R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}])";

TEST(ASetting, ReachesEveryInstanceAndIsTheLastWord) {
    auto const rows = rowsOf({"--set",
                              "UiDarkTheme=0",
                              "--set",
                              "UiUndoDepth=7",
                              "--set",
                              "HostIncrementalRecompute=0",
                              "--set",
                              "UiUndoDepth=-8",
                              "--set",
                              "UiTouchGestures=0"});
    EXPECT_EQ(number(rows.at("UiDarkTheme"), "value"), 0);
    EXPECT_EQ(number(rows.at("UiDarkTheme"), "writes"), 1);
    EXPECT_EQ(number(rows.at("UiUndoDepth"), "value"), -8);
    EXPECT_THAT(engineValues(rows.at("UiUndoDepth")), ElementsAre(-8, -8));
    EXPECT_EQ(number(rows.at("UiUndoDepth"), "writes"), 6);
    EXPECT_THAT(engineValues(rows.at("HostIncrementalRecompute")), ElementsAre(0, 0))
        << "engine 2 has set it to 1";
    EXPECT_EQ(number(rows.at("UiTouchGestures"), "writes"), 0) << "setting the present value is no write";
}

TEST(ASetting, OfAnUnknownFeatureIsAnErrorOfOneLine) {
    Outcome const unknown = run({"--set", "NoSuchFeature=1"});
    EXPECT_EQ(unknown.exitCode, 1);
    EXPECT_EQ(unknown.output, "");
    EXPECT_THAT(errorsBesidesExtensions(unknown),
                ElementsAre("demo_host: no feature is called \"NoSuchFeature\""));
    Outcome const misspelt = run({"--set", "uiDarktheme=1"});
    EXPECT_EQ(misspelt.exitCode, 1);
    EXPECT_EQ(misspelt.output, "");
    EXPECT_THAT(
        errorsBesidesExtensions(misspelt),
        ElementsAre("demo_host: no feature is called \"uiDarktheme\"; did you mean \"UiDarkTheme\"?"));
}

TEST(AFurtherDescriptorFile, IsLoadedWhereverItStandsInTheCommandLine) {
    TemporaryFolder const folder;
    std::string const mine = folder.write("my.json", alpha);
    std::string const other =
        folder.write("other.json", R"({"component": "core", "module": "kernel", "features": [
        {"name": "Beta", "FctrlState": "Beta", "type": "perPROCESS", "defaultValue": 4}]})");
    auto const rows = rowsOf({"--set",
                              "Alpha=1",
                              "--engines",
                              "3",
                              "--descriptors",
                              mine,
                              "--descriptors",
                              other,
                              "--set",
                              "Beta=5"});
    EXPECT_EQ(number(rows.at("Alpha"), "value"), 1);
    EXPECT_THAT(engineValues(rows.at("Alpha")), ElementsAre(1, 1, 1));
    EXPECT_EQ(rows.at("Alpha").at("module").get<std::string>(), "my");
    EXPECT_EQ(rows.at("Alpha").at("file").get<std::string>(), mine);
    EXPECT_EQ(number(rows.at("Alpha"), "line"), -1);
    EXPECT_EQ(number(rows.at("Beta"), "value"), 5);
    EXPECT_EQ(rows.at("Beta").at("component").get<std::string>(), "core");
    EXPECT_TRUE(rows.contains("UiUndoDepth")) << "the shipped files are loaded too";
}

TEST(ABadDescriptorFile, EndsTheRunWithOneLine) {
    struct Row {
        char const* says;
        char const* content;
        char const* error;
    };
    Row const rows[] = {
        {"a syntax error has line and column", "[\n  {\"name\": }\n]\n", ":2:12: "},
        {"a wrong kind",
         R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": {}}])",
         R"(: descriptor 1 ("Alpha"): property value unsupported: "defaultValue": )"
         "invalid conversion: object to int32"},
        {"a missing key",
         R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0},
             {"FCtrlState": "Off", "defaultValue": 0}])",
         R"(: descriptor 2: property not specified: "name")"},
        {"a bad state, of which the log says nothing besides",
         R"([{"name": "Alpha", "FCtrlState": "Done", "defaultValue": 0}])",
         R"(: descriptor 1 ("Alpha"): fctrl: Alpha: feature control state must be one of: )"
         R"("Off", "On", "Beta", "Preview", "DebugOrTest")"},
        {"a name that a shipped file has",
         R"([{"name": "UiDarkTheme", "FCtrlState": "On", "defaultValue": 1}])",
         R"(: descriptor 1 ("UiDarkTheme"): feature registered twice: UiDarkTheme: modules: )"
         "ui_shell and bad"},
        {"a root of the wrong kind", "\"text\"", ": must hold an array of descriptors, or an object"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        TemporaryFolder const folder;
        std::string const file = folder.write("bad.json", row.content);
        Outcome const outcome = run({"--descriptors", file});
        EXPECT_EQ(outcome.exitCode, 1);
        EXPECT_EQ(outcome.output, "");
        EXPECT_THAT(linesOf(outcome.errors), ElementsAre(StartsWith("demo_host: " + file + row.error)));
        EXPECT_THAT(outcome.errors, EndsWith("\n"));
    }
}

TEST(AMissingDescriptorFile, EndsTheRunWithOneLine) {
    Outcome const outcome = run({"--descriptors", "missing.json"});
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_THAT(linesOf(outcome.errors),
                ElementsAre(StartsWith("demo_host: missing.json: cannot be read: ")));
}

TEST(TheEnvironment, GivesAFeatureItsFirstValue) {
    Environment const variables = {{"QZ_FEATURE_UiDarkTheme", "2"},
                                   {"QZ_FEATURE_UiUndoDepth", "50"},
                                   {"QZ_FEATURE_HostIncrementalRecompute", "-3"}};
    auto const rows = rowsOf({}, variables);
    EXPECT_EQ(number(rows.at("UiDarkTheme"), "value"), 2);
    EXPECT_EQ(number(rows.at("UiDarkTheme"), "default"), 1);
    EXPECT_TRUE(rows.at("UiDarkTheme").at("changed").get<bool>());
    EXPECT_EQ(number(rows.at("UiUndoDepth"), "value"), 50);
    EXPECT_THAT(engineValues(rows.at("UiUndoDepth")), ElementsAre(50, 50));
    EXPECT_THAT(engineValues(rows.at("HostIncrementalRecompute")), ElementsAre(-3, -3))
        << "the engines leave it alone";

    std::string const table = run({"--changed"}, variables).output;
    EXPECT_THAT(cellsOf(table, "UiDarkTheme"), Contains("2*"));
    EXPECT_THAT(cellsOf(table, "UiUndoDepth"), Contains("50*").Times(3));
}

TEST(TheEnvironment, ReachesFeaturesOfFurtherDescriptorFilesAndGivesWayToASetting) {
    TemporaryFolder const folder;
    std::string const mine = folder.write("my.json", alpha);
    Environment const variables = {{"QZ_FEATURE_Alpha", "2"}};
    EXPECT_EQ(number(rowsOf({"--descriptors", mine}, variables).at("Alpha"), "value"), 2);
    EXPECT_EQ(number(rowsOf({"--descriptors", mine, "--set", "Alpha=3"}, variables).at("Alpha"), "value"), 3);
}

TEST(AnEnvironmentValueThatIsNoNumber, IsReportedOnStandardErrorAndIgnored) {
    Outcome const outcome = run({"--only", "UiDarkTheme"}, {{"QZ_FEATURE_UiDarkTheme", "off"}});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_THAT(
        outcome.errors,
        HasSubstr(
            "feature UiDarkTheme: environment variable QZ_FEATURE_UiDarkTheme set to unsupported value: "
            "\"off\""));
    EXPECT_THAT(linesOf(outcome.output), SizeIs(2));
    EXPECT_THAT(cellsOf(outcome.output, "UiDarkTheme"), Not(Contains(HasSubstr("*"))));
}

TEST(TheLog, ShowsTheChannelsThatAreAskedFor) {
    Outcome const outcome = run({"--log",
                                 "foundation::feature::set=16,demo_host=8",
                                 "--set",
                                 "UiDarkTheme=0",
                                 "--only",
                                 "UiDarkTheme"});
    EXPECT_EQ(outcome.exitCode, 0);
    std::vector<std::string> const records = linesOf(outcome.errors);
    EXPECT_THAT(records, Contains(HasSubstr("feature UiDarkThemechanged.  from: 1 to: 0")));
    EXPECT_THAT(records, Contains(HasSubstr("feature DocumentAutosavechanged.  from: 1 to: 0")));
    EXPECT_THAT(records, Contains(HasSubstr("feature DocumentAutosavechanged.  from: 0 to: 1")));
    EXPECT_THAT(records, Contains(HasSubstr("autosave is off")).Times(1));
    EXPECT_THAT(records, Contains(HasSubstr("autosave is on")).Times(2)) << "once when the watch begins";
    EXPECT_THAT(records, Contains(HasSubstr("engine 1: 11 steps, 1 of them traced, with ")));
    EXPECT_THAT(records, Contains(HasSubstr("engine 2: 22 steps, 2 of them traced, with ")));
    EXPECT_THAT(outcome.output, StartsWith("name "));
    EXPECT_THAT(linesOf(outcome.output), SizeIs(2)) << "standard output carries the table alone";

    EXPECT_THAT(
        run({"--log", "foundation::feature::registration=2"}).errors,
        HasSubstr(
            " featureName=UiDarkTheme defaultValue=1 scope=Scope::PROCESS wip=On clientdir=ui filename="));
    EXPECT_THAT(run({"--log", "*=0"}, {{"QZ_FEATURE_UiDarkTheme", "off"}}).errors, "");
}

TEST(Help, PrintsTheOptionsAndStartsNothing) {
    Outcome const outcome = run({"--help"});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    EXPECT_THAT(outcome.output, AllOf(StartsWith("Usage: demo_host "), HasSubstr("QZ_FEATURE_<name>")));
}

TEST(AMistakeInTheCommandLine, EndsWithOneLineThatPointsAtHelp) {
    Outcome const unknown = run({"--verbose"});
    EXPECT_EQ(unknown.exitCode, 2);
    EXPECT_EQ(unknown.output, "");
    EXPECT_EQ(unknown.errors, "demo_host: unknown option \"--verbose\"; see demo_host --help\n");
    Outcome const malformed = run({"--set", "UiDarkTheme=on"});
    EXPECT_EQ(malformed.exitCode, 2);
    EXPECT_EQ(malformed.output, "");
    EXPECT_EQ(malformed.errors,
              "demo_host: --set expects <name>=<int>, not \"UiDarkTheme=on\"; see demo_host --help\n");
}

#if defined(__linux__)
// Only Linux has a file that takes nothing.
TEST(AnOutputThatCannotBeWritten, IsAnError) {
    Outcome const outcome = run({}, {}, "/dev/full");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_THAT(errorsBesidesExtensions(outcome),
                ElementsAre("demo_host: standard output cannot be written"));
}
#endif

}  // namespace
}  // namespace demo
