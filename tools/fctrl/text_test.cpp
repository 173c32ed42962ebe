#include "text.hpp"

#include <gtest/gtest.h>

#include <string>

namespace fctrl {
namespace {

TEST(ACharacter, IsWellFormedUtf8OrOneByte) {
    struct Row {
        char const* says;
        std::string text;
        std::size_t size;
        char32_t code;
        bool isValid;
    };
    Row const rows[] = {
        {"ASCII", "ab", 1, 'a', true},
        {"two bytes", "\xC3\xB6", 2, 0xF6, true},
        {"three bytes", "\xE2\x82\xAC", 3, 0x20AC, true},
        {"four bytes", "\xF0\x9F\x98\x80", 4, 0x1F600, true},
        {"the last one", "\xF4\x8F\xBF\xBF", 4, 0x10FFFF, true},
        {"beyond the last one", "\xF4\x90\x80\x80", 1, 0xF4, false},
        {"a continuation byte alone", "\x80", 1, 0x80, false},
        {"cut off", "\xE2\x82", 1, 0xE2, false},
        {"too long a form of two bytes", "\xC0\xAF", 1, 0xC0, false},
        {"too long a form of three bytes", "\xE0\x80\xAF", 1, 0xE0, false},
        {"a surrogate", "\xED\xA0\x80", 1, 0xED, false},
        {"a byte that is never used", "\xFF", 1, 0xFF, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Character const character = firstCharacter(row.text);
        EXPECT_EQ(character.size, row.size);
        EXPECT_EQ(character.code, row.code);
        EXPECT_EQ(character.isValid, row.isValid);
    }
}

TEST(TheWidth, IsThatOnATerminal) {
    EXPECT_EQ(displayWidth("abc"), 3U);
    EXPECT_EQ(displayWidth("größe"), 5U);
    EXPECT_EQ(displayWidth("日本"), 4U);
    EXPECT_EQ(displayWidth("o\xCC\x88"), 1U);
}

TEST(PrintableText, HasNothingThatATerminalObeys) {
    EXPECT_EQ(printable("größe\t\x1B[m\x7F\xFF"), "größe\\x09\\x1B[m\\x7F\\xFF");
    EXPECT_EQ(printable("\xC2\x9B"), "\\xC2\\x9B") << "an escape sequence begins with this one as well";
}

TEST(OneLine, HasTheReasonAfterAColon) {
    EXPECT_EQ(oneLine("unsupported: \"a\"\ninvalid"), "unsupported: \"a\": invalid");
    EXPECT_EQ(oneLine("a\nb"), "a\\x0Ab");
    EXPECT_EQ(oneLine("Character: \"\n\" is"), "Character: \"\\x0A\" is");
    EXPECT_EQ(oneLine("\"\n"), "\"\\x0A");
}

TEST(WellFormedText, HasAMarkInPlaceOfEachWrongByte) {
    EXPECT_EQ(wellFormed("ö\xFF\xFE."), "ö\xEF\xBF\xBD\xEF\xBF\xBD.");
}

TEST(Numbers, AreGroupedAndCounted) {
    EXPECT_EQ(grouped(0), "0");
    EXPECT_EQ(grouped(999), "999");
    EXPECT_EQ(grouped(1000), "1,000");
    EXPECT_EQ(grouped(1234567), "1,234,567");
    EXPECT_EQ(counted(1, "error"), "1 error");
    EXPECT_EQ(counted(0, "error"), "0 errors");
}

}  // namespace
}  // namespace fctrl
