#include <fl/i18n.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#endif

namespace fl::i18n {
namespace {

using std::string_literals::operator""s;

std::string errorOf(std::function<void()> const& action) {
    try {
        action();
    } catch (std::range_error const& error) {
        return error.what();
    }
    return "no error";
}

void setVariable(std::string const& name, std::string const& value) {
#if defined(_WIN32)
    auto const wide = [](std::string const& text) {
        std::u16string const units = utf8_to_ustring(text);
        return std::wstring(units.begin(), units.end());
    };
    ASSERT_NE(::SetEnvironmentVariableW(wide(name).c_str(), wide(value).c_str()), 0);
#else
    ASSERT_EQ(::setenv(name.c_str(), value.c_str(), 1), 0);
#endif
}

TEST(Text, IsTheSameInBothEncodings) {
    struct Row {
        char const* says;
        std::string utf8;
        std::u16string utf16;
    };
    Row const rows[] = {
        {"nothing", "", u""},
        {"ASCII", "Alpha", u"Alpha"},
        {"U+0000 is kept, wherever it stands", "\0a\0"s, u"\0a\0"s},
        {"the largest of one byte", "\x7F", u"\u007F"},
        {"the smallest of two bytes", "\xC2\x80", u"\u0080"},
        {"the largest of two bytes", "\xDF\xBF", u"\u07FF"},
        {"the smallest of three bytes", "\xE0\xA0\x80", u"\u0800"},
        {"the last before the surrogates", "\xED\x9F\xBF", u"\uD7FF"},
        {"the first after the surrogates", "\xEE\x80\x80", u"\uE000"},
        {"the largest of three bytes", "\xEF\xBF\xBF", u"\uFFFF"},
        {"a surrogate pair becomes four bytes", "\xF0\x9F\x98\x80", u"\U0001F600"},
        {"the smallest of four bytes", "\xF0\x90\x80\x80", u"\U00010000"},
        {"the largest code point", "\xF4\x8F\xBF\xBF", u"\U0010FFFF"},
        {"a byte order mark is text", "\xEF\xBB\xBF", u"\uFEFF"},
        {"several lengths in one text",
         "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80z",
         u"a\u00E9\u20AC\U0001F600z"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_TRUE(utf8_to_ustring(row.utf8) == row.utf16);
        EXPECT_EQ(to_string(row.utf16), row.utf8);
    }
}

TEST(Text, OfEveryCodePointSurvivesTheRoundTrip) {
    for (char32_t code = 0; code <= 0x10FFFF; ++code) {
        if (code >= 0xD800 && code <= 0xDFFF) continue;
        std::u16string text;
        if (code < 0x10000) {
            text.push_back(static_cast<char16_t>(code));
        } else {
            text.push_back(static_cast<char16_t>(0xD800 + (code - 0x10000) / 0x400));
            text.push_back(static_cast<char16_t>(0xDC00 + (code - 0x10000) % 0x400));
        }
        ASSERT_TRUE(utf8_to_ustring(to_string(text)) == text) << static_cast<unsigned long>(code);
    }
}

TEST(IllFormedUtf8, IsRefusedNamingWhereTheSequenceStarts) {
    struct Row {
        char const* says;
        std::string text;
        std::string error;
    };
    Row const rows[] = {
        {"a continuation byte alone", "\x80", "0: continuation byte without a lead byte"},
        {"the last continuation byte alone", "ab\xBFz", "2: continuation byte without a lead byte"},
        {"one continuation byte too many", "\xC3\xA9\xA9", "2: continuation byte without a lead byte"},
        {"two bytes, cut by the end", "a\xC3", "1: sequence cut short"},
        {"two bytes, cut by ASCII", "\xC3(", "0: sequence cut short"},
        {"two bytes, cut by a lead byte", "\xC3\xC3\xA9", "0: sequence cut short"},
        {"three bytes, cut by the end after one", "\xE2", "0: sequence cut short"},
        {"three bytes, cut by the end after two", "\xE2\x82", "0: sequence cut short"},
        {"three bytes, cut by ASCII", "\xC3\xA9\xE2\x82z", "2: sequence cut short"},
        {"four bytes, cut by the end after three", "\xF0\x9F\x98", "0: sequence cut short"},
        {"four bytes, cut by U+0000", "\xF0\x9F\x98\0"s, "0: sequence cut short"},
        {"U+0000 in two bytes", "\xC0\x80", "0: overlong form"},
        {"the largest overlong form of two bytes", "\xC1\xBF", "0: overlong form"},
        {"the largest overlong form of three bytes", "a\xE0\x9F\xBF", "1: overlong form"},
        {"the largest overlong form of four bytes", "\xF0\x8F\xBF\xBF", "0: overlong form"},
        {"the first surrogate", "\xED\xA0\x80", "0: surrogate"},
        {"the last surrogate", "\xED\xBF\xBF", "0: surrogate"},
        {"a pair of surrogates, each in three bytes", "z\xED\xA0\xBD\xED\xB8\x80", "1: surrogate"},
        {"one above the largest code point", "\xF4\x90\x80\x80", "0: number above U+10FFFF"},
        {"the largest number of four bytes", "\xF7\xBF\xBF\xBF", "0: number above U+10FFFF"},
        {"a lead byte of five", "\xF8\x88\x80\x80\x80", "0: byte that UTF-8 never uses"},
        {"a UTF-16 byte order mark", "abc\xFF\xFE", "3: byte that UTF-8 never uses"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(errorOf([&] { utf8_to_ustring(row.text); }), "ill-formed UTF-8 at offset " + row.error);
    }
}

TEST(IllFormedUtf8, IsWhateverIsNeitherAsciiNorTheOneFormOfACodePoint) {
    int accepted = 0;
    for (int first = 0; first < 256; ++first) {
        for (int second = 0; second < 256; ++second) {
            std::string const text = {static_cast<char>(first), static_cast<char>(second)};
            if (errorOf([&] { utf8_to_ustring(text); }) == "no error") ++accepted;
        }
    }
    EXPECT_EQ(accepted, 128 * 128 + (0x800 - 0x80));
}

TEST(IllFormedUtf16, IsRefusedNamingTheLoneSurrogate) {
    std::string const noLow = "high surrogate without a low one after it";
    std::string const noHigh = "low surrogate without a high one before it";
    char16_t const high = 0xD83D;
    char16_t const low = 0xDE00;
    struct Row {
        char const* says;
        std::u16string text;
        std::string error;
    };
    Row const rows[] = {
        {"a high surrogate at the end", {u'a', high}, "1: " + noLow},
        {"a high surrogate before another character", {high, u'a'}, "0: " + noLow},
        {"a high surrogate before a whole pair", {u'a', u'b', high, high, low}, "2: " + noLow},
        {"the last high surrogate", {0xDBFF}, "0: " + noLow},
        {"a low surrogate alone", {low}, "0: " + noHigh},
        {"a low surrogate after a whole pair", {high, low, low}, "2: " + noHigh},
        {"a pair the wrong way round", {u'a', low, high}, "1: " + noHigh},
        {"the last low surrogate", {0xDFFF}, "0: " + noHigh},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(errorOf([&] { to_string(row.text); }), "ill-formed UTF-16 at offset " + row.error);
    }
}

TEST(AVariable, ReadsAsUtf16) {
    setVariable("FL_I18N_TEST", "caf\xC3\xA9 \xF0\x9F\x98\x80");
    EXPECT_TRUE(getenv("FL_I18N_TEST") == u"caf\u00E9 \U0001F600");
}

TEST(AVariable, IsReadAnewEachTime) {
    setVariable("FL_I18N_TEST", "1");
    EXPECT_TRUE(getenv("FL_I18N_TEST") == u"1");
    std::string const longer(5000, 'x');
    setVariable("FL_I18N_TEST", longer);
    EXPECT_EQ(to_string(getenv("FL_I18N_TEST")), longer);
}

TEST(AVariable, MayHaveANameWithBlanksAndLettersBeyondAscii) {
    setVariable("FL I18N caf\xC3\xA9", "7");
    EXPECT_TRUE(getenv("FL I18N caf\xC3\xA9") == u"7");
}

TEST(AVariable, ThatIsUnsetReadsAsEmpty) {
    EXPECT_TRUE(getenv("FL_I18N_TEST_NOBODY_SETS_THIS").empty());
}

TEST(AVariable, ThatIsEmptyReadsAsEmpty) {
    setVariable("FL_I18N_TEST", "");
    EXPECT_TRUE(getenv("FL_I18N_TEST").empty());
}

TEST(AVariable, OfAnImpossibleNameReadsAsUnset) {
    setVariable("FL_I18N_TEST", "a=1");
    struct Row {
        char const* says;
        std::string name;
    };
    Row const rows[] = {
        {"an empty name", ""},
        {"only an equals sign", "="},
        {"the variable's own text up to the second equals sign", "FL_I18N_TEST=a"},
        {"a name that is set, with more after U+0000", "FL_I18N_TEST\0X"s},
        {"a name that is set, with U+0000 at its end", "FL_I18N_TEST\0"s},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_TRUE(getenv(row.name).empty());
    }
}

TEST(AVariable, OfAnIllFormedNameIsRefused) {
    EXPECT_EQ(errorOf([] { getenv("FL_\xFF"); }), "ill-formed UTF-8 at offset 3: byte that UTF-8 never uses");
}

TEST(AVariable, MayBeReadByManyThreads) {
    setVariable("FL_I18N_TEST", "\xE2\x82\xAC");
    std::vector<std::thread> threads;
    std::vector<std::u16string> values(4);
    for (std::u16string& value : values)
        threads.emplace_back([&value] { value = getenv("FL_I18N_TEST"); });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_THAT(values, testing::Each(std::u16string(u"\u20AC")));
}

#if defined(_WIN32)
TEST(AVariable, ThatIsIllFormedIsReadAsItIsAndRefusedInUtf8) {
    std::wstring const lone = {L'a', wchar_t{0xD83D}, L'b'};
    ASSERT_NE(::SetEnvironmentVariableW(L"FL_I18N_TEST", lone.c_str()), 0);
    std::u16string const text = getenv("FL_I18N_TEST");
    EXPECT_TRUE((text == std::u16string{u'a', 0xD83D, u'b'}));
    EXPECT_EQ(errorOf([&] { to_string(text); }),
              "ill-formed UTF-16 at offset 1: high surrogate without a low one after it");
}
#else
TEST(AVariable, OfIllFormedUtf8IsRefusedNamingIt) {
    setVariable("FL_I18N_TEST", "ab\xC3(");
    EXPECT_EQ(errorOf([] { getenv("FL_I18N_TEST"); }),
              "environment variable \"FL_I18N_TEST\": ill-formed UTF-8 at offset 2: sequence cut short");
}
#endif

}  // namespace
}  // namespace fl::i18n
