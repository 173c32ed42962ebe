#include <foundation/json/parse.hpp>

#include <support/GroupingLocale.hpp>

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

namespace foundation::json::detail {
namespace {

using Limits = std::numeric_limits<double>;

TEST(ANumber, IsTheNearestDouble) {
    struct Row {
        char const* says;
        std::string text;
        double value;
    };
    Row const rows[] = {
        {"zero", "0", 0.0},
        {"a whole number", "123456789", 123456789.0},
        {"a fraction", "-0.5", -0.5},
        {"a fraction that no double hits", "0.1", 0.1},
        {"an exponent", "1e3", 1000.0},
        {"an exponent with a capital and a sign", "25E-1", 2.5},
        {"an exponent with a plus and zeros before it", "1e+003", 1000.0},
        {"halfway between two doubles goes to the even one", "9007199254740993", 9007199254740992.0},
        {"just above halfway goes up", "9007199254740993.0000000000000000000000001", 9007199254740994.0},
        {"the largest", "1.7976931348623157e308", Limits::max()},
        {"what still rounds to the largest", "1.797693134862315807e308", Limits::max()},
        {"the smallest normal", "2.2250738585072014e-308", Limits::min()},
        {"the largest denormal", "2.225073858507201e-308", 2.225073858507201e-308},
        {"the smallest denormal", "5e-324", Limits::denorm_min()},
        {"what rounds up to the smallest denormal", "3e-324", Limits::denorm_min()},
        {"four hundred digits and an exponent", std::string(400, '1') + "e-399", 1.0 + 1.0 / 9.0},
        {"four hundred zeros after the point", "0." + std::string(400, '0') + "1e401", 1.0},
        {"zero with a huge exponent", "0e999999999999999999999", 0.0},
        {"a number too small for a double", "1e-400", 0.0},
        {"a huge negative exponent", "1e-999999999999999999999", 0.0},
        {"a number too small for a double without an exponent", "0." + std::string(400, '0') + "1", 0.0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(string_to_double(row.text), std::optional(row.value));
    }
}

TEST(ANegativeZero, KeepsItsSign) {
    for (char const* const text : {"-0", "-0.0", "-0e5", "-1e-400", "-0e999"}) {
        SCOPED_TRACE(text);
        auto const value = string_to_double(text);
        ASSERT_TRUE(value.has_value());
        EXPECT_EQ(*value, 0.0);
        EXPECT_TRUE(std::signbit(*value));
    }
    EXPECT_FALSE(std::signbit(*string_to_double("0")));
    EXPECT_FALSE(std::signbit(*string_to_double("1e-400")));
}

TEST(ANumber, BeyondTheRangeOfDoubleIsRefused) {
    for (std::string const& text : {std::string("1e999"),
                                    std::string("-1e999"),
                                    std::string("1e309"),
                                    std::string("1.797693134862315809e308"),
                                    std::string("0.0001e999"),
                                    std::string("1e99999999999999999999"),
                                    std::string("1e4611686018427387904"),
                                    std::string("1e9223372036854775807"),
                                    std::string(400, '9')}) {
        EXPECT_EQ(string_to_double(text), std::nullopt) << text;
    }
}

TEST(WhatIsNoJsonNumber, IsRefused) {
    for (char const* const text :
         {"",     "-",        "+1",    ".5",  "5.",    "01",    "-01", "1e",  "1e+",
          "1.e5", "0x10",     "1e5.",  " 1",  "1 ",    "1,5",   "inf", "nan", "NaN",
          "-inf", "Infinity", "1_000", "--1", "1e5e5", "1.2.3", "e5",  "1d",  "\xEF\xBC\x91"}) {
        EXPECT_EQ(string_to_double(text), std::nullopt) << text;
    }
    EXPECT_EQ(string_to_double(std::string_view("1\0", 2)), std::nullopt);
    EXPECT_EQ(string_to_double(std::string_view()), std::nullopt);
}

TEST(ANumber, EndsWhereItsTextEnds) {
    EXPECT_EQ(string_to_double(std::string_view("1234", 2)), 12.0);
}

TEST(Numbers, DoNotDependOnTheLocale) {
    foundation::test::GroupingLocale const locale;
    EXPECT_EQ(string_to_double("1234.5"), 1234.5);
    EXPECT_EQ(string_to_double("1,5"), std::nullopt);
    EXPECT_EQ(parse("1234.5"), Value(1234.5));
    // Which of them a machine has differs; the first that it has is taken.
    for (char const* const name : {"de_DE.UTF-8", "fr_FR.UTF-8", "de_DE", "German_Germany.1252"}) {
        if (std::setlocale(LC_ALL, name) != nullptr) break;
    }
    EXPECT_EQ(string_to_double("1234.5"), 1234.5);
    EXPECT_EQ(parse("[-1234.5e1]"), Value(std::vector<Value>{-12345.0}));
}

TEST(Utf16, BecomesTheSameTextInUtf8) {
    struct Row {
        char const* says;
        std::u16string_view utf16;
        std::string utf8;
    };
    Row const rows[] = {
        {"nothing", u"", ""},
        {"ASCII", u"a~", "a~"},
        {"U+0000 is a character like any other", std::u16string_view(u"a\0b", 3), std::string("a\0b", 3)},
        {"the last character of one byte", u"\x7F", "\x7F"},
        {"the first of two", u"\x80", "\xC2\x80"},
        {"the last of two", u"\x7FF", "\xDF\xBF"},
        {"the first of three", u"\x800", "\xE0\xA0\x80"},
        {"the last before the surrogates", u"\xD7FF", "\xED\x9F\xBF"},
        {"the first after the surrogates", u"\xE000", "\xEE\x80\x80"},
        {"the last of three", u"\xFFFF", "\xEF\xBF\xBF"},
        {"the first surrogate pair", u"\xD800\xDC00", "\xF0\x90\x80\x80"},
        {"the last surrogate pair", u"\xDBFF\xDFFF", "\xF4\x8F\xBF\xBF"},
        {"a pair between other characters", u"a\xD83D\xDE00z", "a\xF0\x9F\x98\x80z"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(u16_to_u8(row.utf16), row.utf8);
    }
}

TEST(ALoneSurrogate, IsRefusedNamingItsOffset) {
    struct Row {
        char const* says;
        std::u16string_view utf16;
        char const* offset;
    };
    Row const rows[] = {
        {"a high one at the end", u"ab\xD800", "2"},
        {"a high one before another character", u"\xDBFFx", "0"},
        {"a low one", u"a\xDC00", "1"},
        {"a low one first", u"\xDFFF\xD800", "0"},
        {"two high ones", u"\xD800\xD800\xDC00", "0"},
        {"a low one after a pair", u"\xD800\xDC00\xDC00", "2"},
        {"a high one whose partner lies beyond the end", std::u16string_view(u"\xD800\xDC00", 1), "0"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        try {
            u16_to_u8(row.utf16);
            ADD_FAILURE() << "not refused";
        } catch (std::range_error const& error) {
            EXPECT_EQ(error.what(),
                      std::string("ill-formed UTF-16 at offset ") + row.offset +
                          ": surrogate without its partner");
        }
    }
}

}  // namespace
}  // namespace foundation::json::detail
