#include <foundation/feature/convert.hpp>

#include "RegistryTest.hpp"

#include <support/GroupingLocale.hpp>

#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <ostream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace foundation::feature {
namespace {

using ::cppmicroservices::Any;
using ::cppmicroservices::AnyMap;
using ::cppmicroservices::BadAnyCastException;
using json::Null;
using json::ParseResult;
using json::ParserException;
using json::Value;
using testing::AllOf;
using testing::HasSubstr;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

/// Something that the library does not know, and of which the framework makes this text.
struct Printed {
    std::string text;

    friend std::ostream& operator<<(std::ostream& out, Printed const& printed) { return out << printed.text; }
    friend bool operator==(Printed const&, Printed const&) = default;
};

Any printed(std::string text) {
    return Any(Printed{std::move(text)});
}

struct Row {
    char const* says;
    Any held;
    Value expected;
};

void expectConverted(std::vector<Row> const& rows) {
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Value const value = convert(row.held);
        EXPECT_STREQ(value.kindName(), row.expected.kindName());
        EXPECT_TRUE(value == row.expected);
    }
}

template <class Number>
Any lowest() {
    return Any(std::numeric_limits<Number>::lowest());
}

template <class Number>
Any highest() {
    return Any(std::numeric_limits<Number>::max());
}

template <class Kind, class Number>
Value as(Number number) {
    return static_cast<Kind>(number);
}

template <class Number>
std::vector<Number> ends() {
    return {std::numeric_limits<Number>::max(), Number{0}, std::numeric_limits<Number>::lowest()};
}

template <class Kind, class Number>
Value endsAs() {
    Array values;
    for (Number const number : ends<Number>())
        values.emplace_back(static_cast<Kind>(number));
    return values;
}

using Int64 = std::int64_t;
using UInt64 = std::uint64_t;

TEST(AValue, ThatIsNothingBecomesNull) {
    expectConverted({{"an empty value", Any(), Null()}});
}

TEST(AValue, ThatIsASignedNumberBecomesASignedInteger) {
    expectConverted({
        {"signed char -1", Any(static_cast<signed char>(-1)), Int64{-1}},
        {"signed char, lowest", lowest<signed char>(), Int64{-128}},
        {"signed char, highest", highest<signed char>(), Int64{127}},
        {"short, lowest", lowest<short>(), Int64{-32768}},
        {"short, highest", highest<short>(), Int64{32767}},
        {"int, lowest", lowest<int>(), as<Int64>(std::numeric_limits<int>::lowest())},
        {"int, highest", highest<int>(), as<Int64>(std::numeric_limits<int>::max())},
        {"long, lowest", lowest<long>(), as<Int64>(std::numeric_limits<long>::lowest())},
        {"long, highest", highest<long>(), as<Int64>(std::numeric_limits<long>::max())},
        {"long long, lowest", lowest<long long>(), std::numeric_limits<Int64>::lowest()},
        {"long long, highest", highest<long long>(), std::numeric_limits<Int64>::max()},
    });
}

TEST(AValue, ThatIsAnUnsignedNumberBecomesAnUnsignedInteger) {
    expectConverted({
        {"unsigned char 200", Any(static_cast<unsigned char>(200)), UInt64{200}},
        {"unsigned char, highest", highest<unsigned char>(), UInt64{255}},
        {"unsigned short, highest", highest<unsigned short>(), UInt64{65535}},
        {"unsigned int, highest", highest<unsigned int>(), UInt64{4294967295U}},
        {"unsigned long long, highest", highest<unsigned long long>(), std::numeric_limits<UInt64>::max()},
        {"unsigned long long 0", Any(0ULL), UInt64{0}},
    });
}

TEST(AValue, ThatIsACharacterBecomesItsCodeWithItsSign) {
    expectConverted({
        {"a letter", Any('A'), Int64{65}},
        {"the NUL character", Any('\0'), Int64{0}},
        {"a quotation mark", Any('"'), Int64{34}},
        {"a code beyond 127", Any('\xff'), Int64{-1}},
        {"the code 128", Any('\x80'), Int64{-128}},
    });
}

