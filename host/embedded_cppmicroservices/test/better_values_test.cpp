// Where the embedded framework does better than the installed one: values and manifests.

#include <support/GroupingLocale.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <fstream>
#include <limits>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"

namespace {

using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::textOf;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::any_map;
using cppmicroservices::AnyMap;
using testing::HasSubstr;

AnyMap headersOf(std::string const& members) {
    TemporaryFolder const folder;
    RunningFramework const running;
    auto const location = writeZip(folder.path() / "a.zip", bundle("a", members));
    return running.context().InstallBundles(location).at(0).GetHeaders();
}

TEST(AManifest, KeepsIntegersOfUpTo64Bits) {
    AnyMap const headers = headersOf(R"("values": [2147483648, 4294967295, -2147483649, 9223372036854775807,
        -9223372036854775808, 9223372036854775808, 18446744073709551615], "single": 2147483648)");
    EXPECT_EQ(any_cast<long long>(headers.at("single")), 2147483648LL);
    auto const values = any_cast<std::vector<Any>>(headers.at("values"));
    ASSERT_EQ(values.size(), 7U);
    EXPECT_EQ(any_cast<long long>(values[0]), 2147483648LL);
    EXPECT_EQ(any_cast<long long>(values[1]), 4294967295LL);
    EXPECT_EQ(any_cast<long long>(values[2]), -2147483649LL);
    EXPECT_EQ(any_cast<long long>(values[3]), std::numeric_limits<long long>::max());
    EXPECT_EQ(any_cast<long long>(values[4]), std::numeric_limits<long long>::min());
    EXPECT_EQ(any_cast<unsigned long long>(values[5]), 9223372036854775808ULL);
    EXPECT_EQ(any_cast<unsigned long long>(values[6]), std::numeric_limits<unsigned long long>::max());
}

TEST(AManifest, TooDeepForTheStackIsRefused) {
    std::string const value = std::string(1000000, '[') + std::string(1000000, ']');
    EXPECT_THAT(textOf<std::runtime_error>([&] { headersOf("\"value\": " + value); }),
                HasSubstr("failed: More than 2048 levels of nesting."));
}

TEST(AnEmptyAny, EqualsAnEmptyAnyOnly) {
    EXPECT_TRUE(Any() == Any());
    EXPECT_FALSE(Any() != Any());
    EXPECT_FALSE(Any(1) == Any());
    EXPECT_TRUE(Any(1) != Any());
    AnyMap const left({{"k", Any()}});
    AnyMap const right({{"k", Any()}});
    EXPECT_TRUE(left == right);
}

// The installed one fails to compile inside itself, which cannot be asked for.
static_assert(!std::is_constructible_v<Any, char const (&)[4]>, "a literal is no text");
static_assert(!std::is_assignable_v<Any&, char const (&)[4]>);

TEST(AnAny, HasNoTextInsteadOfAnException) {
    EXPECT_EQ(Any(std::vector<Any>{Any(1), Any()}).ToStringNoExcept(), "");
}

TEST(ACompoundKey, MayCountFromTheEndOfEachListOfLists) {
    AnyMap const map = {{"list", Any(std::vector<Any>{Any(std::vector<Any>{Any(7)})})}};
    EXPECT_EQ(map.AtCompoundKey("list.-1.-1", Any(0)).ToJSON(), "7");
}

TEST(AMovedFromMap, IsValid) {
    for (auto const type :
         {any_map::ORDERED_MAP, any_map::UNORDERED_MAP, any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS}) {
        AnyMap map(type, {{"a", Any(1)}});
        AnyMap const taken = std::move(map);
        EXPECT_EQ(taken.size(), 1U);
        map.clear();  // NOLINT(bugprone-use-after-move): that this is allowed is what is tested
        EXPECT_EQ(map.GetType(), type);
        EXPECT_TRUE(map.find("a") == map.end());
        map["b"] = 2;
        EXPECT_EQ(map.at("b").ToJSON(), "2");
    }
}

TEST(AnIterator, CanBeAssigned) {
    AnyMap map = {{"a", Any(1)}};
    any_map::iterator place = map.begin();
    place = map.end();
    EXPECT_TRUE(place == map.end());
}

TEST(Json, EscapesKeys) {
    std::string const key = "a\"b\\c\n";
    EXPECT_EQ(Any(AnyMap{{key, Any(1)}}).ToJSON(), R"({"a\"b\\c\n" : 1})");
    EXPECT_EQ(Any(std::map<std::string, Any>{{key, Any(1)}}).ToJSON(), R"({"a\"b\\c\n" : 1})");
    EXPECT_EQ(Any(std::map<std::string, int>{{key, 1}}).ToJSON(), R"({"a\"b\\c\n" : 1})");
    EXPECT_EQ(Any(AnyMap{{key, Any(1)}}).ToString(), "{a\"b\\c\n : 1}");
}

TEST(Json, HasNullForWhatIsNoNumber) {
    double const infinity = std::numeric_limits<double>::infinity();
    EXPECT_EQ(Any(infinity).ToJSON(), "null");
    EXPECT_EQ(Any(-infinity).ToJSON(), "null");
    EXPECT_EQ(Any(std::numeric_limits<float>::quiet_NaN()).ToJSON(), "null");
    EXPECT_EQ(Any(std::vector<double>{infinity, 1.5}).ToJSON(), "[null,1.5]");
    EXPECT_EQ(Any(infinity).ToString(), "inf");
}

TEST(Json, KeepsItsIndentBehindControlCharacters) {
    EXPECT_EQ(Any(std::vector<std::string>{"\x01", "b"}).ToJSON(true), "[\n    \"\\u0001\",\n    \"b\"\n]");
}

TEST(Json, IsTheSameInEveryLocale) {
    foundation::test::GroupingLocale const locale;
    EXPECT_EQ(Any(1234567).ToJSON(), "1234567");
    EXPECT_EQ(Any(1.5).ToJSON(), "1.5");
}

}  // namespace
