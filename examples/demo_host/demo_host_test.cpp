// Runs the program as a user does and looks at its exit code and both outputs.

#include "TemporaryFolder.hpp"

#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <boost/process/args.hpp>
#include <boost/process/env.hpp>
#include <boost/process/environment.hpp>
#include <boost/process/exe.hpp>
#include <boost/process/io.hpp>
#include <boost/process/start_dir.hpp>
#include <boost/process/system.hpp>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace demo {
namespace {

namespace json = foundation::json;
using test::TemporaryFolder;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

using Array = std::vector<json::Value>;
using Object = std::map<std::string, json::Value>;
using Arguments = std::vector<std::string>;
using Environment = std::map<std::string, std::string>;

constexpr char const* alpha = R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}])";

std::filesystem::path const program = DEMO_HOST_PROGRAM;

std::string readFile(std::filesystem::path const& file) {
    std::ifstream input(file);
    return {std::istreambuf_iterator<char>(input), std::istreambuf_iterator<char>()};
}

std::vector<std::string> linesOf(std::string const& text) {
    std::vector<std::string> lines;
    std::istringstream input(text);
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    return lines;
}

struct Outcome {
    int exitCode;
    std::string output;
    std::string errors;
};

/// Runs the program to its end, in a folder of its own, so that nothing depends on the folder it is started
/// in.
Outcome
run(Arguments const& arguments, Environment const& variables = {}, std::filesystem::path const& output = {}) {
    namespace process = boost::process;
    TemporaryFolder const folder;
    process::environment environment = boost::this_process::environment();
    environment.erase("FOUNDATION_LOG");
    environment.erase("FOUNDATION_ROOT");
    for (auto const& [name, value] : variables)
        environment[name] = value;

    auto const outputFile = (output.empty() ? folder.path / "output" : output).string();
    auto const errorFile = (folder.path / "errors").string();
    int const exitCode = process::system(process::exe = program.string(),
                                         process::args = arguments,
                                         process::start_dir = folder.path.string(),
                                         environment,
                                         process::std_in<process::null, process::std_out> outputFile,
                                         process::std_err > errorFile);
    return {exitCode, output.empty() ? readFile(outputFile) : "", readFile(errorFile)};
}

/// The rows that a run prints as JSON, by name.
std::map<std::string, Object> rowsOf(Arguments arguments, Environment const& variables = {}) {
    arguments.push_back("--json");
    Outcome const outcome = run(arguments, variables);
    EXPECT_EQ(outcome.exitCode, 0) << outcome.errors;
    std::map<std::string, Object> rows;
    json::Value const root = json::parse(outcome.output);
    for (json::Value const& row : root.get<Array>()) {
        Object const& object = row.get<Object>();
        rows[object.at("name").get<std::string>()] = object;
    }
    return rows;
}

std::int64_t number(Object const& row, std::string const& key) {
    return row.at(key).get<std::int64_t>();
}

std::vector<std::int64_t> engineValues(Object const& row) {
    std::vector<std::int64_t> values;
    for (json::Value const& value : row.at("engineValues").get<Array>())
        values.push_back(value.get<std::int64_t>());
    return values;
}

template <class Rows>
std::vector<std::string> keysOf(Rows const& rows) {
    std::vector<std::string> keys;
    for (auto const& [key, value] : rows)
        keys.push_back(key);
    return keys;
}

/// The table's row of a feature, its cells cut at blanks.
std::vector<std::string> cellsOf(std::string const& table, std::string const& name) {
    for (std::string const& line : linesOf(table)) {
        std::istringstream input(line);
        std::vector<std::string> const cells{std::istream_iterator<std::string>(input), {}};
        if (!cells.empty() && cells.front() == name) return cells;
    }
    return {};
}

