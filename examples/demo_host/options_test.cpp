#include "options.hpp"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace demo {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

using Arguments = std::vector<std::string>;

TEST(ACommandLine, MayBeEmpty) {
    Options const options = parseOptions({});
    EXPECT_FALSE(options.help);
    EXPECT_FALSE(options.json);
    EXPECT_FALSE(options.changed);
    EXPECT_EQ(options.only, "");
    EXPECT_EQ(options.state, "");
    EXPECT_EQ(options.engines, 2U);
    EXPECT_THAT(options.descriptorFiles, IsEmpty());
    EXPECT_THAT(options.settings, IsEmpty());
    EXPECT_THAT(options.channelMasks, IsEmpty());
}

TEST(ACommandLine, TakesEveryOption) {
    Options const options =
        parseOptions({"--json", "--changed", "--only", "Mesh", "--state", "Beta", "--engines", "3"});
    EXPECT_TRUE(options.json);
    EXPECT_TRUE(options.changed);
    EXPECT_EQ(options.only, "Mesh");
    EXPECT_EQ(options.state, "Beta");
    EXPECT_EQ(options.engines, 3U);
}

TEST(ACommandLine, CollectsRepeatedOptionsInTheirOrder) {
    Options const options = parseOptions({"--descriptors",
                                          "b.json",
                                          "--set",
                                          "Beta=1",
                                          "--log",
                                          "one=1,two=0x1F",
                                          "--descriptors",
                                          "a.json",
                                          "--set",
                                          "Alpha=-2",
                                          "--log",
                                          "*=0X10"});
    EXPECT_THAT(options.descriptorFiles, ElementsAre("b.json", "a.json"));
    EXPECT_THAT(options.settings, ElementsAre(Pair("Beta", 1), Pair("Alpha", -2)));
    EXPECT_THAT(options.channelMasks, ElementsAre(Pair("one", 1U), Pair("two", 31U), Pair("*", 16U)));
}

TEST(ACommandLine, TakesTheLastOfOptionsThatHoldOneText) {
    EXPECT_EQ(parseOptions({"--only", "a", "--only", "b"}).only, "b");
    EXPECT_EQ(parseOptions({"--engines", "1", "--engines", "5"}).engines, 5U);
}

TEST(ACommandLine, TakesWhateverFollowsAnOptionAsItsArgument) {
    EXPECT_EQ(parseOptions({"--only", "--json"}).only, "--json");
    EXPECT_EQ(parseOptions({"--only", ""}).only, "");
}

TEST(ACommandLine, IsNotLookedAtBehindHelp) {
    EXPECT_TRUE(parseOptions({"--help", "--nonsense"}).help);
    EXPECT_THROW(parseOptions({"--nonsense", "--help"}), UsageError);
}

TEST(ASetting, IsANameAndOneInt) {
    struct Row {
        char const* says;
        char const* text;
        char const* name;
        int value;
    };
    Row const rows[] = {
        {"the largest int", "Alpha=2147483647", "Alpha", 2147483647},
        {"the smallest int", "Alpha=-2147483648", "Alpha", -2147483647 - 1},
        {"a plus sign is allowed", "Alpha=+7", "Alpha", 7},
        {"a name may hold blanks and equals signs", "my a=b=3", "my a=b", 3},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_THAT(parseOptions({"--set", row.text}).settings, ElementsAre(Pair(row.name, row.value)));
    }
}

TEST(AMistakeInTheCommandLine, IsRefusedWithALineThatNamesIt) {
    struct Row {
        char const* says;
        Arguments arguments;
        char const* text;
    };
    Row const rows[] = {
        {"an unknown option", {"--color"}, "unknown option \"--color\""},
        {"an option in another case", {"--Json"}, "unknown option \"--Json\""},
        {"a stray argument", {"--json", "table"}, "unknown option \"table\""},
        {"an empty argument", {""}, "unknown option \"\""},
        {"a missing argument", {"--json", "--set"}, "--set expects an argument"},
        {"a setting without a value", {"--set", "Alpha"}, "--set expects <name>=<int>, not \"Alpha\""},
        {"a setting with an empty value", {"--set", "Alpha="}, "--set expects <name>=<int>, not \"Alpha=\""},
        {"a setting without a name", {"--set", "=1"}, "--set expects <name>=<int>, not \"=1\""},
        {"a setting that is no number",
         {"--set", "Alpha=on"},
         "--set expects <name>=<int>, not \"Alpha=on\""},
        {"a setting with more than a number",
         {"--set", "Alpha=1x"},
         "--set expects <name>=<int>, not \"Alpha=1x\""},
        {"a setting with a blank", {"--set", "Alpha= 1"}, "--set expects <name>=<int>, not \"Alpha= 1\""},
        {"a setting with two signs", {"--set", "Alpha=+-1"}, "--set expects <name>=<int>, not \"Alpha=+-1\""},
        {"one past the largest int",
         {"--set", "Alpha=2147483648"},
         "--set expects <name>=<int>, not \"Alpha=2147483648\""},
        {"a state in another case",
         {"--state", "beta"},
         "--state expects Off, On, Beta, Preview or DebugOrTest, not \"beta\""},
        {"too many engines", {"--engines", "65"}, "--engines expects a number from 0 to 64, not \"65\""},
        {"fewer than no engines", {"--engines", "-1"}, "--engines expects a number from 0 to 64, not \"-1\""},
        {"engines that are no number",
         {"--engines", "2.5"},
         "--engines expects a number from 0 to 64, not \"2.5\""},
        {"no masks",
         {"--log", ""},
         "--log expects <channel>=<mask>, the mask decimal or 0x-hexadecimal, not \"\""},
        {"a mask without a channel",
         {"--log", "=16"},
         "--log expects <channel>=<mask>, the mask decimal or 0x-hexadecimal, not \"=16\""},
        {"a mask that is no number",
         {"--log", "a=1,b=all"},
         "--log expects <channel>=<mask>, the mask decimal or 0x-hexadecimal, not \"a=1,b=all\""},
        {"a comma too many",
         {"--log", "a=1,"},
         "--log expects <channel>=<mask>, the mask decimal or 0x-hexadecimal, not \"a=1,\""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_THAT([&] { parseOptions(row.arguments); }, testing::ThrowsMessage<UsageError>(row.text));
    }
}

TEST(TheHelpText, NamesEveryOptionAndEnvironmentVariableAndFitsATerminal) {
    std::string const text(helpText());
    for (char const* name : {"--help",
                             "--json",
                             "--changed",
                             "--only",
                             "--state",
                             "--engines",
                             "--set",
                             "--log",
                             "--descriptors",
                             "QZ_FEATURE_<name>",
                             "FOUNDATION_LOG",
                             "FOUNDATION_ROOT",
                             "Examples:",
                             "Exit code:"}) {
        EXPECT_THAT(text, HasSubstr(name));
    }
    for (std::size_t begin = 0; begin < text.size();) {
        std::size_t const end = text.find('\n', begin);
        ASSERT_NE(end, text.npos) << "the last line has no end";
        EXPECT_LE(end - begin, 101U) << text.substr(begin, end - begin);
        begin = end + 1;
    }
}

}  // namespace
}  // namespace demo
