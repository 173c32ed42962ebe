// What the program prints.

#include "DemoRun.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <set>
#include <string>
#include <vector>

namespace demo {
namespace {

namespace json = foundation::json;
using test::Array;
using test::cellsOf;
using test::engineValues;
using test::keysOf;
using test::linesOf;
using test::number;
using test::Object;
using test::Outcome;
using test::program;
using test::readFile;
using test::rowsOf;
using test::run;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;
using testing::UnorderedElementsAre;

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
    EXPECT_THAT(test::errorsBesidesExtensions(outcome), IsEmpty());
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

}  // namespace
}  // namespace demo