/// All descriptors beside the program.
std::vector<Object> shippedDescriptors() {
    std::vector<Object> descriptors;
    for (auto const& entry : std::filesystem::directory_iterator(program.parent_path() / "descriptors")) {
        json::Value const root = json::parse(readFile(entry.path()));
        json::Value const& list = root.is<Object>() ? root.get<Object>().at("features") : root;
        for (json::Value const& descriptor : list.get<Array>())
            descriptors.push_back(descriptor.get<Object>());
    }
    return descriptors;
}

TEST(TheShippedDescriptors, ShowAllThatADescriptorMaySay) {
    std::vector<Object> const descriptors = shippedDescriptors();
    EXPECT_THAT(descriptors, SizeIs(Ge(150U)));
    std::map<std::string, std::set<std::string>> texts;  // of each key
    std::set<std::string> kinds;                         // of the default values
    bool isAnyWithoutType = false;
    bool isAnyWithoutFile = false;
    bool isAnyLineText = false;
    for (Object const& descriptor : descriptors) {
        for (auto const& [key, value] : descriptor) {
            if (value.is<std::string>()) texts[key].insert(value.get<std::string>());
            if (key == "line" && value.is<std::string>()) isAnyLineText = true;
        }
        json::Value const& value = descriptor.at("defaultValue");
        kinds.insert(value.is<std::int64_t>()  ? "int"
                     : value.is<bool>()        ? "bool"
                     : value.is<double>()      ? "double"
                     : value.is<std::string>() ? "string"
                                               : "other");
        isAnyWithoutType = isAnyWithoutType || !descriptor.contains("type");
        isAnyWithoutFile = isAnyWithoutFile || !descriptor.contains("file");
    }
    EXPECT_THAT(texts["name"], SizeIs(descriptors.size())) << "a name stands there twice";
    EXPECT_THAT(texts["FCtrlState"], UnorderedElementsAre("Off", "On", "Beta", "Preview", "DebugOrTest"));
    EXPECT_THAT(texts["FctrlState"], UnorderedElementsAre("Off", "On", "Beta", "Preview", "DebugOrTest"));
    EXPECT_THAT(texts["type"],
                UnorderedElementsAre("perZOR",
                                     "ZOR",
                                     "foundation::feature::Scope::ZOR",
                                     "perPROCESS",
                                     "PROCESS",
                                     "foundation::feature::Scope::PROCESS"));
    EXPECT_THAT(kinds, UnorderedElementsAre("int", "bool", "double", "string"));
    EXPECT_TRUE(isAnyWithoutType);
    EXPECT_TRUE(isAnyWithoutFile);
    EXPECT_TRUE(isAnyLineText);
}

TEST(ThePlainRun, PrintsEveryFeatureInTheOrderOfTheirNamesAndNothingElse) {
    Outcome const outcome = run({});
    EXPECT_EQ(outcome.exitCode, 0);
    EXPECT_EQ(outcome.errors, "");
    std::vector<std::string> lines = linesOf(outcome.output);
    ASSERT_THAT(lines, SizeIs(Ge(151U)));
    EXPECT_THAT(lines.front(), StartsWith("name "));
    for (char const* title : {"scope",
                              "state",
                              "default",
                              "value",
                              "zor 1",
                              "zor 2",
                              "reads",
                              "writes",
                              "component",
                              "module",
                              "file:line"}) {
        EXPECT_THAT(lines.front(), HasSubstr(title));
    }
    EXPECT_THAT(lines.front(), Not(HasSubstr("zor 3")));

    lines.erase(lines.begin());
    std::set<std::string> names;
    for (std::string const& line : lines)
        names.insert(line.substr(0, line.find(' ')));
    EXPECT_TRUE(std::is_sorted(lines.begin(), lines.end(), [](auto const& left, auto const& right) {
        return left.substr(0, left.find(' ')) < right.substr(0, right.find(' '));
    }));
    EXPECT_THAT(names, SizeIs(lines.size()));
    for (Object const& descriptor : shippedDescriptors())
        EXPECT_THAT(names, Contains(descriptor.at("name").get<std::string>()));
    EXPECT_THAT(names, IsSupersetOf({"HostCrashReports", "HostIncrementalRecompute"}))
        << "registered by call";
}