TEST(AValue, ThatIsATruthOrAFloatingPointNumberKeepsItsKind) {
    expectConverted({
        {"true", Any(true), true},
        {"false", Any(false), false},
        {"float", Any(0.1F), static_cast<double>(0.1F)},
        {"a whole float", Any(3.0F), 3.0},
        {"double, with every digit", Any(1.0 / 3.0), 1.0 / 3.0},
        {"a whole double", Any(1.0), 1.0},
        {"double, highest", highest<double>(), std::numeric_limits<double>::max()},
        {"infinity", Any(std::numeric_limits<double>::infinity()), std::numeric_limits<double>::infinity()},
    });
}

TEST(AVector, OfSignedNumbersBecomesAnArrayOfSignedIntegersInOrder) {
    expectConverted({
        {"of signed char", Any(ends<signed char>()), endsAs<Int64, signed char>()},
        {"of short", Any(ends<short>()), endsAs<Int64, short>()},
        {"of int", Any(ends<int>()), endsAs<Int64, int>()},
        {"of long", Any(ends<long>()), endsAs<Int64, long>()},
        {"of long long", Any(ends<long long>()), endsAs<Int64, long long>()},
        {"of char",
         Any(std::vector<char>{'b', '\0', '\x7f', '\x80', '\xff'}),
         Array{Int64{98}, Int64{0}, Int64{127}, Int64{-128}, Int64{-1}}},
        {"of none", Any(std::vector<int>()), Array{}},
    });
}

TEST(AVector, OfUnsignedNumbersBecomesAnArrayOfUnsignedIntegersInOrder) {
    expectConverted({
        {"of unsigned char", Any(ends<unsigned char>()), endsAs<UInt64, unsigned char>()},
        {"of unsigned short", Any(ends<unsigned short>()), endsAs<UInt64, unsigned short>()},
        {"of unsigned int", Any(ends<unsigned int>()), endsAs<UInt64, unsigned int>()},
        {"of unsigned long long", Any(ends<unsigned long long>()), endsAs<UInt64, unsigned long long>()},
    });
}

TEST(AVector, OfTruthsBecomesAnArrayOfTruths) {
    expectConverted({
        {"of some", Any(std::vector<bool>{true, false, true}), Array{true, false, true}},
        {"of none", Any(std::vector<bool>()), Array{}},
    });
}

TEST(AVector, OfFloatingPointNumbersIsRefusedAsWhatItIsNot) {
    auto const refusal = [](Any const& value) {
        return management::test::textThrown<BadAnyCastException>([&] { convert(value); });
    };
    EXPECT_THAT(refusal(Any(std::vector<double>{1.5, 2.5})),
                AllOf(HasSubstr("ref_any_cast: "), HasSubstr("vector<double"), HasSubstr("vector<long")));
    EXPECT_THAT(refusal(Any(std::vector<float>{1.5F})),
                AllOf(HasSubstr("ref_any_cast: "), HasSubstr("vector<float"), HasSubstr("vector<long")));
    EXPECT_THAT(refusal(Any(std::vector<double>())), HasSubstr("ref_any_cast: ")) << "an empty one too";
}

TEST(AVector, OfValuesBecomesAnArrayOfTheirConversionsInOrder) {
    std::vector<Any> const values = {
        Any(1), Any(std::string("one")), Any(), Any(true), Any(std::vector<Any>{Any(0.5)})};
    Array const expected = {Int64{1}, "one", Null(), true, Array{0.5}};
    EXPECT_TRUE(convert(values) == expected);
    expectConverted({
        {"as a value", Any(values), Value(expected)},
        {"an empty one", Any(std::vector<Any>()), Array{}},
        {"an empty one inside another",
         Any(std::vector<Any>{Any(std::vector<Any>())}),
         Array{Value(Array{})}},
    });
    EXPECT_TRUE(convert(std::vector<Any>()).empty());
}

