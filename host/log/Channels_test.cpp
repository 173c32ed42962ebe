#include <foundation/log/diagnostic_logger.hpp>

#include "ScopedEnvironment.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace {

using foundation::log::channelMask;
using foundation::log::setChannelMask;
using foundation::test::ScopedEnvironment;
using Logger = foundation::log::basic_diagnostic_logger<char>;

TEST(AChannelMask, Is512UntilSet) {
    ScopedEnvironment const environment("FOUNDATION_LOG", std::nullopt);
    EXPECT_EQ(channelMask("a"), 512u);
    EXPECT_EQ(channelMask("*"), 512u);
    EXPECT_EQ(Logger("a").mask(), 512u);
}

TEST(AChannelMask, ReachesLoggersThatExistAndThoseMadeLater) {
    Logger const before("a::b");
    setChannelMask("a::b", 18);
    Logger const after("a::b");
    EXPECT_EQ(before.mask(), 18u);
    EXPECT_EQ(after.mask(), 18u);
    EXPECT_EQ(channelMask("a::b"), 18u);
    setChannelMask("a::b", 0);
    EXPECT_EQ(before.mask(), 0u);
    EXPECT_EQ(after.mask(), 0u);
}

TEST(AChannelMask, MayBeSetBeforeTheFirstLoggerOfTheChannelIsMade) {
    setChannelMask("early", 0xFFFFFFFF);
    EXPECT_EQ(Logger("early").mask(), 0xFFFFFFFFu);
}

TEST(AChannelMask, IsThatOfItsChannelAlone) {
    Logger const other("a::c");
    setChannelMask("a::b", 1);
    EXPECT_EQ(other.mask(), 512u);
    EXPECT_EQ(channelMask("a"), 512u);
}

TEST(TheMaskOfEveryChannel, ReachesChannelsWithoutAMaskOfTheirOwnNowAndLater) {
    Logger const present("present");
    Logger const own("own");
    setChannelMask("own", 8);
    setChannelMask("*", 16);
    EXPECT_EQ(present.mask(), 16u);
    EXPECT_EQ(Logger("future").mask(), 16u);
    EXPECT_EQ(channelMask("never used"), 16u);
    EXPECT_EQ(channelMask("*"), 16u);
    EXPECT_EQ(own.mask(), 8u);
    setChannelMask("*", 32);
    EXPECT_EQ(present.mask(), 32u);
    EXPECT_EQ(own.mask(), 8u);
}

TEST(TheMaskOfEveryChannel, IsNotPinnedByReadingTheMaskOfAChannel) {
    EXPECT_EQ(channelMask("read"), 512u);
    setChannelMask("*", 4);
    EXPECT_EQ(channelMask("read"), 4u);
}

struct MasksRow {
    char const* says;
    char const* text;
    std::vector<std::pair<char const*, unsigned>> masks;
    std::vector<char const*> skipped = {};  // as quoted in the report

    friend void PrintTo(MasksRow const& row, std::ostream* out) { *out << '"' << row.text << '"'; }
};

class TheEnvironment : public testing::TestWithParam<MasksRow> {};

