#include "catalogueTable.hpp"

#include <foundation/feature/management.hpp>
#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <gmock/gmock.h>

#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace demo {
namespace {

namespace management = foundation::feature::management;
using foundation::feature::Scope;
using testing::ElementsAre;
using testing::IsEmpty;

CatalogueRow processRow(std::string name, std::string state, int defaultValue, int value) {
    return {.name = std::move(name),
            .scope = Scope::PROCESS,
            .state = std::move(state),
            .defaultValue = defaultValue,
            .value = value,
            .engineValues = {},
            .reads = 0,
            .writes = 0,
            .component = "core",
            .module = "kernel",
            .file = "a.cpp",
            .line = 7};
}

CatalogueRow engineRow(std::string name, int defaultValue, int value, std::vector<int> engineValues) {
    CatalogueRow row = processRow(std::move(name), "Beta", defaultValue, value);
    row.scope = Scope::ZOR;
    row.engineValues = std::move(engineValues);
    return row;
}

std::vector<std::string> namesOf(std::vector<CatalogueRow> const& rows) {
    std::vector<std::string> names;
    for (CatalogueRow const& row : rows)
        names.push_back(row.name);
    return names;
}

TEST(ARow, IsChangedWhenAnyOfItsValuesDiffersFromTheDefault) {
    EXPECT_FALSE(processRow("Alpha", "On", 1, 1).isChanged());
    EXPECT_TRUE(processRow("Alpha", "On", 1, 0).isChanged());
    EXPECT_FALSE(engineRow("Alpha", 2, 2, {2, 2}).isChanged());
    EXPECT_TRUE(engineRow("Alpha", 2, 2, {2, 3}).isChanged());
    EXPECT_TRUE(engineRow("Alpha", 2, 0, {2, 2}).isChanged());
}

TEST(ASelection, TakesRowsThatMeetAllConditions) {
    std::vector<CatalogueRow> const rows = {processRow("MeshA", "On", 1, 1),
                                            processRow("MeshB", "Off", 0, 1),
                                            processRow("RenderA", "Off", 0, 1),
                                            processRow("mesh", "Off", 0, 0)};
    Options options;
    EXPECT_THAT(namesOf(select(rows, options)), ElementsAre("MeshA", "MeshB", "RenderA", "mesh"));
    options.only = "Mesh";
    EXPECT_THAT(namesOf(select(rows, options)), ElementsAre("MeshA", "MeshB"));
    options.state = "Off";
    EXPECT_THAT(namesOf(select(rows, options)), ElementsAre("MeshB"));
    options.only = "";
    EXPECT_THAT(namesOf(select(rows, options)), ElementsAre("MeshB", "RenderA", "mesh"));
    options.changed = true;
    EXPECT_THAT(namesOf(select(rows, options)), ElementsAre("MeshB", "RenderA"));
}

TEST(TheTable, HasColumnsAsWideAsTheirContentAndMarksChangedValues) {
    CatalogueRow wide = engineRow("RenderEverything", 0, 0, {1, -12});
    wide.reads = 1234;
    wide.writes = 5;
    CatalogueRow bare = processRow("Alpha", "DebugOrTest", 0, 3);
    bare.component = "";
    bare.module = "caf\xC3\xA9";
    bare.file = "dir\tname\n.json";
    bare.line = -1;

    std::ostringstream out;
    printTable(out, {bare, wide}, 2);
    EXPECT_EQ(
        out.str(),
        "name              scope       state        default  value  zor 1  zor 2  reads  writes  component  "
        "module  "
        "file:line\n"
        "Alpha             perPROCESS  DebugOrTest        0     3*     -      -       0       0  -          "
        "caf\xC3\xA9    dir\\x09name\\x0A.json\n"
        "RenderEverything  perZOR      Beta               0     0      1*   -12*   1234       5  core       "
        "kernel  "
        "a.cpp:7\n");
}

TEST(TheTable, IsALineOfTitlesWhenThereAreNoRows) {
    std::ostringstream out;
    printTable(out, {}, 0);
    EXPECT_EQ(out.str(), "name  scope  state  default  value  reads  writes  component  module  file:line\n");
}

TEST(TheJsonArray, SaysWhatTheTableSays) {
    using Array = std::vector<foundation::json::Value>;
    using Object = std::map<std::string, foundation::json::Value>;
    CatalogueRow first = processRow("quote \" backslash \\", "On", 1, -1);
    first.file = "line\nfeed\x01 caf\xC3\xA9";
    first.line = -1;
    CatalogueRow second = engineRow("Beta", 2, 2, {2, 3});
    second.reads = 4000000000;
    second.writes = 9;

    std::ostringstream out;
    printJson(out, {first, second});
    Object const expectedFirst = {{"name", "quote \" backslash \\"},
                                  {"scope", "perPROCESS"},
                                  {"state", "On"},
                                  {"default", 1},
                                  {"value", -1},
                                  {"engineValues", Array()},
                                  {"changed", true},
                                  {"reads", 0},
                                  {"writes", 0},
                                  {"component", "core"},
                                  {"module", "kernel"},
                                  {"file", "line\nfeed\x01 caf\xC3\xA9"},
                                  {"line", -1}};
    Object const expectedSecond = {{"name", "Beta"},
                                   {"scope", "perZOR"},
                                   {"state", "Beta"},
                                   {"default", 2},
                                   {"value", 2},
                                   {"engineValues", Array{2, 3}},
                                   {"changed", true},
                                   {"reads", 4000000000},
                                   {"writes", 9},
                                   {"component", "core"},
                                   {"module", "kernel"},
                                   {"file", "a.cpp"},
                                   {"line", 7}};
    EXPECT_TRUE(foundation::json::parse(out.str()) ==
                foundation::json::Value(Array{expectedFirst, expectedSecond}))
        << out.str();
}

TEST(TheJsonArray, IsEmptyWhenThereAreNoRows) {
    std::ostringstream out;
    printJson(out, {});
    EXPECT_EQ(out.str(), "[]\n");
}

TEST(TheCatalogue, IsOrderedByNameAndSaysWhereFeaturesComeFrom) {
    EngineInstances engines(1);
    management::registerFeature(Scope::ZOR, "Beta", 3, "Beta", "dir", "b.cpp", 8, "core", "kernel");
    management::registerFeature(Scope::PROCESS, "alpha", 0, "Off", "dir", "a.cpp", 9, "edge", "shell");
    management::registerFeature(Scope::PROCESS, "Gamma", 1, "On", "dir", "c.cpp", -1, "", "");

    std::vector<CatalogueRow> const rows = collectCatalogue(engines);
    ASSERT_THAT(namesOf(rows), ElementsAre("Beta", "Gamma", "alpha"));
    EXPECT_EQ(rows[0].scope, Scope::ZOR);
    EXPECT_EQ(rows[0].state, "Beta");
    EXPECT_EQ(rows[0].defaultValue, 3);
    EXPECT_THAT(rows[0].engineValues, ElementsAre(3));
    EXPECT_EQ(rows[0].component, "core");
    EXPECT_EQ(rows[0].module, "kernel");
    EXPECT_EQ(rows[0].file, "b.cpp");
    EXPECT_EQ(rows[0].line, 8);
    EXPECT_EQ(rows[1].line, -1);
    EXPECT_EQ(rows[2].scope, Scope::PROCESS);
    EXPECT_THAT(rows[2].engineValues, IsEmpty());
}

TEST(TheCatalogue, SumsTheCountersOfAllInstancesAndDoesNotCountItself) {
    EngineInstances engines(2);
    management::registerFeature(Scope::ZOR, "Alpha", 0, "Beta", "", "", 1, "", "");
    management::registerFeature(Scope::PROCESS, "Beta", 0, "Beta", "", "", 1, "", "");
    auto const alpha = management::getFeature("Alpha");
    alpha->get();
    {
        foundation::usm::CurrentEngineInstance const current(engines[1]);
        alpha->set(5);
        alpha->get();
        alpha->get();
    }
    management::getFeature("Beta")->set(1);

    std::vector<CatalogueRow> rows = collectCatalogue(engines);
    ASSERT_THAT(namesOf(rows), ElementsAre("Alpha", "Beta"));
    EXPECT_EQ(rows[0].value, 0);
    EXPECT_THAT(rows[0].engineValues, ElementsAre(0, 5));
    EXPECT_EQ(rows[0].reads, 3U);
    EXPECT_EQ(rows[0].writes, 1U);
    EXPECT_EQ(rows[1].value, 1);
    EXPECT_EQ(rows[1].reads, 0U);
    EXPECT_EQ(rows[1].writes, 1U);

    // A second look counts the reads of the first, one a record, and no more.
    rows = collectCatalogue(engines);
    EXPECT_EQ(rows[0].reads, 6U);
    EXPECT_EQ(rows[1].reads, 1U);
}

}  // namespace
}  // namespace demo
