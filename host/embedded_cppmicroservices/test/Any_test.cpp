#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include <functional>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "BundleFiles.h"

namespace {

using bundle_test::textOf;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::any_map;
using cppmicroservices::AnyMap;
using cppmicroservices::BadAnyCastException;
using cppmicroservices::ref_any_cast;

enum Colour { RED, GREEN };

struct Point {
    int x = 0;
};
std::ostream& operator<<(std::ostream& out, Point const& point) {
    return out << "<\"" << point.x << "\">";
}

std::string text(char const* characters) {
    return characters;
}

TEST(AnAny, WritesEachKindOfValueAsJsonAndAsText) {
    struct Row {
        char const* says;
        Any value;
        char const* json;
        char const* text;
    };
    std::vector<Any> const mixed = {Any(1), Any(text("s\"")), Any(true), Any(std::vector<double>{2.5})};
    std::map<std::string, Any> const one = {{"a", Any(text("x"))}, {"b", Any(1)}};
    Row const rows[] = {
        {"a text is quoted in JSON only", text("a b"), "\"a b\"", "a b"},
        {"quotes and backslashes are escaped", text("\"\\"), R"("\"\\")", "\"\\"},
        {"control characters have short names", text("\b\f\n\r\t"), R"("\b\f\n\r\t")", "\b\f\n\r\t"},
        {"or their number in lower case", text("\x01\x1f"), R"("\u0001\u001f")", "\x01\x1f"},
        {"nothing else is escaped", text("/\x7f\xc3\xa9\xff"), "\"/\x7f\xc3\xa9\xff\"", "/\x7f\xc3\xa9\xff"},
        {"an int", 42, "42", "42"},
        {"a long", -7L, "-7", "-7"},
        {"the largest unsigned number",
         std::numeric_limits<unsigned long long>::max(),
         "18446744073709551615",
         "18446744073709551615"},
        {"a fraction", 1.5, "1.5", "1.5"},
        {"a whole double", 1.0, "1", "1"},
        {"twelve digits of a third", 1.0 / 3, "0.333333333333", "0.333333333333"},
        {"a large double", 1e15, "1e+15", "1e+15"},
        {"a float, as it is held", 0.3F, "0.300000011921", "0.300000011921"},
        {"a negative zero", -0.0, "-0", "-0"},
        {"true", true, "true", "1"},
        {"false", false, "false", "0"},
        {"a character is bare", 'c', "c", "c"},
        {"also a quote", '"', "\"", "\""},
        {"an unsigned byte is a character", static_cast<unsigned char>(65), "A", "A"},
        {"a C string is bare", static_cast<char const*>("lit\"x"), "lit\"x", "lit\"x"},
        {"a string_view too", std::string_view("view"), "view", "view"},
        {"an enumerator is its number", GREEN, "1", "1"},
        {"another type is what its operator<< writes", Point{3}, "<\"3\">", "<\"3\">"},
        {"a function is nothing", std::function<void()>([] {}), "", ""},
        {"a list of all kinds", mixed, R"([1,"s\"",true,[2.5]])", "[1,s\",1,[2.5]]"},
        {"an empty list", std::vector<Any>(), "[]", "[]"},
        {"a list of texts", std::vector<std::string>{"a", "b"}, R"(["a","b"])", "[a,b]"},
        {"a list of bools", std::vector<bool>{true, false}, "[true,false]", "[1,0]"},
        {"a linked list", std::list<int>{1, 2}, "[1,2]", "[1,2]"},
        {"a set", std::set<std::string>{"b", "a"}, R"(["a","b"])", "[a,b]"},
        {"a list of maps",
         std::vector<std::map<std::string, Any>>{one},
         R"([{"a" : "x", "b" : 1}])",
         "[{a : x, b : 1}]"},
        {"an ordered AnyMap",
         AnyMap(any_map::ORDERED_MAP, {{"b", Any(1)}, {"a", Any(text("x"))}}),
         R"({"a" : "x", "b" : 1})",
         "{a : x, b : 1}"},
        {"an empty map", AnyMap(), "{}", "{}"},
        {"a list of AnyMaps", std::vector<AnyMap>{AnyMap{{"k", Any(1)}}}, R"([{"k" : 1}])", "[{k : 1}]"},
        {"a standard map of Any", one, R"({"a" : "x", "b" : 1})", "{a : x, b : 1}"},
        {"a map with numbers for keys", std::map<int, Any>{{1, Any(2)}}, R"({"1" : 2})", "{1 : 2}"},
        {"a standard map of texts leaves them bare",
         std::map<std::string, std::string>{{"a", "y"}},
         R"({"a" : y})",
         "{a : y}"},
        {"a standard map of bools has numbers",
         std::map<std::string, bool>{{"a", true}},
         R"({"a" : 1})",
         "{a : 1}"},
        {"a standard map of doubles has six digits",
         std::map<std::string, double>{{"a", 1.0 / 3}},
         R"({"a" : 0.333333})",
         "{a : 0.333333}"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(row.value.ToJSON(), row.json);
        EXPECT_EQ(row.value.ToJSON(false), row.json);
        EXPECT_EQ(row.value.ToString(), row.text);
        EXPECT_EQ(row.value.ToStringNoExcept(), row.text);
        Any const copy = row.value;
        EXPECT_EQ(copy.ToJSON(), row.json);
        EXPECT_TRUE(copy.Type() == row.value.Type());
    }
}