TEST_P(TheEnvironment, SetsMasksAndReportsWhatCannotBeRead) {
    MasksRow const& row = GetParam();
    ScopedEnvironment const environment("FOUNDATION_LOG", row.text);
    testing::internal::CaptureStderr();
    for (auto const& [channel, mask] : row.masks) {
        EXPECT_EQ(channelMask(channel), mask) << channel;
        EXPECT_EQ(Logger(channel).mask(), mask) << channel;
    }
    std::string expected;
    for (char const* const part : row.skipped) {
        expected +=
            "FOUNDATION_LOG: expected channel=mask, the mask decimal or 0x-hexadecimal up to 4294967295, "
            "found \"" +
            std::string(part) + "\"; skipped\n";
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Text,
    TheEnvironment,
    testing::ValuesIn(std::vector<MasksRow>{
        {"AnEmptyTextSetsNothing", "", {{"a", 512}}},
        {"AMaskMayBeDecimal", "a=18", {{"a", 18}, {"b", 512}}},
        {"AMaskMayBeHexadecimal", "a=0x1aB,b=0XfF", {{"a", 0x1AB}, {"b", 0xFF}}},
        {"AMaskMayBeZero", "a=0,b=0x0", {{"a", 0}, {"b", 0}}},
        {"AMaskMayHaveEveryBit", "a=4294967295,b=0xFFFFFFFF", {{"a", 0xFFFFFFFF}, {"b", 0xFFFFFFFF}}},
        {"LeadingZerosAreNotOctal", "a=010", {{"a", 10}}},
        {"ChannelNamesMayHoldColons",
         "foundation::feature::set=16,foundation::feature::lookup=264",
         {{"foundation::feature::set", 16}, {"foundation::feature::lookup", 264}, {"foundation", 512}}},
        {"AnAsteriskSetsEveryChannel", "*=3", {{"a", 3}, {"b::c", 3}, {"*", 3}}},
        {"AnExplicitChannelWinsOverAnEarlierAsterisk", "*=3,a=5", {{"a", 5}, {"b", 3}}},
        {"AnExplicitChannelWinsOverALaterAsterisk", "a=5,*=3", {{"a", 5}, {"b", 3}}},
        {"TheLastMaskOfAChannelWins", "a=1,a=2", {{"a", 2}}},
        {"APartWithoutEqualsIsSkipped", "a,b=7", {{"a", 512}, {"b", 7}}, {"a"}},
        {"APartWithoutChannelIsSkipped", "=1,b=7", {{"", 512}, {"b", 7}}, {"=1"}},
        {"APartWithoutMaskIsSkipped", "a=,b=7", {{"a", 512}, {"b", 7}}, {"a="}},
        {"AnEmptyPartIsSkipped", "a=1,,b=7,", {{"a", 1}, {"b", 7}}, {""}},
        {"AWordIsNoMask", "a=all,b=7", {{"a", 512}, {"b", 7}}, {"a=all"}},
        {"ANegativeMaskIsSkipped", "a=-1,b=7", {{"a", 512}, {"b", 7}}, {"a=-1"}},
        {"ASignIsNoDigit", "a=+1,b=0x+1", {{"a", 512}, {"b", 512}}, {"a=+1", "b=0x+1"}},
        {"AMaskOneTooLargeIsSkipped", "a=4294967296,b=7", {{"a", 512}, {"b", 7}}, {"a=4294967296"}},
        {"AHexadecimalMaskTooLargeIsSkipped", "a=0x100000000,b=7", {{"a", 512}, {"b", 7}}, {"a=0x100000000"}},
        {"HexadecimalNeedsDigits", "a=0x,b=7", {{"a", 512}, {"b", 7}}, {"a=0x"}},
        {"HexadecimalNeedsItsPrefix", "a=ff,b=1f", {{"a", 512}, {"b", 512}}, {"a=ff", "b=1f"}},
        {"CharactersAfterTheMaskSpoilIt", "a=1x,b=2 ", {{"a", 512}, {"b", 512}}, {"a=1x", "b=2 "}},
        {"BlanksAroundAChannelAreNotGuessedAway",
         "a=1, b=7,c =8",
         {{"a", 1}, {"b", 512}, {"c", 512}},
         {" b=7", "c =8"}},
        {"ASecondEqualsBelongsToTheMask", "a=1=2", {{"a", 512}, {"a=1", 512}}, {"a=1=2"}},
        {"AReportStaysOnOneLine", "a\nb", {{"a", 512}}, {"a?b"}},
        {"TwoBadPartsAreReportedInOrder", "x,y,b=7", {{"b", 7}}, {"x", "y"}},
    }),
    [](auto const& row) { return std::string(row.param.says); });

TEST(TheEnvironmentVariable, IsReadOnlyOnce) {
    {
        ScopedEnvironment const environment("FOUNDATION_LOG", "a=1,bad");
        testing::internal::CaptureStderr();
        EXPECT_EQ(channelMask("a"), 1u);
        std::string const report = testing::internal::GetCapturedStderr();
        EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 1);
    }
    ScopedEnvironment const environment("FOUNDATION_LOG", "a=2,b=2,bad");
    testing::internal::CaptureStderr();
    EXPECT_EQ(channelMask("a"), 1u);
    EXPECT_EQ(channelMask("b"), 512u);
    EXPECT_EQ(Logger("c").mask(), 512u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(TheEnvironmentVariable, GivesWayToMasksSetLater) {
    ScopedEnvironment const environment("FOUNDATION_LOG", "*=1,a=2");
    setChannelMask("a", 4);
    setChannelMask("*", 8);
    EXPECT_EQ(channelMask("a"), 4u);
    EXPECT_EQ(channelMask("b"), 8u);
}

}  // namespace
