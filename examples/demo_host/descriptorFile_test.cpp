#include "descriptorFile.hpp"

#include <foundation/feature/management.hpp>

#include "TemporaryFolder.hpp"

#include <gmock/gmock.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace demo {
namespace {

namespace management = foundation::feature::management;
using test::TemporaryFolder;
using testing::HasSubstr;
using testing::StartsWith;

std::string errorOf(std::string const& file) {
    try {
        registerDescriptorFile(file);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "no error";
}

TEST(ADescriptorFile, MayBeAnArray) {
    TemporaryFolder const folder;
    std::string const file =
        folder.write("my.json", R"([{"name": "Alpha", "FCtrlState": "On", "defaultValue": 3, "line": 5}])");
    registerDescriptorFile(file);
    auto const alpha = management::getFeature("Alpha");
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->get(), 3);
    EXPECT_EQ(alpha->getFilename(), file);
    EXPECT_EQ(alpha->getLine(), 5);
    EXPECT_EQ(alpha->getModule(), "my");
    EXPECT_EQ(alpha->getComponent(), "");
    EXPECT_EQ(alpha->getClientDir(), "");
}

TEST(ADescriptorFile, MayBeAnObjectThatSaysWhereItsFeaturesComeFrom) {
    TemporaryFolder const folder;
    registerDescriptorFile(folder.write("my.json", R"({
        "component": "core", "module": "kernel", "clientdir": "src", "note": 1,
        "features": [{"name": "Alpha", "FctrlState": "Beta", "defaultValue": 0, "file": "a.cpp"}]})"));
    auto const alpha = management::getFeature("Alpha");
    ASSERT_NE(alpha, nullptr);
    EXPECT_EQ(alpha->getComponent(), "core");
    EXPECT_EQ(alpha->getModule(), "kernel");
    EXPECT_EQ(alpha->getClientDir(), "src");
    EXPECT_EQ(alpha->getFilename(), "a.cpp");
}

TEST(ADescriptorFile, MayDeclareNothing) {
    TemporaryFolder const folder;
    registerDescriptorFile(folder.write("array.json", "[]"));
    registerDescriptorFile(folder.write("object.json", R"({"features": []})"));
    EXPECT_TRUE(management::getAllFeatures().empty());
}

TEST(ADescriptorFile, MayHaveANameOutsideOfAscii) {
    TemporaryFolder const folder;
    std::string const content = R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}])";
    std::filesystem::rename(folder.write("a.json", content), folder.path / u8"caf\u00E9.json");
    std::string const file = folder.path.generic_string() + "/caf\xC3\xA9.json";
    registerDescriptorFile(file);
    EXPECT_EQ(management::getFeature("Alpha")->getModule(), "caf\xC3\xA9");
    EXPECT_EQ(management::getFeature("Alpha")->getFilename(), file);
}

TEST(ADescriptorFile, KeepsWhatComesBeforeABadDescriptor) {
    TemporaryFolder const folder;
    std::string const file = folder.write("my.json", R"([
        {"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0},
        {"name": "Beta", "FCtrlState": "Off"},
        {"name": "Gamma", "FCtrlState": "Off", "defaultValue": 0}])");
    EXPECT_EQ(errorOf(file), file + R"(: descriptor 2 ("Beta"): property not specified: "defaultValue")");
    EXPECT_NE(management::getFeature("Alpha"), nullptr);
    EXPECT_EQ(management::getFeature("Beta"), nullptr);
    EXPECT_EQ(management::getFeature("Gamma"), nullptr);
}