TEST(AnAny, WritesJsonWithLineBreaksOnRequest) {
    Any const value = AnyMap(any_map::ORDERED_MAP,
                             {{"a", Any(1)},
                              {"m", Any(AnyMap())},
                              {"v", Any(std::vector<Any>{Any(1), Any(std::vector<Any>()), Any(text("x"))})}});
    EXPECT_EQ(value.ToJSON(true),
              "{\n"
              "    \"a\" : 1, \n"
              "    \"m\" : {}, \n"
              "    \"v\" : [\n"
              "        1,\n"
              "        [],\n"
              "        \"x\"\n"
              "    ]\n"
              "}");
    EXPECT_EQ(Any(std::vector<int>{1, 2}).ToJSON(true), "[\n    1,\n    2\n]");
    EXPECT_EQ(Any(std::vector<int>()).ToJSON(true), "[]");
    EXPECT_EQ(Any(7).ToJSON(true), "7");
}

TEST(AnEmptyAny, IsNullInJsonAndHasNoText) {
    Any const empty;
    EXPECT_TRUE(empty.Empty());
    EXPECT_TRUE(empty.Type() == typeid(void));
    EXPECT_EQ(empty.ToJSON(), "null");
    EXPECT_EQ(empty.ToStringNoExcept(), "");
    EXPECT_EQ(textOf<std::logic_error>([&] { (void)empty.ToString(); }), "empty any");

    Any const nested = std::vector<Any>{Any(1), Any()};
    EXPECT_EQ(nested.ToJSON(), "[1,null]");
    EXPECT_EQ(textOf<std::logic_error>([&] { (void)nested.ToString(); }), "empty any");
    Any const mapped = AnyMap{{"k", Any()}};
    EXPECT_EQ(mapped.ToJSON(), "{\"k\" : null}");
}

TEST(ABadAnyCast, HasTheTextThatItIsMadeWith) {
    EXPECT_EQ(BadAnyCastException("why").what(), text("why"));
}

TEST(AnAny, IsOnePointerLarge) {
    EXPECT_EQ(sizeof(Any), sizeof(void*));
}

TEST(AnAny, IsCastToExactlyTheTypeThatItHolds) {
    Any any = 5;
    EXPECT_EQ(any_cast<int>(any), 5);
    ref_any_cast<int>(any) = 6;
    EXPECT_EQ(any_cast<int>(static_cast<Any const&>(any)), 6);
    EXPECT_EQ(ref_any_cast<int>(static_cast<Any const&>(any)), 6);
    *any_cast<int>(&any) = 7;
    EXPECT_EQ(*any_cast<int>(static_cast<Any const*>(&any)), 7);

    EXPECT_EQ(any_cast<long>(&any), nullptr);
    EXPECT_EQ(any_cast<unsigned>(&any), nullptr);
    EXPECT_EQ(any_cast<bool>(&any), nullptr);
    EXPECT_EQ(any_cast<int>(static_cast<Any*>(nullptr)), nullptr);
    EXPECT_EQ(any_cast<int>(static_cast<Any const*>(nullptr)), nullptr);
    Any const fraction = 1.5;
    EXPECT_EQ(any_cast<float>(&fraction), nullptr);
    Any const boolean = true;
    EXPECT_EQ(any_cast<int>(&boolean), nullptr);
    Any const empty;
    EXPECT_EQ(any_cast<int>(&empty), nullptr);
}

