#include <cppmicroservices/AnyMap.h>

#include <map>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

#include "BundleFiles.h"

namespace {

using bundle_test::textOf;
using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::any_map;
using cppmicroservices::AnyMap;

any_map::map_type const allTypes[] = {
    any_map::ORDERED_MAP, any_map::UNORDERED_MAP, any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS};

TEST(AnAnyMap, IgnoresTheCaseOfItsKeysUnlessToldOtherwise) {
    AnyMap map = {{"Key", Any(1)}};
    EXPECT_EQ(map.GetType(), any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(map.at("kEY").ToJSON(), "1");
    EXPECT_EQ(map.count("KEY"), 1U);
    map["KEY"] = 9;
    EXPECT_EQ(map.size(), 1U);
    EXPECT_EQ(map.begin()->first, "Key") << "the first spelling stays";
    EXPECT_EQ(map.at("key").ToJSON(), "9");

    for (auto const type : {any_map::ORDERED_MAP, any_map::UNORDERED_MAP}) {
        AnyMap const exact(type, {{"Key", Any(1)}, {"key", Any(2)}});
        EXPECT_EQ(exact.GetType(), type);
        EXPECT_EQ(exact.size(), 2U);
        EXPECT_TRUE(exact.find("KEY") == exact.end());
    }
}

TEST(AnAnyMap, HasNoOtherType) {
    EXPECT_EQ(textOf<std::logic_error>([] { AnyMap(static_cast<any_map::map_type>(7)); }),
              "invalid map type");
}

TEST(AnAnyMap, FindsInsertsAndErasesInEachOfItsTypes) {
    for (auto const type : allTypes) {
        SCOPED_TRACE(type);
        AnyMap map(type);
        EXPECT_TRUE(map.empty());
        EXPECT_TRUE(map.begin() == map.end());

        auto const [place, inserted] = map.insert({"a", Any(1)});
        EXPECT_TRUE(inserted);
        EXPECT_EQ(place->first, "a");
        EXPECT_FALSE(map.insert({"a", Any(2)}).second) << "an entry that is there stays";
        EXPECT_TRUE(map.emplace("b", Any(3)).second);
        EXPECT_FALSE(map.emplace("b", Any(4)).second);
        EXPECT_EQ(map.at("a").ToJSON(), "1");
        EXPECT_EQ(map.at("b").ToJSON(), "3");

        EXPECT_TRUE(map["c"].Empty()) << "[] inserts an empty value";
        EXPECT_EQ(map.size(), 3U);
        map.at("c") = 5;

        AnyMap const& constant = map;
        EXPECT_EQ(constant.find("c")->second.ToJSON(), "5");
        EXPECT_TRUE(constant.find("missing") == constant.end());
        EXPECT_TRUE(map.find("missing") == map.end()) << "also for a map that can be changed";
        EXPECT_EQ(map.size(), 3U) << "finding inserts nothing";
        EXPECT_EQ(map.count("missing"), 0U);

        EXPECT_EQ(map.erase("c"), 1U);
        EXPECT_EQ(map.erase("c"), 0U);
        map.clear();
        EXPECT_EQ(map.size(), 0U);
    }
}

#if defined(__GLIBCXX__)
TEST(AnAnyMap, SaysWhichMapAKeyIsMissingIn) {
    EXPECT_EQ(textOf<std::out_of_range>([] { AnyMap(any_map::ORDERED_MAP).at("x"); }), "map::at");
    EXPECT_EQ(textOf<std::out_of_range>([] { AnyMap(any_map::UNORDERED_MAP).at("x"); }), "unordered_map::at");
    EXPECT_EQ(textOf<std::out_of_range>([] { AnyMap().at("x"); }), "unordered_map::at");
    AnyMap const constant(any_map::ORDERED_MAP);
    EXPECT_EQ(textOf<std::out_of_range>([&] { (void)constant.at("x"); }), "map::at");
}
#endif

TEST(AnOrderedAnyMap, IsWalkedInTheOrderOfTheBytesOfItsKeys) {
    AnyMap map(any_map::ORDERED_MAP, {{"b", Any(1)}, {"a", Any(2)}, {"B", Any(3)}});
    std::string keys;
    for (auto const& [key, value] : map) {
        keys += key;
    }
    EXPECT_EQ(keys, "Bab");
    for (auto& entry : map) {
        entry.second = 0;
    }
    EXPECT_EQ(Any(map).ToJSON(), R"({"B" : 0, "a" : 0, "b" : 0})");
}

TEST(AnAnyMap, IsWalkedWhollyInEachOfItsTypes) {
    for (auto const type : allTypes) {
        SCOPED_TRACE(type);
        AnyMap const map(type, {{"a", Any(1)}, {"b", Any(2)}, {"c", Any(3)}});
        int sum = 0;
        for (auto place = map.cbegin(); place != map.cend(); place++) {
            sum += any_cast<int>(place->second);
        }
        EXPECT_EQ(sum, 6);
    }
}

TEST(AnAnyMap, IsMadeFromEachStandardMap) {
    std::map<std::string, Any> const ordered = {{"k", Any(1)}};
    std::unordered_map<std::string, Any> const unordered = {{"k", Any(2)}};
    any_map::unordered_any_cimap const caseless = {{"K", Any(3)}};
    EXPECT_EQ(AnyMap(ordered).GetType(), any_map::ORDERED_MAP);
    EXPECT_EQ(AnyMap(ordered).at("k").ToJSON(), "1");
    EXPECT_EQ(AnyMap(unordered).GetType(), any_map::UNORDERED_MAP);
    EXPECT_EQ(AnyMap(unordered).at("k").ToJSON(), "2");
    EXPECT_EQ(AnyMap(caseless).GetType(), any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(AnyMap(caseless).at("k").ToJSON(), "3");
}

TEST(AnAnyMap, IsEqualOnlyToOneOfTheSameType) {
    for (auto const type : allTypes) {
        AnyMap const map(type, {{"a", Any(1)}});
        AnyMap copy(type);
        copy = map;
        EXPECT_EQ(copy.GetType(), type);
        EXPECT_TRUE(copy == map);
        EXPECT_FALSE(map == AnyMap(type, {{"a", Any(2)}}));
        EXPECT_TRUE(map != AnyMap(type));
        for (auto const other : allTypes) {
            EXPECT_EQ(map == AnyMap(other, {{"a", Any(1)}}), type == other);
        }
    }
}

TEST(AnIteratorWithoutAMap, IsGoodForNothingButComparing) {
    any_map::const_iterator constant;
    EXPECT_TRUE(constant == any_map::const_iterator());
    EXPECT_EQ(textOf<std::logic_error>([&] { (void)*constant; }), "cannot dereference an invalid iterator");
    EXPECT_EQ(textOf<std::logic_error>([&] { ++constant; }), "cannot increment an invalid iterator");
    any_map::iterator changing;
    EXPECT_TRUE(changing == any_map::iterator());
    EXPECT_EQ(textOf<std::logic_error>([&] { (void)*changing; }), "cannot dereference an invalid iterator");
    EXPECT_EQ(textOf<std::logic_error>([&] { ++changing; }), "cannot increment an invalid iterator");
}

TEST(AConstIterator, IsMadeFromAnIteratorAndAssigned) {
    for (auto const type : allTypes) {
        AnyMap map(type, {{"a", Any(1)}});
        any_map::const_iterator place = map.begin();
        EXPECT_EQ(place->first, "a");
        place = map.end();
        EXPECT_TRUE(place == map.find("missing"));
    }
}

AnyMap nested() {
    AnyMap const inner = {{"name", Any(std::string("deep"))}};
    return {{"one", Any(1)},
            {"map", Any(inner)},
            {"list", Any(std::vector<Any>{Any(std::string("first")), Any(inner)})},
            {"standard", Any(std::map<std::string, Any>{{"k", Any(1)}})},
            {"dotted.key", Any(2)}};
}

TEST(ACompoundKey, LeadsThroughMapsAndLists) {
    AnyMap const map = nested();
    EXPECT_EQ(map.AtCompoundKey("one").ToJSON(), "1");
    EXPECT_EQ(map.AtCompoundKey("map.name").ToJSON(), "\"deep\"");
    EXPECT_EQ(map.AtCompoundKey("list.0").ToJSON(), "\"first\"");
    EXPECT_EQ(map.AtCompoundKey("list.1.name").ToJSON(), "\"deep\"");
    EXPECT_EQ(map.AtCompoundKey("list.-1.name").ToJSON(), "\"deep\"")
        << "a negative index counts from the end";
    EXPECT_EQ(map.AtCompoundKey("list.1e.name").ToJSON(), "\"deep\"")
        << "what follows the digits does not count";
    EXPECT_EQ(map.AtCompoundKey("map.name", Any(0)).ToJSON(), "\"deep\"");
}

TEST(ACompoundKey, ThatLeadsNowhereThrowsOrGivesTheDefault) {
    AnyMap const map = nested();
    for (char const* const key : {"two", "map.other", "list.2", "list.-3", "dotted.key"}) {
        SCOPED_TRACE(key);
        EXPECT_THROW((void)map.AtCompoundKey(key), std::out_of_range);
        EXPECT_EQ(map.AtCompoundKey(key, Any(7)).ToJSON(), "7");
    }
    for (char const* const key : {"list.x", "list.", "one.two", "standard.k"}) {
        SCOPED_TRACE(key);
        EXPECT_THROW((void)map.AtCompoundKey(key), std::invalid_argument);
        EXPECT_EQ(map.AtCompoundKey(key, Any(7)).ToJSON(), "7");
    }
    EXPECT_EQ(textOf<std::invalid_argument>([&] { (void)map.AtCompoundKey("one.two"); }),
              "Unsupported Any type at 'one' for dotted get");
#if defined(__GLIBCXX__)
    EXPECT_EQ(textOf<std::invalid_argument>([&] { (void)map.AtCompoundKey("list.x"); }), "stoi");
    EXPECT_EQ(textOf<std::out_of_range>([&] { (void)map.AtCompoundKey("map.other"); }), "unordered_map::at");
    EXPECT_EQ(textOf<std::out_of_range>([&] { (void)map.AtCompoundKey("list.2"); }),
              "vector::_M_range_check: __n (which is 2) >= this->size() (which is 2)");
#endif
}

}  // namespace