TEST(AMap, BecomesAnObjectWithTheSameKeys) {
    for (auto const type :
         {AnyMap::ORDERED_MAP, AnyMap::UNORDERED_MAP, AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        SCOPED_TRACE(static_cast<int>(type));
        AnyMap map(type);
        map["Number"] = 7;
        map["a \"quoted\" key"] = true;
        map[""] = Any();
        map["text"] = std::string("t");
        Object const expected = {
            {"Number", Int64{7}}, {"a \"quoted\" key", true}, {"", Null()}, {"text", "t"}};
        EXPECT_TRUE(convert(map) == expected);
        EXPECT_TRUE(convert(Any(map)) == Value(expected));
    }
    EXPECT_TRUE(convert(AnyMap()).empty());
    expectConverted({{"an empty one", Any(AnyMap()), Object{}}});
}

TEST(AMap, KeepsKeysApartThatDifferInCaseWhereItDoesSoItself) {
    AnyMap map(AnyMap::ORDERED_MAP);
    map["key"] = 1;
    map["KEY"] = 2;
    EXPECT_TRUE(convert(map) == (Object{{"key", Int64{1}}, {"KEY", Int64{2}}}));
}

TEST(AMap, OfThreeLevelsBecomesNestedObjects) {
    AnyMap innermost;
    innermost["c"] = std::string("deep");
    innermost["list"] = std::vector<Any>{Any(1U)};
    AnyMap middle;
    middle["b"] = innermost;
    AnyMap outer;
    outer["a"] = middle;
    outer["beside"] = -1;
    Object const expected = {{"a", Object{{"b", Object{{"c", "deep"}, {"list", Array{UInt64{1}}}}}}},
                             {"beside", Int64{-1}}};
    EXPECT_TRUE(convert(outer) == expected);
    EXPECT_TRUE(convert(Any(outer)) == Value(expected));
}

TEST(AString, ComesBackFromItsJsonText) {
    expectConverted({
        {"plain", Any(std::string("plain")), "plain"},
        {"empty", Any(std::string()), ""},
        {"with what JSON escapes", Any(std::string("\"\\/\b\f\n\r\t\x01\x1f")), "\"\\/\b\f\n\r\t\x01\x1f"},
        {"beyond ASCII",
         Any(std::string("\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\x7f")),
         "\xc3\xa4\xe2\x82\xac\xf0\x9f\x98\x80\x7f"},
        {"with a NUL", Any(std::string("a\0b", 3)), Value(std::string("a\0b", 3))},
        {"that looks like JSON", Any(std::string("{\"a\": 1}")), "{\"a\": 1}"},
    });
}

TEST(AString, OfIllFormedTextIsRefused) {
    try {
        convert(Any(std::string("a\xff")));
        FAIL() << "nothing was thrown";
    } catch (ParserException const& error) {
        EXPECT_EQ(error.code(), ParseResult::invalidUtf8);
        EXPECT_EQ(error.line(), 1U);
        EXPECT_EQ(error.column(), 3U);
    }
}

TEST(AnotherType, ComesBackFromItsJsonTextWithDoublesAsNumbers) {
    expectConverted({
        {"unsigned long", Any(7UL), 7.0},
        {"unsigned long, highest",
         highest<unsigned long>(),
         static_cast<double>(std::numeric_limits<unsigned long>::max())},
        {"a vector of unsigned long", Any(std::vector<unsigned long>{3, 1, 2}), Array{3.0, 1.0, 2.0}},
        {"a vector of strings", Any(std::vector<std::string>{"b", "a\""}), Array{"b", "a\""}},
        {"a map that is not the framework's own",
         Any(std::map<std::string, Any>{{"a", Any(std::string("x"))}, {"b", Any(1)}}),
         Object{{"a", "x"}, {"b", 1.0}}},
        {"a type of its own",
         printed(R"( {"a": [1, -0.5, true, null, "\u00e4"]} )"),
         Object{{"a", Array{1.0, -0.5, true, Null(), "\xc3\xa4"}}}},
    });
}

struct Refused {
    char const* says;
    std::string text;
    ParseResult code;
    std::size_t line;
    std::size_t column;
    std::string message;
};

TEST(AnotherType, IsRefusedWithThePlaceWhereItsTextIsNoJson) {
    Refused const rows[] = {
        {"a word that is none",
         "{\n  \"a\": nul\n}",
         ParseResult::invalidValue,
         2,
         8,
         "JSON ParserException (E0002): invalid value (Line 2, Column 8)\n\t  \"a\": nul\n\t       ^"},
        {"nothing at all",
         "",
         ParseResult::emptyText,
         1,
         1,
         "JSON ParserException (E0001): the text is empty (Line 1, Column 1)\n\t\n\t^"},
        {"a text that ends too early",
         "[1, 2",
         ParseResult::commaOrBracketExpected,
         1,
         6,
         "JSON ParserException (E0013): \",\" or \"]\" expected after an array element (Line 1, Column 6)"
         "\n\t[1, 2\n\t     ^"},
        {"a word after the value",
         "1 x",
         ParseResult::success,
         1,
         3,
         "JSON ParserException (E0000): Parse incomplete (Line 1, Column 3)\n\t1 x\n\t  ^"},
        {"a second value on a line of its own",
         "{}\r\n\r\n  []\r\n",
         ParseResult::success,
         3,
         3,
         "JSON ParserException (E0000): Parse incomplete (Line 3, Column 3)\n\t  []\n\t  ^"},
        {"a line with tabs and characters of several bytes, which count as bytes",
         "[\n\t\"\xc3\xa4\xe2\x82\xac\",\t?\r\n]",
         ParseResult::invalidValue,
         2,
         11,
         "JSON ParserException (E0002): invalid value (Line 2, Column 11)"
         "\n\t\t\"\xc3\xa4\xe2\x82\xac\",\t?\n\t          ^"},
        {"a line with a NUL byte, which does not end the message",
         std::string("[1,\0 2]", 7),
         ParseResult::invalidValue,
         1,
         4,
         "JSON ParserException (E0002): invalid value (Line 1, Column 4)\n\t[1,  2]\n\t   ^"},
        {"a text that ends in a line break",
         "[1,\r\n",
         ParseResult::invalidValue,
         2,
         1,
         "JSON ParserException (E0002): invalid value (Line 2, Column 1)\n\t\n\t^"},
        {"a very long line",
         "[" + std::string(100'000, ' ') + "x]\n[",
         ParseResult::invalidValue,
         1,
         100'002,
         "JSON ParserException (E0002): invalid value (Line 1, Column 100002)\n\t[" +
             std::string(100'000, ' ') + "x]\n\t" + std::string(100'001, ' ') + "^"},
        {"typed data that is a bare number, before its type",
         "{\"qzdata\": 5,\n\"qztype\": \"int8\"}",
         ParseResult::typedArrayExpected,
         1,
         12,
         "JSON ParserException (E0014): \"[\" expected at the beginning of typed numbers (Line 1, Column 12)"
         "\n\t{\"qzdata\": 5,\n\t           ^"},
        {"typed data that is a bare number",
         R"({"qztype": "uint64", "qzdata": 5})",
         ParseResult::typedArrayExpected,
         1,
         32,
         "JSON ParserException (E0014): \"[\" expected at the beginning of typed numbers (Line 1, Column 32)"
         "\n\t{\"qztype\": \"uint64\", \"qzdata\": 5}\n\t" +
             std::string(31, ' ') + "^"},
        {"typed data that ends too early",
         R"({"qztype": "int8", "qzdata": [1,)",
         ParseResult::typedArrayIncomplete,
         1,
         33,
         "JSON ParserException (E0019): text ended inside typed numbers (Line 1, Column 33)"
         "\n\t{\"qztype\": \"int8\", \"qzdata\": [1,\n\t" +
             std::string(32, ' ') + "^"},
    };
    for (Refused const& row : rows) {
        SCOPED_TRACE(row.says);
        try {
            convert(printed(row.text));
            ADD_FAILURE() << "nothing was thrown";
        } catch (ParserException const& error) {
            EXPECT_EQ(error.code(), row.code);
            EXPECT_EQ(error.line(), row.line);
            EXPECT_EQ(error.column(), row.column);
            EXPECT_EQ(error.what(), row.message);
        }
    }
}

TEST(TypedNumbers, KeepEveryDigitInEitherOrder) {
    Object const largest = {{"qztype", "uint64"}, {"qzdata", Array{std::numeric_limits<UInt64>::max()}}};
    Object const signedEnds = {
        {"qztype", "int64"},
        {"qzdata", Array{std::numeric_limits<Int64>::lowest(), std::numeric_limits<Int64>::max()}}};
    expectConverted({
        {"the largest, after its type",
         printed(R"({"qztype": "uint64", "qzdata": [18446744073709551615]})"),
         largest},
        {"the largest, before its type",
         printed(R"({"qzdata": [18446744073709551615], "qztype": "uint64"})"),
         largest},
        {"both ends of the signed range",
         printed(R"({"qztype": "int64", "qzdata": [-9223372036854775808, 9223372036854775807]})"),
         signedEnds},
        {"both ends, before their type",
         printed(R"({"qzdata":[-9223372036854775808,9223372036854775807],"other":1,"qztype":"int64"})"),
         Object{{"qztype", "int64"}, {"qzdata", signedEnds.at("qzdata")}, {"other", 1.0}}},
        {"a type name that is none",
         printed(R"({"qztype": "Uint64", "qzdata": 5})"),
         Object{{"qztype", "Uint64"}, {"qzdata", 5.0}}},
    });
}

TEST(TypedNumbers, AreOfTheKindThatTheirTypeSays) {
    for (std::string const type : {"int8", "int16", "int32", "int64"}) {
        SCOPED_TRACE(type);
        Object const expected = {{"qztype", type}, {"qzdata", Array{Int64{-1}, Int64{100}}}};
        EXPECT_TRUE(convert(printed(R"({"qztype":")" + type + R"(","qzdata":[-1,100]})")) == Value(expected));
    }
    for (std::string const type : {"uint8", "uint16", "uint32", "uint64"}) {
        SCOPED_TRACE(type);
        Object const expected = {{"qztype", type}, {"qzdata", Array{UInt64{0}, UInt64{200}}}};
        EXPECT_TRUE(convert(printed(R"({"qztype":")" + type + R"(","qzdata":[0,200]})")) == Value(expected));
    }
}

TEST(AFailure, InsideAValueLeavesTheWholeConversion) {
    Any const bad(std::vector<double>{0.5});
    Any const inVector(std::vector<Any>{Any(1), bad, Any(2)});
    EXPECT_THROW(convert(inVector), BadAnyCastException);
    AnyMap map;
    map["good"] = 1;
    map["bad"] = inVector;
    EXPECT_THROW(convert(map), BadAnyCastException);
    EXPECT_THROW(convert(Any(map)), BadAnyCastException);
    EXPECT_THROW(convert(std::vector<Any>{Any(1), printed("?")}), ParserException);
    map["bad"] = 2;
    EXPECT_NO_THROW(convert(map)) << "later conversions are not affected";
}

TEST(AFailure, InTheTextOfAnUnknownContainerShowsItOnOneLine) {
    Any const container(std::vector<Printed>{{"1"}, {"?"}});
    try {
        convert(container);
        FAIL() << "it is no JSON";
    } catch (ParserException const& error) {
        EXPECT_THAT(error.what(), HasSubstr("(Line 1, Column 4)\n\t[1,?]\n\t   ^"));
    }
}

constexpr char const* tooDeep = "value not converted: it is nested more than 512 levels deep";

Any inVector(Any inner) {
    std::vector<Any> outer;
    outer.push_back(std::move(inner));
    return Any(std::move(outer));
}

Any inMap(Any inner) {
    AnyMap outer;
    outer["in"] = std::move(inner);
    return Any(std::move(outer));
}

/// `value` inside so many containers.
Any nested(std::size_t levels, Any (*wrap)(Any), Any value) {
    for (std::size_t level = 0; level < levels; ++level)
        value = wrap(std::move(value));
    return value;
}

template <class Content>
void expectTooDeep(Content const& value) {
    EXPECT_EQ(management::test::textThrown<std::runtime_error>([&] { convert(value); }), tooDeep);
}

TEST(TheNesting, Of512ContainersIsConverted) {
    for (auto const wrap : {inVector, inMap}) {
        EXPECT_NO_THROW(convert(nested(512, wrap, Any(1))));
        EXPECT_NO_THROW(convert(nested(511, wrap, Any(std::vector<Any>()))));
        EXPECT_NO_THROW(convert(nested(511, wrap, Any(AnyMap()))));
        EXPECT_NO_THROW(convert(nested(511, wrap, Any(std::vector<int>{1}))));
    }
    EXPECT_NO_THROW(convert(std::vector<Any>{nested(511, inVector, Any(1))}));
    EXPECT_NO_THROW(convert(::cppmicroservices::ref_any_cast<AnyMap>(nested(512, inMap, Any(1)))));
}

TEST(TheNesting, OfOneContainerMoreIsRefusedEvenWhenTheInnermostIsEmpty) {
    for (auto const wrap : {inVector, inMap}) {
        expectTooDeep(nested(513, wrap, Any(1)));
        expectTooDeep(nested(512, wrap, Any(std::vector<Any>())));
        expectTooDeep(nested(512, wrap, Any(AnyMap())));
        expectTooDeep(nested(512, wrap, Any(std::vector<int>{1})));
        expectTooDeep(nested(1'000, wrap, Any(1)));
    }
}

TEST(TheNesting, CountsTheContainerThatIsHandedOver) {
    expectTooDeep(std::vector<Any>{nested(512, inVector, Any(1))});
    expectTooDeep(::cppmicroservices::ref_any_cast<AnyMap>(nested(513, inMap, Any(1))));
}

TEST(TheNesting, CountsTheLevelsOfJsonTextToo) {
    auto const arrays = [](std::size_t levels) {
        return printed(std::string(levels, '[') + std::string(levels, ']'));
    };
    auto const typed = [](std::size_t levels) {
        return printed(std::string(levels - 2, '[') + R"({"qztype":"int8","qzdata":[)");
    };
    struct Deep {
        Any value;
        ParseResult result;
        std::size_t column;
    };
    Deep const rows[] = {
        {arrays(513), ParseResult::nestingTooDeep, 513},
        {nested(1, inVector, arrays(512)), ParseResult::nestingTooDeep, 512},
        {nested(510, inMap, arrays(3)), ParseResult::nestingTooDeep, 3},
        {nested(512, inVector, arrays(1)), ParseResult::nestingTooDeep, 1},
        {nested(510, inVector, typed(2)), ParseResult::typedArrayIncomplete, 28},
        {nested(511, inVector, typed(2)), ParseResult::nestingTooDeep, 27},
    };
    for (Deep const& row : rows) {
        SCOPED_TRACE(row.column);
        try {
            convert(row.value);
            ADD_FAILURE() << "nothing was thrown";
        } catch (ParserException const& error) {
            EXPECT_EQ(error.code(), row.result);
            EXPECT_EQ(error.column(), row.column);
        }
    }
    EXPECT_NO_THROW(convert(arrays(512)));
    EXPECT_NO_THROW(convert(nested(510, inMap, arrays(2))));
    EXPECT_NO_THROW(convert(nested(512, inVector, Any(std::string("text")))));
}

TEST(TheLocale, ChangesNothing) {
    foundation::test::GroupingLocale const locale;
    expectConverted({
        {"numbers with a point", printed("[1234.5]"), Array{1234.5}},
        {"typed numbers",
         printed(R"({"qztype":"int32","qzdata":[-1234567]})"),
         Object{{"qztype", "int32"}, {"qzdata", Array{Int64{-1234567}}}}},
    });
    EXPECT_EQ(management::test::textThrown<ParserException>([] {
                  convert(printed(std::string(1234, ' ') + "x"));
              }).substr(0, 65),
              "JSON ParserException (E0002): invalid value (Line 1, Column 1235)");
}

TEST(ManyThreads, ConvertForTheFirstTimeAtOnce) {
    AnyMap map;
    map["list"] = std::vector<Any>{Any(1), Any(std::string("text"))};
    Value const expected = Object{{"list", Array{Int64{1}, "text"}}};
    std::atomic<int> right = 0;
    management::test::runTogether(16, [&](int) {
        for (int round = 0; round < 50; ++round)
            right += convert(Any(map)) == expected ? 1 : 0;
    });
    EXPECT_EQ(right, 16 * 50);
}

}  // namespace
}  // namespace foundation::feature
