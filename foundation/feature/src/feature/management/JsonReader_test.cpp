#include "JsonReader.hpp"

#include <support/GroupingLocale.hpp>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <initializer_list>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace foundation::feature::management {
namespace {

using namespace std::string_view_literals;
using json::Null;
using json::ParseResult;
using json::Value;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

struct Reading {
    ParseResult result;
    Value value;
    std::size_t used;
};

Value const untouched = "untouched";

/// Reads a copy that ends where its memory ends, so that reading beyond it is noticed.
Reading readExactly(std::string_view text) {
    std::vector<char> const copy(text.begin(), text.end());
    Reading reading{ParseResult::success, untouched, std::numeric_limits<std::size_t>::max()};
    reading.result = readJson({copy.data(), copy.size()}, reading.value, reading.used);
    return reading;
}

std::string join(std::initializer_list<std::string_view> parts) {
    std::string result;
    for (std::string_view const part : parts)
        result += part;
    return result;
}

std::string repeat(std::size_t times, std::string_view text) {
    std::string result;
    for (std::size_t i = 0; i < times; ++i)
        result += text;
    return result;
}

struct Accepted {
    char const* says;
    std::string text;
    Value value;
};

void expectAccepted(Accepted const& row) {
    SCOPED_TRACE(row.says);
    Reading const reading = readExactly(row.text);
    EXPECT_EQ(static_cast<int>(reading.result), 0) << "at " << reading.used;
    EXPECT_TRUE(reading.value == row.value);
    EXPECT_EQ(reading.used, row.text.size());
}

TEST(AValueOfEachKind, IsTheDocumentOrAnElementOrTheLastMemberOfItsName) {
    struct Row {
        std::string text;
        Value value;
    };
    for (Row const& row : {Row{R"("text")", "text"},
                           Row{"true", true},
                           Row{"false", false},
                           Row{"null", Null{}},
                           Row{"1.5", 1.5},
                           Row{"[2]", Array{2.0}},
                           Row{R"({"k":3})", Object{{"k", 3.0}}}}) {
        auto const in = [&](char const* before, char const* after) { return before + row.text + after; };
        expectAccepted({"alone", row.text, row.value});
        expectAccepted({"an element", in("[0,", "]"), Array{0.0, row.value}});
        expectAccepted({"a member", in(R"({"a":)", "}"), Object{{"a", row.value}}});
        expectAccepted({"the last of two", in(R"({"a":0,"a":)", "}"), Object{{"a", row.value}}});
        expectAccepted({"no type", in(R"({"qztype":)", "}"), Object{{"qztype", row.value}}});
        expectAccepted({"a type no longer",
                        in(R"({"qztype":"int8","qztype":)", R"(,"qzdata":[1.5]})"),
                        Object{{"qztype", row.value}, {"qzdata", Array{1.5}}}});
    }
}

struct Refused {
    char const* says;
    std::string text;
    ParseResult result;
    std::size_t at;
};

void expectRefused(Refused const& row) {
    SCOPED_TRACE(row.says);
    Reading const reading = readExactly(row.text);
    EXPECT_EQ(static_cast<int>(reading.result), static_cast<int>(row.result));
    EXPECT_EQ(reading.used, row.at);
    EXPECT_TRUE(reading.value == untouched);
}

Array ints(std::vector<std::int64_t> const& numbers) {
    return Array(numbers.begin(), numbers.end());
}
Array uints(std::vector<std::uint64_t> const& numbers) {
    return Array(numbers.begin(), numbers.end());
}

TEST(AJsonText, IsReadIntoTheValueThatItDescribes) {
    Accepted const rows[] = {
        {"null", "null", Null{}},
        {"true", "true", true},
        {"false", "false", false},
        {"a string", R"("text")", "text"},
        {"an empty string", R"("")", ""},
        {"an empty array", "[]", Array{}},
        {"an empty object", "{}", Object{}},
        {"blanks in an empty array and an empty object", "[ { \t} , [\r\n] ]", Array{Object{}, Array{}}},
        {"an array", R"([1, "a", true, null, 0.5])", Array{1.0, "a", true, Null{}, 0.5}},
        {"an object", R"({"b": 1, "a": {"c": []}})", Object{{"b", 1.0}, {"a", Object{{"c", Array{}}}}}},
        {"an empty name", R"({"": 1})", Object{{"", 1.0}}},
        {"a name with an escape", R"({"\u0061\n": 1})", Object{{"a\n", 1.0}}},
        {"the last of the members of one name counts",
         R"({"a": 1, "b": 2, "a": [3], "\u0062": 4})",
         Object{{"a", Array{3.0}}, {"b", 4.0}}},
        {"blanks of all four kinds wherever they may be",
         " \t\r\n[ 1 , { \"a\" : 2 , \"b\" : [ ] } ] \n\r\t ",
         Array{1.0, Object{{"a", 2.0}, {"b", Array{}}}}},
    };
    for (Accepted const& row : rows)
        expectAccepted(row);
}

TEST(ANumber, IsTheNearestDouble) {
    Accepted const rows[] = {
        {"zero", "0", 0.0},
        {"a whole number is a double too", "[7,-7]", Array{7.0, -7.0}},
        {"a fraction", "0.1", 0.1},
        {"an exponent", "-25E-1", -2.5},
        {"an exponent with a plus", "1e+3", 1000.0},
        {"a 64-bit integer loses its last digits", "9223372036854775807", 9223372036854775808.0},
        {"four hundred digits and an exponent", std::string(400, '1') + "e-399", 1.0 + 1.0 / 9.0},
        {"four hundred digits after the point", "0." + std::string(400, '3'), 1.0 / 3.0},
        {"a number too small for a double", "1e-400", 0.0},
        {"zero with a huge exponent", "0e999", 0.0},
        {"the largest", "1.7976931348623157e308", std::numeric_limits<double>::max()},
        {"the smallest", "5e-324", std::numeric_limits<double>::denorm_min()},
    };
    for (Accepted const& row : rows)
        expectAccepted(row);
}

TEST(ANegativeZero, KeepsItsSign) {
    for (char const* const text : {"-0", "-0.0", "-0e1", "-1e-400"}) {
        SCOPED_TRACE(text);
        Value const value = readExactly(text).value;
        EXPECT_EQ(value.get<double>(), 0.0);
        EXPECT_TRUE(std::signbit(value.get<double>()));
    }
}

TEST(ANumber, DoesNotDependOnTheLocale) {
    foundation::test::GroupingLocale const locale;
    expectAccepted({"a point is a point", "[1.5,1234]", Array{1.5, 1234.0}});
    expectAccepted({"typed numbers too",
                    R"({"qztype":"int32","qzdata":[1234]})",
                    Object{{"qztype", "int32"}, {"qzdata", ints({1234})}}});
}

TEST(AString, HoldsWhatItsEscapesMean) {
    Accepted const rows[] = {
        {"all short escapes", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {"a character of one byte", R"("\u0041\u007F")", "A\x7F"},
        {"a character of two bytes", R"("\u00e4")", "\xC3\xA4"},
        {"a character of three bytes", R"("\u20AC")", "\xE2\x82\xAC"},
        {"a NUL", R"("a\u0000b")", "a\0b"sv},
        {"two characters one after the other", R"("\u0041\u0042")", "AB"},
        {"a surrogate pair is one character", R"("\ud83d\uDE00")", "\xF0\x9F\x98\x80"},
        {"a surrogate pair after another escape", R"("\u0041\ud83d\ude00")", "A\xF0\x9F\x98\x80"},
        {"a surrogate pair before another escape",
         R"("\ud83d\ude00\u0041")",
         "\xF0\x9F\x98\x80"
         "A"},
        {"two surrogate pairs", R"("\ud83d\ude00\uD800\uDC00")", "\xF0\x9F\x98\x80\xF0\x90\x80\x80"},
        {"the characters beside the surrogates", R"("\ud7ff\ue000")", "\xED\x9F\xBF\xEE\x80\x80"},
        {"the last character of all", R"("\udbff\udfff")", "\xF4\x8F\xBF\xBF"},
        {"a backslash before what looks like an escape", R"("\\u0041")", "\\u0041"},
        {"UTF-8 of all lengths",
         "\"\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF\"",
         "\x7F\xC2\x80\xDF\xBF\xE0\xA0\x80\xED\x9F\xBF\xEE\x80\x80\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    };
    for (Accepted const& row : rows)
        expectAccepted(row);
}

TEST(WhatIsNoStrictJson, IsRefusedNamingThePlace) {
    using enum ParseResult;
    Refused const rows[] = {
        {"an empty text", "", emptyText, 0},
        {"nothing but blanks", " \n ", emptyText, 3},
        {"something that begins no value", "?", invalidValue, 0},
        {"a closing bracket alone", "]", invalidValue, 0},
        {"a byte order mark",
         "\xEF\xBB\xBF"
         "1",
         invalidValue,
         0},
        {"a NUL byte", std::string("\0 1", 3), invalidValue, 0},
        {"a word cut short", "[nul]", invalidValue, 1},
        {"a word cut short by the text's end", "tru", invalidValue, 0},
        {"a word that ends otherwise", "[falsE]", invalidValue, 1},
        {"a word in capitals", "nULL", invalidValue, 0},
        {"a word with a capital", "[True]", invalidValue, 1},
        {"infinity", "-Infinity", invalidValue, 1},
        {"no number", "NaN", invalidValue, 0},
        {"a number with a plus", "[+1]", invalidValue, 1},
        {"a number without whole part", "[.5]", invalidValue, 1},
        {"a minus alone", "-", invalidValue, 1},
        {"a comment", "[/* */]", invalidValue, 1},
        {"single quotation marks", "['a']", invalidValue, 1},
        {"a missing value in an array", "[1,,2]", invalidValue, 3},
        {"a comma after the last element", "[1,]", invalidValue, 3},
        {"a missing value in an object", R"({"a":})", invalidValue, 5},
        {"a text that ends after a bracket", "[ ", invalidValue, 2},
        {"a text that ends where a value must stand", R"({"a":)", invalidValue, 5},
        {"a blank that JSON does not know", "[1,\v2]", invalidValue, 3},
        {"another, a form feed", "[1,\f2]", invalidValue, 3},
        {"a text that ends inside a string", "[\"ab", unterminatedString, 4},
        {"a text that ends after a backslash", "\"ab\\", unterminatedString, 4},
        {"a text that ends inside an escape", "\"\\u00", unterminatedString, 5},
        {"a text that ends inside the second half of a pair", "\"\\ud800\\u", unterminatedString, 9},
        {"an unknown escape", R"(["a\x"])", invalidEscape, 3},
        {"an escape with a capital", R"("\N")", invalidEscape, 1},
        {"an escape with a digit too few", R"("a\u123")", invalidEscape, 2},
        {"an escape with a sign", R"("\u-123")", invalidEscape, 1},
        {"an escape with a prefix", R"("\u0x12")", invalidEscape, 1},
        {"a second half with a wrong digit", R"("\ud83d\ude0g")", invalidEscape, 7},
        {"a high surrogate alone", R"("ab\ud800")", loneSurrogate, 3},
        {"a high surrogate before another character", R"("\ud800x")", loneSurrogate, 1},
        {"a high surrogate before a short escape", R"("\ud800\n")", loneSurrogate, 1},
        {"a high surrogate before the escape of a character", R"("\ud800\u0041")", loneSurrogate, 1},
        {"two high surrogates", R"("\ud800\ud800\udc00")", loneSurrogate, 1},
        {"a low surrogate alone", R"("ab\udc00")", loneSurrogate, 3},
        {"a low surrogate after another escape", R"("\u0041\udfff")", loneSurrogate, 7},
        {"two low surrogates", R"("\udc00\udc00")", loneSurrogate, 1},
        {"a tab in a string", "\"a\tb\"", controlCharacter, 2},
        {"the last of the control characters", "\"a\x1F\"", controlCharacter, 2},
        {"a line feed in a name", "{\"a\nb\":1}", controlCharacter, 3},
        {"a NUL byte in a string", std::string("\"a\0b\"", 5), controlCharacter, 2},
        {"a stray continuation byte", "\"a\x80\"", invalidUtf8, 2},
        {"an overlong form of two bytes", "\"\xC1\xBF\"", invalidUtf8, 1},
        {"an overlong form of three bytes", "\"\xE0\x9F\xBF\"", invalidUtf8, 1},
        {"an overlong form of four bytes", "\"\xF0\x8F\xBF\xBF\"", invalidUtf8, 1},
        {"a surrogate in UTF-8", "\"\xED\xA0\x80\"", invalidUtf8, 1},
        {"a code point too large", "\"\xF4\x90\x80\x80\"", invalidUtf8, 1},
        {"a byte that UTF-8 does not have", "\"\xFF\"", invalidUtf8, 1},
        {"a code point far too large", "\"\xF5\x80\x80\x80\"", invalidUtf8, 1},
        {"a sequence cut short by the string's end", "\"ab\xF0\x9F\x98\"", invalidUtf8, 3},
        {"a sequence of two bytes cut short by the text's end", "\"\xC3", invalidUtf8, 1},
        {"a sequence of four bytes cut short by the text's end", "\"\xF0\x9F\x98", invalidUtf8, 1},
        {"a wrong third byte", "\"\xE2\x82x\"", invalidUtf8, 1},
        {"a third byte that begins a sequence", "\"\xE2\x82\xC3\"", invalidUtf8, 1},
        {"a wrong fourth byte", "\"\xF0\x9F\x98x\"", invalidUtf8, 1},
        {"ill-formed UTF-8 in a name", "{\"\xC3\":1}", invalidUtf8, 2},
        {"no digit after the point", "[1.]", invalidNumber, 3},
        {"no digit in the exponent", "[1e+]", invalidNumber, 4},
        {"two signs in the exponent", "[1e+-5]", invalidNumber, 4},
        {"two signs in the exponent, the other way round", "[1e-+5]", invalidNumber, 4},
        {"a text that ends in an exponent", "1e", invalidNumber, 2},
        {"a number beyond the range of double", "[1e999]", numberTooBig, 1},
        {"a negative number beyond it", "[-1e309]", numberTooBig, 1},
        {"four hundred digits", "[0," + std::string(400, '9') + "]", numberTooBig, 3},
        {"a comma after the last member", R"({"a":1,})", nameExpected, 7},
        {"a name without quotation marks", "{a:1}", nameExpected, 1},
        {"a number for a name", "{1:1}", nameExpected, 1},
        {"a text that ends after a brace", "{", nameExpected, 1},
        {"a missing colon", R"({"a" 1})", colonExpected, 5},
        {"a text that ends after a name", R"({"a")", colonExpected, 4},
        {"two members without a comma", R"({"a":1 "b":2})", commaOrBraceExpected, 7},
        {"an object closed by a bracket", R"({"a":1])", commaOrBraceExpected, 6},
        {"a text that ends inside an object", R"({"a":1)", commaOrBraceExpected, 6},
        {"two elements without a comma", "[1 2]", commaOrBracketExpected, 3},
        {"an array closed by a brace", "[1}", commaOrBracketExpected, 2},
        {"a zero before other digits", "[01]", commaOrBracketExpected, 2},
        {"a negative zero before other digits", "[-01]", commaOrBracketExpected, 3},
        {"a hexadecimal number", "[0x10]", commaOrBracketExpected, 2},
        {"a text that ends inside an array", "[1", commaOrBracketExpected, 2},
    };
    for (Refused const& row : rows)
        expectRefused(row);
}

TEST(WhatFollowsTheValue, IsLeftToTheCaller) {
    struct Row {
        char const* says;
        std::string_view text;
        Value value;
        std::size_t used;
    };
    Row const rows[] = {
        {"a second value", "1 2", 1.0, 2},
        {"something right behind", "[]]", Array{}, 2},
        {"a zero before other digits", "01", 0.0, 1},
        {"a NUL byte is no end of the text", "1\0"sv, 1.0, 1},
        {"a NUL byte after blanks", "null \n\0 "sv, Null{}, 6},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Reading const reading = readExactly(row.text);
        EXPECT_EQ(static_cast<int>(reading.result), 0);
        EXPECT_TRUE(reading.value == row.value);
        EXPECT_EQ(reading.used, row.used);
    }
}

TEST(Nesting, IsReadDownToFiveHundredAndTwelveLevels) {
    Reading const arrays = readExactly(repeat(512, "[") + repeat(512, "]"));
    EXPECT_EQ(static_cast<int>(arrays.result), 0);
    std::size_t levels = 0;
    for (Value const* level = &arrays.value; level != nullptr; ++levels) {
        Array const& items = level->get<Array>();
        level = items.empty() ? nullptr : items.data();
    }
    EXPECT_EQ(levels, 512U);
    Reading const objects = readExactly(repeat(512, R"({"a":)") + "1" + repeat(512, "}"));
    EXPECT_EQ(static_cast<int>(objects.result), 0);
    EXPECT_TRUE(objects.value.is<Object>());
    Reading const typed =
        readExactly(repeat(510, "[") + R"({"qztype":"int8","qzdata":[1]})" + repeat(510, "]"));
    EXPECT_EQ(static_cast<int>(typed.result), 0);
}

TEST(Nesting, AnyDeeperIsRefusedAtTheBracketThatGoesTooDeep) {
    std::string const typed = R"({"qztype":"int8","qzdata":)";
    Refused const rows[] = {
        {"arrays", repeat(513, "["), ParseResult::nestingTooDeep, 512},
        {"objects", repeat(513, R"({"a":)"), ParseResult::nestingTooDeep, std::size_t{512} * 5},
        {"a million arrays", repeat(1'000'000, "["), ParseResult::nestingTooDeep, 512},
        {"typed numbers", repeat(511, "[") + typed + "[]}", ParseResult::nestingTooDeep, 511 + typed.size()},
    };
    for (Refused const& row : rows)
        expectRefused(row);
}

TEST(Nesting, CountsOpenLevelsOnly) {
    Reading const reading = readExactly("[" + repeat(1000, "[[]],{},") + "1]");
    EXPECT_EQ(static_cast<int>(reading.result), 0);
    EXPECT_EQ(reading.value.get<Array>().size(), 2001U);
}

TEST(TypedNumbers, AreReadAsTheirType) {
    struct Row {
        char const* type;
        char const* data;
        Array numbers;
    };
    Row const rows[] = {
        {"int8", "[-128,127,0]", ints({-128, 127, 0})},
        {"int16", "[-32768,32767]", ints({-32768, 32767})},
        {"int32", "[-2147483648,2147483647]", ints({-2147483648, 2147483647})},
        {"int64",
         "[-9223372036854775808,9223372036854775807,9007199254740993]",
         ints({std::numeric_limits<std::int64_t>::min(),
               std::numeric_limits<std::int64_t>::max(),
               9007199254740993})},
        {"uint8", "[0,255]", uints({0, 255})},
        {"uint16", "[65535]", uints({65535})},
        {"uint32", "[4294967295]", uints({4294967295})},
        {"uint64", "[18446744073709551615]", uints({18446744073709551615U})},
        {"int8", "[]", {}},
        {"uint64", "[ \t\r\n]", {}},
        {"int32", "[ 1 ,\n-2\t,\r3 ]", ints({1, -2, 3})},
        {"int8", "[-0,0]", ints({0, 0})},
        {"uint8", "[-0]", uints({0})},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(join({row.type, ": ", row.data}));
        Value const expected = Object{{"qztype", row.type}, {"qzdata", row.numbers}};
        expectAccepted({"the type first",
                        join({R"({"qztype": ")", row.type, R"(", "qzdata": )", row.data, "}"}),
                        expected});
        expectAccepted({"the data first",
                        join({R"({"qzdata": )", row.data, R"(, "qztype": ")", row.type, R"("})"}),
                        expected});
    }
}

TEST(TypedNumbers, StandInAnObjectThatStaysOne) {
    Accepted const rows[] = {
        {"with other members between and around",
         R"({"a": [1], "qzdata": [1], "b": {"c": 2}, "qztype": "int8", "d": 3})",
         Object{{"a", Array{1.0}},
                {"b", Object{{"c", 2.0}}},
                {"d", 3.0},
                {"qzdata", ints({1})},
                {"qztype", "int8"}}},
        {"inside other values",
         R"([{"x": {"qztype": "uint8", "qzdata": [1]}}, [2]])",
         Array{Object{{"x", Object{{"qztype", "uint8"}, {"qzdata", uints({1})}}}}, Array{2.0}}},
        {"with escapes in the names",
         R"({"qz\u0064ata": [1], "qzt\u0079pe": "int8"})",
         Object{{"qzdata", ints({1})}, {"qztype", "int8"}}},
        {"twice in one array",
         R"([{"qztype": "int8", "qzdata": [1]}, {"qzdata": [1]}, {"qzdata": [2], "qztype": "int8"}])",
         Array{Object{{"qztype", "int8"}, {"qzdata", ints({1})}},
               Object{{"qzdata", Array{1.0}}},
               Object{{"qzdata", ints({2})}, {"qztype", "int8"}}}},
    };
    for (Accepted const& row : rows)
        expectAccepted(row);
}

TEST(NumbersWithoutAKnownType, AreOrdinaryJson) {
    Accepted const rows[] = {
        {"no type", R"({"qzdata": [1]})", Object{{"qzdata", Array{1.0}}}},
        {"no data", R"({"qztype": "int8"})", Object{{"qztype", "int8"}}},
        {"an unknown type",
         R"({"qztype": "float", "qzdata": [1]})",
         Object{{"qztype", "float"}, {"qzdata", Array{1.0}}}},
        {"an unknown type after the data",
         R"({"qzdata": {"a": 1.5}, "qztype": "float"})",
         Object{{"qztype", "float"}, {"qzdata", Object{{"a", 1.5}}}}},
        {"a type in capitals",
         R"({"qztype": "INT8", "qzdata": 1})",
         Object{{"qztype", "INT8"}, {"qzdata", 1.0}}},
        {"a type with a blank",
         R"({"qztype": "int8 ", "qzdata": 1})",
         Object{{"qztype", "int8 "}, {"qzdata", 1.0}}},
        {"a type with a NUL",
         R"({"qztype": "int8\u0000", "qzdata": 1})",
         Object{{"qztype", "int8\0"sv}, {"qzdata", 1.0}}},
        {"a size that is none",
         R"({"qztype": "int128", "qzdata": 1})",
         Object{{"qztype", "int128"}, {"qzdata", 1.0}}},
        {"a type that is no text",
         R"({"qztype": 8, "qzdata": [1]})",
         Object{{"qztype", 8.0}, {"qzdata", Array{1.0}}}},
        {"a type in an array",
         R"({"qzdata": [1], "qztype": ["int8"]})",
         Object{{"qztype", Array{"int8"}}, {"qzdata", Array{1.0}}}},
        {"names in other cases",
         R"({"QZTYPE": "int8", "qzdata": [1], "qzData": [2]})",
         Object{{"QZTYPE", "int8"}, {"qzdata", Array{1.0}}, {"qzData", Array{2.0}}}},
        {"the type in an outer object",
         R"({"qztype": "int8", "a": {"qzdata": [1.5]}})",
         Object{{"qztype", "int8"}, {"a", Object{{"qzdata", Array{1.5}}}}}},
        {"the type in an inner object",
         R"({"qzdata": {"qztype": "int8"}})",
         Object{{"qzdata", Object{{"qztype", "int8"}}}}},
        {"the type in an element of the data",
         R"({"qzdata": [{"qztype": "int8"}, 0.5]})",
         Object{{"qzdata", Array{Object{{"qztype", "int8"}}, 0.5}}}},
    };
    for (Accepted const& row : rows)
        expectAccepted(row);
}

TEST(MembersOfTypedNumbers, MayStandTwiceAndTheLastCounts) {
    Accepted const rows[] = {
        {"a second type",
         R"({"qztype": "int8", "qzdata": [1], "qztype": "uint16"})",
         Object{{"qztype", "uint16"}, {"qzdata", uints({1})}}},
        {"a second type after the data and the first",
         R"({"qzdata": [1], "qztype": "int8", "qztype": "uint16"})",
         Object{{"qztype", "uint16"}, {"qzdata", uints({1})}}},
        {"back to the first type",
         R"({"qzdata": [1], "qztype": "int8", "qztype": "uint16", "qztype": "int8"})",
         Object{{"qztype", "int8"}, {"qzdata", ints({1})}}},
        {"a second type that is unknown",
         R"({"qztype": "int8", "qzdata": [1, -0], "qztype": "float"})",
         Object{{"qztype", "float"}, {"qzdata", Array{1.0, -0.0}}}},
        {"a second type that is no text",
         R"({"qzdata": [7], "qztype": "int8", "qztype": null})",
         Object{{"qztype", Null{}}, {"qzdata", Array{7.0}}}},
        {"a known type after an unknown one",
         R"({"qztype": "float", "qzdata": [1], "qztype": "int8"})",
         Object{{"qztype", "int8"}, {"qzdata", ints({1})}}},
        {"second data",
         R"({"qztype": "int8", "qzdata": [1], "qzdata": [2, 3]})",
         Object{{"qztype", "int8"}, {"qzdata", ints({2, 3})}}},
        {"second data before the type",
         R"({"qzdata": "a", "qzdata": [2], "qztype": "int8"})",
         Object{{"qztype", "int8"}, {"qzdata", ints({2})}}},
        {"second data around the type",
         R"({"qzdata": [1], "qztype": "int8", "qzdata": [2]})",
         Object{{"qztype", "int8"}, {"qzdata", ints({2})}}},
        {"second data after a second type that is unknown",
         R"({"qztype": "int8", "qzdata": [1], "qztype": "float", "qzdata": "a"})",
         Object{{"qztype", "float"}, {"qzdata", "a"}}},
    };
    for (Accepted const& row : rows)
        expectAccepted(row);
}

TEST(TypedNumbers, ThatGoBackToOrdinaryOnesKeepTheSignOfZero) {
    Value const value = readExactly(R"({"qztype": "int8", "qzdata": [-0], "qztype": ""})").value;
    EXPECT_TRUE(std::signbit(value.get<Object>().at("qzdata").get<Array>().at(0).get<double>()));
}

TEST(TypedNumbers, ThatAreNoneAreRefusedNamingThePlaceAmongThem) {
    using enum ParseResult;
    struct Row {
        char const* says;
        char const* type;
        std::string data;
        ParseResult result;
        std::size_t at;  // in the data
    };
    Row const rows[] = {
        {"a bare number", "int64", "5", typedArrayExpected, 0},
        {"a string", "int8", R"("[1]")", typedArrayExpected, 0},
        {"null", "uint8", "null", typedArrayExpected, 0},
        {"an object", "uint64", "{}", typedArrayExpected, 0},
        {"a fraction", "int8", "[1, 1.0]", typedIntegerExpected, 4},
        {"an exponent", "int8", "[1e2]", typedIntegerExpected, 1},
        {"an exponent with a capital", "int8", "[1E2]", typedIntegerExpected, 1},
        {"a string among the numbers", "int8", R"([1,"2"])", typedIntegerExpected, 3},
        {"a word among the numbers", "int8", "[true]", typedIntegerExpected, 1},
        {"an array among the numbers", "int8", "[1,[2]]", typedIntegerExpected, 3},
        {"an object among the numbers", "int8", "[1,2,{}]", typedIntegerExpected, 5},
        {"one above int8", "int8", "[1,128]", typedIntegerOutOfRange, 3},
        {"one below int8", "int8", "[-129]", typedIntegerOutOfRange, 1},
        {"one above int16", "int16", "[32768]", typedIntegerOutOfRange, 1},
        {"one below int16", "int16", "[-32769]", typedIntegerOutOfRange, 1},
        {"one above int32", "int32", "[2147483648]", typedIntegerOutOfRange, 1},
        {"one below int32", "int32", "[-2147483649]", typedIntegerOutOfRange, 1},
        {"one above int64", "int64", "[9223372036854775808]", typedIntegerOutOfRange, 1},
        {"one below int64", "int64", "[-9223372036854775809]", typedIntegerOutOfRange, 1},
        {"one above uint8", "uint8", "[256]", typedIntegerOutOfRange, 1},
        {"one above uint16", "uint16", "[65536]", typedIntegerOutOfRange, 1},
        {"one above uint32", "uint32", "[4294967296]", typedIntegerOutOfRange, 1},
        {"one above uint64", "uint64", "[18446744073709551616]", typedIntegerOutOfRange, 1},
        {"a negative number for an unsigned type", "uint64", "[0 , -1]", typedIntegerOutOfRange, 5},
        {"forty digits", "uint64", "[1234567890123456789012345678901234567890]", typedIntegerOutOfRange, 1},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        std::string const typeFirst = join({R"({"qztype":")", row.type, R"(","qzdata":)"});
        std::string const dataFirst = R"({"qzdata":)";
        std::string const typeLast = join({R"(,"qztype":")", row.type, R"(")"});
        expectRefused(
            {"the type first", join({typeFirst, row.data, "}"}), row.result, typeFirst.size() + row.at});
        expectRefused({"the data first",
                       join({dataFirst, row.data, typeLast, "}"}),
                       row.result,
                       dataFirst.size() + row.at});
        expectRefused({"the type replaced later",
                       join({dataFirst, row.data, typeLast, R"(,"qztype":"x"})"}),
                       row.result,
                       dataFirst.size() + row.at});
    }
}

TEST(TypedNumbers, ThatAreNoJsonAreRefusedAmongThem) {
    using enum ParseResult;
    std::string const start = R"({"qztype":"int8","qzdata":)";
    Refused const rows[] = {
        {"no value", start + "}", typedArrayExpected, start.size()},
        {"the text ends before them", start, typedArrayExpected, start.size()},
        {"the text ends after the bracket", start + "[", typedArrayIncomplete, start.size() + 1},
        {"the text ends after blanks", start + "[ ", typedArrayIncomplete, start.size() + 2},
        {"the text ends after a minus", start + "[-", typedArrayIncomplete, start.size() + 2},
        {"the text ends after a digit", start + "[12", typedArrayIncomplete, start.size() + 3},
        {"the text ends after a number", start + "[1 ", typedArrayIncomplete, start.size() + 3},
        {"the text ends after a comma", start + "[1,", typedArrayIncomplete, start.size() + 3},
        {"a comma after the last number", start + "[1,]", typedIntegerExpected, start.size() + 3},
        {"a missing number", start + "[,1]", typedIntegerExpected, start.size() + 1},
        {"a minus alone", start + "[-]", typedIntegerExpected, start.size() + 1},
        {"a plus", start + "[+1]", typedIntegerExpected, start.size() + 1},
        {"two signs", start + "[--1]", typedIntegerExpected, start.size() + 1},
        {"a zero before other digits", start + "[1,007]", typedIntegerExpected, start.size() + 3},
        {"a NUL byte", start + std::string("[\0]", 3), typedIntegerExpected, start.size() + 1},
        {"two numbers without a comma", start + "[1 2]", typedCommaOrBracketExpected, start.size() + 3},
        {"a hexadecimal number", start + "[0x1]", typedCommaOrBracketExpected, start.size() + 2},
        {"a brace for the bracket", start + "[1}", typedCommaOrBracketExpected, start.size() + 2},
        {"the object's end is missing", start + "[1]", commaOrBraceExpected, start.size() + 3},
        {"second data that the first type does not fit, under a type that is replaced again",
         R"({"qztype":"int8","qzdata":[1],"qztype":"x","qzdata":"a","qztype":"int8","qztype":"x"})",
         typedArrayExpected,
         52},
        {"the text ends inside numbers that have no type yet", R"({"qzdata":[1)", commaOrBracketExpected, 12},
    };
    for (Refused const& row : rows)
        expectRefused(row);
}

// Reading the numbers once for each change of the type would take minutes.
TEST(TypesThatChangeVeryOften, DoNotMakeTheReadingQuadratic) {
    std::size_t const numbers = 200'000;
    std::string text = R"({"qzdata":[0)" + repeat(numbers - 1, ",1") + "]";
    text += repeat(40'000, R"(,"qztype":"int8","qztype":"x","qztype":"uint8","qztype":[])");
    text += R"(,"qztype":"uint16"})";
    Reading const reading = readExactly(text);
    EXPECT_EQ(static_cast<int>(reading.result), 0);
    Array const& items = reading.value.get<Object>().at("qzdata").get<Array>();
    EXPECT_EQ(items.size(), numbers);
    EXPECT_TRUE(items.back() == Value(std::uint64_t{1}));
}

TEST(TypedNumbersInsideTypedNumbers, AreReadOnceAndThenRefused) {
    std::string const open = R"({"qzdata":[)" + repeat(1000, "1,");
    std::string const text = repeat(200, open) + "1" + repeat(200, R"(],"x":1,"qztype":"x"})");
    EXPECT_EQ(static_cast<int>(readExactly(text).result), 0);
    std::string const typed = repeat(200, open) + "1" + repeat(200, R"(],"qztype":"int8"})");
    // The innermost is read; the one around it holds an object, where an integer must stand.
    expectRefused({"the second", typed, ParseResult::typedIntegerExpected, 199 * open.size()});
}

TEST(TheReader, MayBeUsedByManyThreadsAtOnce) {
    std::string const text = R"({"a": [1, "\u00e4"], "qzdata": [1, 2], "qztype": "int8"})";
    Value const expected =
        Object{{"a", Array{1.0, "\xC3\xA4"}}, {"qzdata", ints({1, 2})}, {"qztype", "int8"}};
    std::vector<int> equal(4, 0);
    std::vector<std::thread> threads;
    for (int& count : equal) {
        threads.emplace_back([&text, &expected, &count] {
            for (int i = 0; i < 200; ++i) {
                Value value;
                std::size_t used = 0;
                count += readJson(text, value, used) == ParseResult::success && value == expected ? 1 : 0;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(equal, (std::vector<int>(4, 200)));
}

}  // namespace
}  // namespace foundation::feature::management