#if defined(__GLIBCXX__)
TEST(AWrongCast, NamesBothTypes) {
    std::string const target =
        " to target type std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >";
    std::string const start = "cppmicroservices::BadAnyCastException: ";
    std::string const middle = ": Failed to convert from cppmicroservices::Any type ";
    Any number = 1;
    Any const constant = 1;
    Any const empty;
    EXPECT_EQ(textOf<BadAnyCastException>([&] { (void)ref_any_cast<std::string>(number); }),
              start + "ref_any_cast" + middle + "int" + target);
    EXPECT_EQ(textOf<BadAnyCastException>([&] { (void)ref_any_cast<std::string>(constant); }),
              start + "ref_any_cast" + middle + "int" + target);
    EXPECT_EQ(textOf<BadAnyCastException>([&] { (void)any_cast<std::string>(number); }),
              start + "any_cast" + middle + "int" + target);
    EXPECT_EQ(textOf<BadAnyCastException>([&] { (void)any_cast<std::string>(constant); }),
              start + "any_cast" + middle + "int" + target);
    EXPECT_EQ(textOf<BadAnyCastException>([&] { (void)any_cast<std::string>(empty); }),
              start + "any_cast" + middle + "void" + target);
    EXPECT_EQ(textOf<std::bad_cast>([&] { (void)any_cast<long>(Any(AnyMap())); }),
              start + "any_cast" + middle + "cppmicroservices::AnyMap to target type long");
}
#endif

TEST(AWrongCast, HasATextOfItsOwnByDefault) {
    EXPECT_STREQ(BadAnyCastException().what(),
                 "cppmicroservices::BadAnyCastException: failed conversion using cppmicroservices::any_cast");
}

TEST(AnAny, EqualsValuesAndAnysOfItsOwnType) {
    EXPECT_TRUE(Any(1) == Any(1));
    EXPECT_FALSE(Any(1) == Any(2));
    EXPECT_TRUE(Any(1) != Any(2));
    EXPECT_FALSE(Any(1) == Any(1L));
    EXPECT_TRUE(Any(1) == 1);
    EXPECT_TRUE(Any(1) != 2);
    EXPECT_FALSE(Any(1) == 1L);
    EXPECT_TRUE(Any(text("x")) == text("x"));
    EXPECT_FALSE(Any() == Any(1));
    EXPECT_FALSE(Any() == 1);
    std::vector<Any> const list = {Any(1), Any(text("x"))};
    EXPECT_TRUE(Any(list) == Any(list));
    AnyMap const map = {{"k", Any(list)}};
    EXPECT_TRUE(Any(map) == Any(map));
    EXPECT_FALSE(Any(Point{}) == Any(Point{})) << "a type without operator== is never equal";
}

TEST(AnAny, IsCopiedMovedSwappedAndAssigned) {
    Any const original = std::vector<Any>{Any(1)};
    Any copy = original;
    ref_any_cast<std::vector<Any>>(copy).emplace_back(2);
    EXPECT_EQ(original.ToJSON(), "[1]");
    EXPECT_EQ(copy.ToJSON(), "[1,2]");

    Any moved = std::move(copy);
    EXPECT_EQ(moved.ToJSON(), "[1,2]");

    Any other = 3;
    other.Swap(moved);
    EXPECT_EQ(other.ToJSON(), "[1,2]");
    EXPECT_EQ(moved.ToJSON(), "3");

    other = 4.5;
    EXPECT_EQ(other.ToJSON(), "4.5");
    std::string const named = "named";
    other = named;
    EXPECT_EQ(other.ToJSON(), "\"named\"");
    other = original;
    EXPECT_EQ(other.ToJSON(), "[1]");
    other = Any();
    EXPECT_TRUE(other.Empty());
}

TEST(AnAny, SharesASharedPointer) {
    auto const pointer = std::make_shared<int>(5);
    Any const any = pointer;
    EXPECT_EQ(any_cast<std::shared_ptr<int>>(any), pointer);
    EXPECT_EQ(pointer.use_count(), 2);
}

}  // namespace