TEST(ThePlainRun, SaysOfAFeatureWhatItsDescriptorSays) {
    std::string const table = run({}).output;
    EXPECT_THAT(cellsOf(table, "UiUndoDepth"),
                ElementsAre("UiUndoDepth",
                            "perZOR",
                            "Beta",
                            "100",
                            "100",
                            "100",
                            "100",
                            "2",
                            "0",
                            "interface",
                            "ui_shell",
                            "ui/undo/HistoryPanel.cpp:51"));
    EXPECT_THAT(cellsOf(table, "RenderForceSoftwareDevice"),
                ElementsAre("RenderForceSoftwareDevice",
                            "perPROCESS",
                            "DebugOrTest",
                            "0",
                            "0",
                            "-",
                            "-",
                            "0",
                            "0",
                            "graphics",
                            "render_core",
                            "gfx/device/DeviceSelection.cpp:131"));
    EXPECT_THAT(cellsOf(table, "DocumentReadOnlyLocks"),
                ElementsAre("DocumentReadOnlyLocks",
                            "perPROCESS",
                            "On",
                            "1",
                            "1",
                            "-",
                            "-",
                            "0",
                            "0",
                            "-",
                            "document",
                            "descriptors/document.json"));
}

TEST(TwoRuns, PrintTheSame) {
    EXPECT_EQ(run({"--engines", "8"}).output, run({"--engines", "8"}).output);
    EXPECT_EQ(run({"--engines", "8", "--json"}).output, run({"--engines", "8", "--json"}).output);
}

TEST(TheEngines, ReadChangeAndOverrideFeatures) {
    auto const rows = rowsOf({"--engines", "3"});
    EXPECT_THAT(engineValues(rows.at("HostIncrementalRecompute")), ElementsAre(0, 1, 0));
    EXPECT_EQ(number(rows.at("HostIncrementalRecompute"), "value"), 0);
    EXPECT_EQ(number(rows.at("HostIncrementalRecompute"), "writes"), 1);
    EXPECT_THAT(engineValues(rows.at("SolverThreadsPerEngine")), ElementsAre(2, 4, 6));
    EXPECT_EQ(number(rows.at("SolverThreadsPerEngine"), "writes"), 2)
        << "engine 2 sets what is there already";
    // Each engine looks through the Beta features once, and reads these besides.
    EXPECT_EQ(number(rows.at("UiUndoDepth"), "reads"), 3);
    EXPECT_EQ(number(rows.at("SolverThreadsPerEngine"), "reads"), 3 + 3);
    EXPECT_EQ(number(rows.at("MeshAdaptiveRefinement"), "reads"), 3 + 11 * (1 + 2 + 3));

    // Overridden for a while and restored: unchanged, but written twice by each.
    EXPECT_THAT(engineValues(rows.at("HostStepTrace")), ElementsAre(0, 0, 0));
    EXPECT_EQ(number(rows.at("HostStepTrace"), "writes"), 6);
    EXPECT_EQ(number(rows.at("DocumentAutosave"), "value"), 1);
    EXPECT_EQ(number(rows.at("DocumentAutosave"), "writes"), 2);
    EXPECT_EQ(number(rows.at("HostStartupStatistics"), "value"), 1);
}

TEST(TheNumberOfEngines, MayBeAnythingFrom0To64) {
    Outcome const none = run({"--engines", "0"});
    EXPECT_EQ(none.exitCode, 0);
    EXPECT_THAT(none.output, Not(HasSubstr("zor 1")));
    EXPECT_THAT(
        rowsOf({"--engines", "0", "--only", "UiUndoDepth"}).at("UiUndoDepth").at("engineValues").get<Array>(),
        IsEmpty());
    Outcome const most = run({"--engines", "64"});
    EXPECT_EQ(most.exitCode, 0);
    EXPECT_THAT(linesOf(most.output).front(), AllOf(HasSubstr("zor 64"), Not(HasSubstr("zor 65"))));
}

