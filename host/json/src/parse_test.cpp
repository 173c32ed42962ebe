#include <foundation/json/parse.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace foundation::json {
namespace {

using namespace std::string_view_literals;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

/// Parses a copy that ends where its memory ends, so that reading beyond it is noticed.
Value parseExactly(std::string_view text) {
    std::vector<char> const copy(text.begin(), text.end());
    return parse({copy.data(), copy.size()});
}

std::string
nested(std::size_t levels, std::string_view open, std::string_view middle, std::string_view close) {
    std::string text;
    for (std::size_t i = 0; i < levels; ++i)
        text += open;
    text += middle;
    for (std::size_t i = 0; i < levels; ++i)
        text += close;
    return text;
}

TEST(ADocument, IsReadIntoTheValueThatItDescribes) {
    struct Row {
        char const* says;
        std::string_view text;
        Value value;
    };
    Row const rows[] = {
        {"null", "null", Null{}},
        {"true", "true", true},
        {"false", "false", false},
        {"a string", R"("text")", "text"},
        {"an empty string", R"("")", ""},
        {"an empty array", "[]", Array{}},
        {"an empty object", "{}", Object{}},
        {"an array", R"([1, "a", true, null, 0.5])", Array{1, "a", true, Null{}, 0.5}},
        {"an object", R"({"b": 1, "a": {"c": []}})", Object{{"b", 1}, {"a", Object{{"c", Array{}}}}}},
        {"an empty name", R"({"": 1})", Object{{"", 1}}},
        {"blanks of all four kinds wherever they may be",
         " \t\r\n[ 1 , { \"a\" : 2 , \"b\" : [ ] } ] \n",
         Array{1, Object{{"a", 2}, {"b", Array{}}}}},
        {"all escapes", R"("\"\\\/\b\f\n\r\t\u0041")", "\"\\/\b\f\n\r\tA"},
        {"an escaped NUL", R"("a\u0000b")", "a\0b"sv},
        {"an escaped surrogate pair", R"("\ud83d\uDE00")", "\xF0\x9F\x98\x80"},
        {"an escape before a surrogate pair",
         R"("\u0041\ud83d\ude00\u0042")",
         "A\xF0\x9F\x98\x80"
         "B"},
        {"the characters beside the surrogates", R"("\ud7ff\ue000")", "\xED\x9F\xBF\xEE\x80\x80"},
        {"UTF-8 of all lengths",
         "\"\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xED\x9F\xBF\x7F\"",
         "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xED\x9F\xBF\x7F"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(parseExactly(row.text), row.value);
    }
}

TEST(AWholeNumber, KeepsItsKind) {
    struct Row {
        char const* says;
        std::string text;
        Value value;
    };
    Row const rows[] = {
        {"zero", "0", std::int64_t{0}},
        {"negative zero is a whole number", "-0", std::int64_t{0}},
        {"a negative number", "-7", std::int64_t{-7}},
        {"the smallest signed one", "-9223372036854775808", std::numeric_limits<std::int64_t>::min()},
        {"the largest signed one", "9223372036854775807", std::numeric_limits<std::int64_t>::max()},
        {"one above the signed range", "9223372036854775808", std::uint64_t{9223372036854775808U}},
        {"the largest unsigned one", "18446744073709551615", std::numeric_limits<std::uint64_t>::max()},
        {"one above the unsigned range", "18446744073709551616", 18446744073709551616.0},
        {"one below the signed range", "-9223372036854775809", -9223372036854775809.0},
        {"three hundred digits", "1" + std::string(299, '0'), 1e299},
        {"a fraction makes it a double", "1.0", 1.0},
        {"an exponent makes it a double", "1e0", 1.0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(parseExactly(row.text), row.value);
    }
}

TEST(ADouble, IsCorrectlyRounded) {
    EXPECT_EQ(parse("0.1"), Value(0.1));
    EXPECT_EQ(parse("9007199254740993.0"), Value(9007199254740992.0));
    EXPECT_EQ(parse("9007199254740993.0000000000000000000000001"), Value(9007199254740994.0));
    EXPECT_EQ(parse("0." + std::string(300, '3')), Value(1.0 / 3.0));
    EXPECT_EQ(parse("1." + std::string(2000, '9')), Value(2.0));
    EXPECT_EQ(parse("2.2250738585072011e-308"), Value(2.2250738585072011e-308));
    EXPECT_EQ(parse("1.7976931348623157e308"), Value(std::numeric_limits<double>::max()));
    EXPECT_EQ(parse("5e-324"), Value(std::numeric_limits<double>::denorm_min()));
    EXPECT_EQ(parse("1e-400"), Value(0.0));
    EXPECT_TRUE(std::signbit(parse("-0.0").get<double>()));
}

TEST(OfMembersOfOneName, TheLastCounts) {
    EXPECT_EQ(parse(R"({"a": 1, "b": 2, "a": [3]})"), Value(Object{{"a", Array{3}}, {"b", 2}}));
    EXPECT_EQ(parse(R"({"a": 1, "\u0061": 2})"), Value(Object{{"a", 2}}));
}

TEST(WhatIsNoStrictJson, IsRefusedNamingThePlace) {
    struct Row {
        char const* says;
        std::string_view text;
        ParseResult code;
        std::size_t column;
    };
    using enum ParseResult;
    Row const rows[] = {
        {"an empty text", "", emptyText, 1},
        {"nothing but blanks", "   ", emptyText, 4},
        {"something that begins no value", "?", invalidValue, 1},
        {"a closing bracket alone", "]", invalidValue, 1},
        {"a byte order mark",
         "\xEF\xBB\xBF"
         "1",
         invalidValue,
         1},
        {"a word cut short", "[nul]", invalidValue, 5},
        {"a word with a capital", "[True]", invalidValue, 2},
        {"a word that is no value", "NaN", invalidValue, 1},
        {"infinity", "-Infinity", invalidValue, 2},
        {"a number with a plus", "[+1]", invalidValue, 2},
        {"a number without whole part", "[.5]", invalidValue, 2},
        {"a minus alone", "[-]", invalidValue, 3},
        {"a comment", "/* */ 1", invalidValue, 1},
        {"single quotation marks", "['a']", invalidValue, 2},
        {"a missing value in an array", "[1,,2]", invalidValue, 4},
        {"a comma after the last element", "[1,]", invalidValue, 4},
        {"a missing value in an object", R"({"a":})", invalidValue, 6},
        {"a text that ends where a value must stand", "[1,", invalidValue, 4},
        {"a text that ends after a bracket", "[", invalidValue, 2},
        {"a text that ends inside a string", "\"ab", unterminatedString, 4},
        {"a text that ends after a backslash", "\"ab\\", invalidEscape, 4},
        {"a text that ends inside an escape", "\"\\u00", invalidEscape, 2},
        {"an unknown escape", R"(["a\x"])", invalidEscape, 4},
        {"an escape with a digit too few", R"("\u123")", invalidEscape, 2},
        {"an escape with a sign", R"("\u+123")", invalidEscape, 2},
        {"a high surrogate alone", R"("ab\ud800")", loneSurrogate, 4},
        {"a high surrogate before another character", R"("\ud800x")", loneSurrogate, 2},
        {"a high surrogate before another escape", R"("\ud800\n")", loneSurrogate, 2},
        {"two high surrogates", R"("\ud800\ud800")", loneSurrogate, 2},
        {"a low surrogate alone", R"("ab\udc00")", loneSurrogate, 4},
        {"a low surrogate after other escapes",
         R"(["\\u\ud83d\ude00\n\u0041", "\uDFFF"])",
         loneSurrogate,
         30},
        {"a low surrogate in a name", R"({"\udc00": 1})", loneSurrogate, 3},
        {"a tab in a string", "\"a\tb\"", controlCharacter, 3},
        {"a line feed in a string", "\"a\nb\"", controlCharacter, 3},
        {"a NUL byte in a string", "\"a\0b\""sv, controlCharacter, 3},
        {"a stray continuation byte", "\"a\x80\"", invalidUtf8, 3},
        {"an overlong form", "\"\xC0\xAF\"", invalidUtf8, 2},
        {"an overlong form of three bytes", "\"\xE0\x80\x80\"", invalidUtf8, 2},
        {"a surrogate in UTF-8", "\"\xED\xA0\x80\"", invalidUtf8, 2},
        {"a code point too large", "\"\xF4\x90\x80\x80\"", invalidUtf8, 2},
        {"a sequence cut short by the string's end", "\"\xE2\x82\"", invalidUtf8, 2},
        {"a sequence cut short by the text's end", "\"\xE2\x82", invalidUtf8, 2},
        {"a byte that UTF-8 does not have", "\"\xFF\"", invalidUtf8, 2},
        {"no digit after the point", "[1.]", invalidNumber, 4},
        {"no digit in the exponent", "[1e+]", invalidNumber, 5},
        {"a number beyond the range of double", "[1e999]", numberTooBig, 2},
        {"a number just beyond it", "[1.797693134862315809e308]", numberTooBig, 2},
        {"a negative number beyond it", "[-1e309]", numberTooBig, 2},
        {"zero with a huge exponent", "[0e999]", numberTooBig, 2},
        {"a comma after the last member", R"({"a":1,})", nameExpected, 8},
        {"a name without quotation marks", "{a:1}", nameExpected, 2},
        {"a number for a name", "{1:1}", nameExpected, 2},
        {"a text that ends after a brace", "{", nameExpected, 2},
        {"a missing colon", R"({"a" 1})", colonExpected, 6},
        {"a text that ends after a name", R"({"a")", colonExpected, 5},
        {"two members without a comma", R"({"a":1 "b":2})", commaOrBraceExpected, 8},
        {"an object closed by a bracket", R"({"a":1])", commaOrBraceExpected, 7},
        {"two elements without a comma", "[1 2]", commaOrBracketExpected, 4},
        {"an array closed by a brace", "[1}", commaOrBracketExpected, 3},
        {"a zero before other digits", "[01]", commaOrBracketExpected, 3},
        {"a hexadecimal number", "[0x10]", commaOrBracketExpected, 3},
        {"a decimal comma without a digit after it", "[1,5.]", invalidNumber, 6},
        {"a text that ends inside an array", "[1", commaOrBracketExpected, 3},
        {"a second document", "1 2", textAfterDocument, 3},
        {"a bracket too many", "[]]", textAfterDocument, 3},
        {"a NUL byte after the document", "1\0"sv, textAfterDocument, 2},
        {"a NUL byte and a second document", "1 \0 2"sv, textAfterDocument, 3},
        {"a NUL byte before the document", "\0 1"sv, invalidValue, 1},
        {"a NUL byte inside the document", "[1,\0 2]"sv, invalidValue, 4},
        {"a blank that JSON does not know", "[1,\v2]", invalidValue, 4},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        try {
            parseExactly(row.text);
            ADD_FAILURE() << "not refused";
        } catch (ParserException const& error) {
            EXPECT_EQ(static_cast<int>(error.code()), static_cast<int>(row.code)) << error.what();
            EXPECT_EQ(error.column(), row.column) << error.what();
            EXPECT_EQ(error.line(), 1U);
            EXPECT_EQ(error.description(), get_parse_result_description(row.code));
        }
    }
}

TEST(TheMessage, ShowsTheLineOfTheError) {
    try {
        parse("{\r\n  \"list\": [1, 2\r\n  \"other\": 3\r\n}\r\n");
        ADD_FAILURE() << "not refused";
    } catch (ParserException const& error) {
        EXPECT_STREQ(error.what(),
                     "JSON ParserException (E0013): \",\" or \"]\" expected after an array element (Line 3, "
                     "Column 3)\n"
                     "\t  \"other\": 3\n"
                     "\t  ^");
    }
}

TEST(Nesting, IsReadDownToFiveHundredAndTwelveLevels) {
    Value value = parseExactly(nested(512, "[", "", "]"));
    std::size_t levels = 0;
    for (Value const* level = &value; level != nullptr; ++levels) {
        Array const& items = level->get<Array>();
        level = items.empty() ? nullptr : items.data();
    }
    EXPECT_EQ(levels, 512U);
    EXPECT_TRUE(parseExactly(nested(512, R"({"a":)", "1", "}")).is<Object>());
    EXPECT_TRUE(parseExactly(nested(256, R"({"a":[)", "1", "]}")).is<Object>());
}

TEST(Nesting, AnyDeeperIsRefusedAtTheBracketThatGoesTooDeep) {
    for (std::size_t const levels : {std::size_t{513}, std::size_t{1'000'000}}) {
        SCOPED_TRACE(levels);
        for (char const* const open : {"[", R"({"a":)", R"([{"a":)"}) {
            SCOPED_TRACE(open);
            std::string const text = nested(levels, open, "", "");
            // The bracket or brace number 513.
            std::size_t at = text.find_first_of("[{");
            for (int i = 0; i < 512; ++i)
                at = text.find_first_of("[{", at + 1);
            try {
                parseExactly(text);
                ADD_FAILURE() << "not refused";
            } catch (ParserException const& error) {
                EXPECT_EQ(error.code(), ParseResult::nestingTooDeep);
                EXPECT_EQ(error.column(), at + 1);
            }
        }
    }
}

TEST(Nesting, CountsOpenLevelsOnly) {
    std::string text = "[";
    for (int i = 0; i < 1000; ++i)
        text += "[[]],{},";
    text += "1]";
    EXPECT_EQ(parseExactly(text).get<Array>().size(), 2001U);
}

TEST(Documents, MayBeReadByManyThreadsAtOnce) {
    std::string const text = R"({"a": [1, 2.5, "\u00e4"], "b": {"c": null}})";
    Value const expected = Object{{"a", Array{1, 2.5, "\xC3\xA4"}}, {"b", Object{{"c", Null{}}}}};
    std::vector<std::thread> threads;
    std::vector<int> equal(4, 0);
    for (int& count : equal) {
        threads.emplace_back([&text, &expected, &count] {
            for (int i = 0; i < 200; ++i)
                count += parse(text) == expected ? 1 : 0;
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(equal, (std::vector<int>(4, 200)));
}

}  // namespace
}  // namespace foundation::json
