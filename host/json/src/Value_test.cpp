#include <foundation/json/Value.hpp>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <map>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace foundation::json {
namespace {

using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

/// One value of each kind, by the name of its kind.
std::vector<std::pair<std::string, Value>> oneOfEachKind() {
    std::vector<std::pair<std::string, Value>> values;
    values.emplace_back("undefined", Undefined{});
    values.emplace_back("null", Null{});
    values.emplace_back("bool", true);
    values.emplace_back("float", 1.0F);
    values.emplace_back("double", 1.0);
    values.emplace_back("int64", 1);
    values.emplace_back("uint64", 1U);
    values.emplace_back("string", "1");
    values.emplace_back("array", Array{1});
    values.emplace_back("object", Object{{"1", 1}});
    return values;
}

template <class T>
std::string whyNot(Value const& value) {
    try {
        value.get<T>();
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "";
}

TEST(AValue, IsUndefinedByDefault) {
    EXPECT_TRUE(Value().is<Undefined>());
    Value emptied = 1;
    emptied = {};
    EXPECT_TRUE(emptied.is<Undefined>());
}

TEST(AValue, HoldsWhatItWasMadeFrom) {
    EXPECT_TRUE(Value(Undefined{}).is<Undefined>());
    EXPECT_TRUE(Value(Null{}).is<Null>());
    EXPECT_EQ(Value(true).get<bool>(), true);
    EXPECT_EQ(Value(0.1F).get<float>(), 0.1F);
    EXPECT_EQ(Value(0.1).get<double>(), 0.1);
    EXPECT_EQ(Value(std::int64_t{-1}).get<std::int64_t>(), -1);
    EXPECT_EQ(Value(std::numeric_limits<std::uint64_t>::max()).get<std::uint64_t>(), 18446744073709551615U);
    EXPECT_EQ(Value(std::string("text")).get<std::string>(), "text");
    EXPECT_EQ(Value(Array{1, 2}).get<Array>().size(), 2U);
    EXPECT_EQ(Value(Object{{"a", 1}}).get<Object>().at("a"), Value(1));
}

TEST(AValue, IsOfExactlyOneKind) {
    for (auto const& [kind, value] : oneOfEachKind()) {
        SCOPED_TRACE(kind);
        EXPECT_EQ(value.kindName(), kind);
        EXPECT_EQ(value.is<Undefined>(), kind == "undefined");
        EXPECT_EQ(value.is<Null>(), kind == "null");
        EXPECT_EQ(value.is<bool>(), kind == "bool");
        EXPECT_EQ(value.is<float>(), kind == "float");
        EXPECT_EQ(value.is<double>(), kind == "double");
        EXPECT_EQ(value.is<std::int64_t>(), kind == "int64");
        EXPECT_EQ(value.is<std::uint64_t>(), kind == "uint64");
        EXPECT_EQ(value.is<std::string>(), kind == "string");
        EXPECT_EQ(value.is<Array>(), kind == "array");
        EXPECT_EQ(value.is<Object>(), kind == "object");
    }
}

template <class T>
class AnIntegerType : public testing::Test {};

using IntegerTypes = testing::Types<signed char,
                                    unsigned char,
                                    char,
                                    wchar_t,
                                    char8_t,
                                    char16_t,
                                    char32_t,
                                    short,
                                    unsigned short,
                                    int,
                                    unsigned int,
                                    long,
                                    unsigned long,
                                    long long,
                                    unsigned long long>;
TYPED_TEST_SUITE(AnIntegerType, IntegerTypes);

TYPED_TEST(AnIntegerType, GoesToTheSixtyFourBitKindOfItsSignedness) {
    using Limits = std::numeric_limits<TypeParam>;
    if constexpr (Limits::is_signed) {
        EXPECT_EQ(Value(Limits::min()).template get<std::int64_t>(), std::int64_t{Limits::min()});
        EXPECT_EQ(Value(Limits::max()).template get<std::int64_t>(), std::int64_t{Limits::max()});
    } else {
        EXPECT_EQ(Value(Limits::max()).template get<std::uint64_t>(), std::uint64_t{Limits::max()});
    }
}

TEST(Text, GoesToString) {
    char array[] = "array";
    char* const pointer = array;
    EXPECT_EQ(Value("literal").get<std::string>(), "literal");
    EXPECT_EQ(Value(array).get<std::string>(), "array");
    EXPECT_EQ(Value(pointer).get<std::string>(), "array");
    EXPECT_EQ(Value(std::string_view("a\0b", 3)).get<std::string>(), std::string("a\0b", 3));
    EXPECT_EQ(Value("").get<std::string>(), "");
}

TEST(AValue, IsNotMadeFromPointersOtherThanText) {
    EXPECT_FALSE((std::is_constructible_v<Value, void*>));
    EXPECT_FALSE((std::is_constructible_v<Value, int const*>));
    EXPECT_FALSE((std::is_constructible_v<Value, wchar_t const*>));
    EXPECT_FALSE((std::is_constructible_v<Value, Value*>));
    EXPECT_FALSE((std::is_constructible_v<Value, void (*)()>));
    EXPECT_FALSE((std::is_constructible_v<Value, std::nullptr_t>));
    EXPECT_TRUE((std::is_constructible_v<Value, char const*>));
}

TEST(AListOfDifferentThings, IsAnArrayOfTheirKinds) {
    Array const items{1, "a", true, 2.5, Null{}, Array{}, Object{{"k", "v"}}, {}};
    ASSERT_EQ(items.size(), 8U);
    char const* const kinds[] = {"int64", "string", "bool", "double", "null", "array", "object", "undefined"};
    for (std::size_t i = 0; i < items.size(); ++i)
        EXPECT_STREQ(items[i].kindName(), kinds[i]) << i;
}

TEST(ACopy, IsNeverWrappedInAnArray) {
    Array const items{1, 2, 3};
    Value const array{items};
    EXPECT_EQ(array.get<Array>().size(), 3U);
    EXPECT_EQ(Value{array}, array);
    EXPECT_EQ(Value{array}.get<Array>().size(), 3U);
    Value const ofOne{Array{Value(items)}};
    EXPECT_EQ(ofOne.get<Array>().size(), 1U);
    EXPECT_EQ(Value{Array{}}.get<Array>().size(), 0U);
}

TEST(ACopy, IsIndependentOfItsSource) {
    Value source = Object{{"list", Array{1, "text"}}};
    Value const copy = source;
    source = 1;
    EXPECT_EQ(copy, Value(Object{{"list", Array{1, "text"}}}));
}

TEST(AMovedValue, TakesItsContentAlongWithoutCopyingIt) {
    EXPECT_TRUE(std::is_nothrow_move_assignable_v<Value>);
    Value source = Array{"text"};
    Value const* const element = source.get<Array>().data();
    Value target = std::move(source);
    EXPECT_EQ(target.get<Array>().data(), element);
    Value second;
    second = std::move(target);
    EXPECT_EQ(second.get<Array>().data(), element);
    // NOLINTNEXTLINE(bugprone-use-after-move): its kind is what is promised.
    EXPECT_TRUE(source.is<Array>());
    source = "again";
    EXPECT_EQ(source, Value("again"));
}

TEST(AValue, CanBeReplacedByOneOfItsOwnElements) {
    Value value = Array{Object{{"inner", Array{7}}}};
    value = value.get<Array>()[0];
    value = value.get<Object>().at("inner");
    value = value.get<Array>()[0];
    EXPECT_EQ(value, Value(7));
    Value const& itself = value;
    value = itself;
    EXPECT_EQ(value, Value(7));
}

TEST(GettingAnotherKind, FailsNamingBoth) {
    EXPECT_EQ(whyNot<std::string>(Value()), "invalid conversion: undefined to string");
    EXPECT_EQ(whyNot<Object>(Value("text")), "invalid conversion: string to object");
    EXPECT_EQ(whyNot<bool>(Value(1)), "invalid conversion: int64 to bool");
    EXPECT_EQ(whyNot<std::uint64_t>(Value(1)), "invalid conversion: int64 to uint64");
    EXPECT_EQ(whyNot<double>(Value(1.0F)), "invalid conversion: float to double");
    for (auto const& [kind, value] : oneOfEachKind()) {
        SCOPED_TRACE(kind);
        EXPECT_EQ(whyNot<Undefined>(value),
                  kind == "undefined" ? "" : "invalid conversion: " + kind + " to undefined");
        EXPECT_EQ(whyNot<Array>(value), kind == "array" ? "" : "invalid conversion: " + kind + " to array");
    }
}

TEST(KindNames, AreThoseOfMessages) {
    EXPECT_STREQ(traits<Undefined>::name, "undefined");
    EXPECT_STREQ(traits<Null>::name, "null");
    EXPECT_STREQ(traits<bool>::name, "bool");
    EXPECT_STREQ(traits<float>::name, "float");
    EXPECT_STREQ(traits<double>::name, "double");
    EXPECT_STREQ(traits<std::int32_t>::name, "int32");
    EXPECT_STREQ(traits<std::int64_t>::name, "int64");
    EXPECT_STREQ(traits<std::uint64_t>::name, "uint64");
    EXPECT_STREQ(traits<std::string>::name, "string");
    EXPECT_STREQ(traits<Array>::name, "array");
    EXPECT_STREQ(traits<Object>::name, "object");
    EXPECT_EQ(std::string("to ") + traits<std::int32_t>::name, "to int32");
    std::ostringstream stream;
    stream << traits<Object>::name;
    EXPECT_EQ(stream.str(), "object");
}

TEST(Values, AreEqualWhenKindAndContentAre) {
    auto const values = oneOfEachKind();
    for (auto const& [kind, value] : values) {
        for (auto const& [otherKind, other] : values) {
            EXPECT_EQ(value == other, kind == otherKind) << kind << " and " << otherKind;
        }
    }
    EXPECT_NE(Value(1), Value(2));
    EXPECT_NE(Value("a"), Value("A"));
    EXPECT_NE((Value(Array{1, 2})), (Value(Array{2, 1})));
    EXPECT_NE((Value(Object{{"a", 1}})), (Value(Object{{"b", 1}})));
    EXPECT_EQ(Value(0.0), Value(-0.0));
    EXPECT_NE(Value(std::numeric_limits<double>::quiet_NaN()),
              Value(std::numeric_limits<double>::quiet_NaN()));
}

TEST(DeepNesting, CanBeCopiedComparedMovedAndDestroyed) {
    Value value = 1;
    for (int level = 0; level < 512; ++level) {
        if (level % 2 == 0) {
            Array items;
            items.push_back(std::move(value));
            value = std::move(items);
        } else {
            Object members;
            members.emplace("inner", std::move(value));
            value = std::move(members);
        }
    }
    Value copy = value;
    EXPECT_TRUE(copy == value);
    Value const moved = std::move(copy);
    EXPECT_TRUE(moved == value);
}

}  // namespace
}  // namespace foundation::json