TEST(ABadDescriptorFile, IsRefusedInOneLineThatSaysWhere) {
    struct Row {
        char const* says;
        std::string content;
        std::string error;
    };
    Row const rows[] = {
        {"a root that is a number", "7", ": must hold an array of descriptors, or an object"},
        {"a root that is null", "null", ": must hold an array of descriptors, or an object"},
        {"an object without features",
         R"({"component": "core"})",
         R"(: must hold an array of descriptors, or an object with one as "features")"},
        {"features that are no array",
         R"({"features": {}})",
         R"(: must hold an array of descriptors, or an object with one as "features")"},
        {"a component that is no text",
         R"({"features": [], "component": 1})",
         R"(: "component" must be a string)"},
        {"a module that is no text", R"({"features": [], "module": null})", R"(: "module" must be a string)"},
        {"a client directory that is no text",
         R"({"features": [], "clientdir": []})",
         R"(: "clientdir" must be a string)"},
        {"a descriptor that is no object", "[7]", ": descriptor 1: invalid conversion: int64 to object"},
        {"a descriptor without a name",
         R"([{"FCtrlState": "Off", "defaultValue": 0}])",
         R"(: descriptor 1: property not specified: "name")"},
        {"a name that is no text",
         R"([{"name": [], "FCtrlState": "Off", "defaultValue": 0}])",
         R"(: descriptor 1: property value unsupported: "name": invalid conversion: array to string)"},
        {"no state under either key, of which the second is named",
         R"([{"name": "Alpha", "defaultValue": 0}])",
         R"(: descriptor 1 ("Alpha"): property not specified: "FctrlState")"},
        {"an unknown state",
         R"([{"name": "Alpha", "FCtrlState": "on", "defaultValue": 0}])",
         R"(: descriptor 1 ("Alpha"): fctrl: Alpha: feature control state must be one of: )"
         R"("Off", "On", "Beta", "Preview", "DebugOrTest")"},
        {"a default that its state forbids",
         R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 1}])",
         R"(: descriptor 1 ("Alpha"): fctrl: Alpha: default value of Off fctrl must be 0)"},
        {"a default of the wrong kind",
         R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": null}])",
         R"(: descriptor 1 ("Alpha"): property value unsupported: "defaultValue": )"
         "invalid conversion: null to int32"},
        {"an unknown type",
         R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0, "type": "perzor"}])",
         R"(: descriptor 1 ("Alpha"): illegal value of fctrl type: "perzor".  )"
         R"(Legal values: "perZOR", "perPROCESS")"},
        {"a line feed in a name joins the line too",
         R"([{"name": "A\nB", "FCtrlState": "Off", "defaultValue": 0}])",
         ": descriptor 1 (\"A: B\"): fctrl: A: B: feature control names must be printable ascii.  "
         "Character: \": \" is not allowed."},
        {"half a letter of a name does not reach the terminal",
         "[{\"name\": \"\xC3\x9F\", \"FCtrlState\": \"Off\", \"defaultValue\": 0}]",
         ": descriptor 1 (\"\\xC3\\x9F\"): fctrl: \\xC3\\x9F: feature control names must be printable ascii. "
         " "
         "Character: \"\\xC3\" is not allowed."},
        {"an empty name",
         R"([{"name": "", "FCtrlState": "Off", "defaultValue": 0}])",
         ": descriptor 1 (\"\"): fctrl: : feature control names must be non-empty and less than 128 "
         "characters"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        TemporaryFolder const folder;
        std::string const file = folder.write("bad.json", row.content);
        EXPECT_EQ(errorOf(file), file + row.error);
    }
}

TEST(AFileThatIsNoJson, IsRefusedWithLineAndColumn) {
    TemporaryFolder const folder;
    std::string const file = folder.write("bad.json", "[\n  {\"name\": Alpha}\n]\n");
    EXPECT_THAT(errorOf(file), StartsWith(file + ":2:12: "));
    std::string const cut = folder.write("cut.json", "[\n  {\"name\": \"Alpha\"");
    EXPECT_THAT(errorOf(cut), StartsWith(cut + ":2:19: "));
    std::string const empty = folder.write("empty.json", "");
    EXPECT_THAT(errorOf(empty), StartsWith(empty + ":1:1: "));
}

TEST(AFileThatCannotBeRead, IsRefusedWithTheReason) {
    TemporaryFolder const folder;
    std::string const missing = (folder.path / "missing.json").generic_string();
    EXPECT_THAT(errorOf(missing), StartsWith(missing + ": cannot be read: "));
    EXPECT_THAT(errorOf(missing), HasSubstr("No such file"));
    std::string const itself = folder.path.generic_string();
    EXPECT_THAT(errorOf(itself), StartsWith(itself + ": cannot be read: "));
}

TEST(TwoDescriptorFiles, MayNotDeclareTheSameFeature) {
    TemporaryFolder const folder;
    std::string const content = R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}])";
    registerDescriptorFile(folder.write("one.json", content));
    std::string const second = folder.write("two.json", content);
    EXPECT_EQ(errorOf(second),
              second + R"(: descriptor 1 ("Alpha"): feature registered twice: Alpha: modules: one and two)");
}

TEST(ADescriptorFile, MayBeGivenTwice) {
    TemporaryFolder const folder;
    std::string const file =
        folder.write("my.json", R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}])");
    registerDescriptorFile(file);
    EXPECT_EQ(errorOf(file), "no error");
    EXPECT_EQ(management::getAllFeatures().size(), 1U);
}

TEST(ADescriptorFolder, GivesItsJsonFilesInTheOrderOfTheirNames) {
    TemporaryFolder const folder;
    std::filesystem::create_directory(folder.path / "list");
    folder.write(
        "list/b.json",
        R"({"module": "b", "features": [{"name": "Beta", "FCtrlState": "Off", "defaultValue": 0}]})");
    folder.write("list/a.json", R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0}])");
    folder.write("list/readme.txt", "no descriptors");
    registerDescriptorFolder(folder.path / "list");
    ASSERT_NE(management::getFeature("Beta"), nullptr);
    EXPECT_EQ(management::getFeature("Alpha")->getFilename(), "list/a.json");
    EXPECT_EQ(management::zor::getDataIndex("Alpha"), 0U);
    EXPECT_EQ(management::zor::getDataIndex("Beta"), 1U);
}

TEST(ADescriptorFolder, MustExist) {
    TemporaryFolder const folder;
    EXPECT_THAT([&] { registerDescriptorFolder(folder.path / "missing"); },
                testing::ThrowsMessage<std::runtime_error>(HasSubstr("missing")));
}

}  // namespace
}  // namespace demo