/// The cells that the table must show for a row of the JSON array, when there are two engines.
std::vector<std::string> expectedCells(Object const& row) {
    auto const text = [&](char const* key) {
        std::string const& content = row.at(key).get<std::string>();
        return content.empty() ? "-" : content;
    };
    auto const markedValue = [&](std::int64_t value) {
        return std::to_string(value) + (value != number(row, "default") ? "*" : "");
    };
    std::vector<std::string> cells = {text("name"),
                                      text("scope"),
                                      text("state"),
                                      std::to_string(number(row, "default")),
                                      markedValue(number(row, "value"))};
    for (std::int64_t const value : engineValues(row))
        cells.push_back(markedValue(value));
    if (text("scope") == "perPROCESS") cells.insert(cells.end(), 2, "-");
    cells.push_back(std::to_string(number(row, "reads")));
    cells.push_back(std::to_string(number(row, "writes")));
    cells.push_back(text("component"));
    cells.push_back(text("module"));
    std::int64_t const line = number(row, "line");
    cells.push_back(text("file") + (line >= 0 ? ":" + std::to_string(line) : ""));
    return cells;
}

TEST(Json, SaysTheSameAsTheTable) {
    std::string const table = run({}).output;
    auto const rows = rowsOf({});
    EXPECT_THAT(linesOf(table), SizeIs(rows.size() + 1));
    for (auto const& [name, row] : rows) {
        SCOPED_TRACE(name);
        std::vector<std::string> const cells = expectedCells(row);
        EXPECT_EQ(cellsOf(table, name), cells);
        bool const isMarked =
            std::any_of(cells.begin(), cells.end(), [](auto const& cell) { return cell.back() == '*'; });
        EXPECT_EQ(row.at("changed").get<bool>(), isMarked);
    }
}

TEST(Filters, LeaveOutWhatIsNotAskedFor) {
    auto const mesh = rowsOf({"--only", "MeshQuality"});
    EXPECT_THAT(keysOf(mesh), ElementsAre("MeshQualityJacobianRepair", "MeshQualityReportHistogram"));
    EXPECT_THAT(rowsOf({"--only", "meshquality"}), IsEmpty());

    auto const preview = rowsOf({"--state", "Preview"});
    EXPECT_THAT(preview, Not(IsEmpty()));
    for (auto const& [name, row] : preview)
        EXPECT_EQ(row.at("state").get<std::string>(), "Preview") << name;

    EXPECT_THAT(keysOf(rowsOf({"--changed"})),
                ElementsAre("HostIncrementalRecompute", "HostStartupStatistics", "SolverThreadsPerEngine"));
    EXPECT_THAT(keysOf(rowsOf({"--changed", "--only", "Host", "--state", "Beta"})),
                ElementsAre("HostIncrementalRecompute"));
    EXPECT_THAT(linesOf(run({"--only", "no such feature"}).output), SizeIs(1));
}

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
    EXPECT_EQ(unknown.errors, "demo_host: no feature is called \"NoSuchFeature\"\n");
    Outcome const misspelt = run({"--set", "uiDarktheme=1"});
    EXPECT_EQ(misspelt.exitCode, 1);
    EXPECT_EQ(misspelt.output, "");
    EXPECT_EQ(misspelt.errors,
              "demo_host: no feature is called \"uiDarktheme\"; did you mean \"UiDarkTheme\"?\n");
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
TEST(AnOutputThatCannotBeWritten, IsAnError) {
    Outcome const outcome = run({}, {}, "/dev/full");
    EXPECT_EQ(outcome.exitCode, 1);
    EXPECT_EQ(outcome.errors, "demo_host: standard output cannot be written\n");
}
#endif

}  // namespace
}  // namespace demo
