#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <typeinfo>
#include <vector>

#include <gtest/gtest.h>

#include "BundleFiles.h"

namespace {

using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::text;
using bundle_test::textOf;
using bundle_test::writeZip;
using cppmicroservices::Any;
using cppmicroservices::any_map;
using cppmicroservices::AnyMap;
using cppmicroservices::ref_any_cast;

/// A bundle whose manifest has the member "value".
class Manifest : public testing::Test {
protected:
    /// The headers of a bundle with these members.
    AnyMap headers(std::string const& members) {
        auto const name = "bundle" + std::to_string(++count_);
        auto const location = writeZip(folder_.path() / (name + ".zip"), bundle(name, members));
        return framework_.context().InstallBundles(location).at(0).GetHeaders();
    }
    Any value(std::string const& json) { return headers("\"value\": " + json).at("value"); }
    bool isDropped(std::string const& json) { return headers("\"value\": " + json).count("value") == 0; }

    /// The text with which a whole manifest is refused, behind what every such text starts with.
    std::string refusal(std::string const& json) {
        auto const location = text(folder_.path() / ("refused" + std::to_string(++count_) + ".zip"));
        writeZip(location, {{"name/manifest.json", json}});
        std::string const text =
            textOf<std::runtime_error>([&] { framework_.context().InstallBundles(location); });
        std::string const start = "Failed to install bundle library at " + location +
                                  ": Parsing of manifest.json for bundle name at " + location + " failed: ";
        EXPECT_TRUE(text.starts_with(start)) << text;
        return text.substr(std::min(start.size(), text.size()));
    }

private:
    int count_ = 0;
    TemporaryFolder folder_;
    RunningFramework framework_;
};

TEST_F(Manifest, GivesEachJsonValueATypeOfItsOwn) {
    struct Row {
        char const* says;
        char const* json;
        std::type_info const& type;
        char const* text;
    };
    Row const rows[] = {
        {"a number is an int", "42", typeid(int), "42"},
        {"also a negative one", "-3", typeid(int), "-3"},
        {"also zero", "0", typeid(int), "0"},
        {"also a negative zero", "-0", typeid(int), "0"},
        {"up to the largest int", "2147483647", typeid(int), "2147483647"},
        {"down to the smallest", "-2147483648", typeid(int), "-2147483648"},
        {"an integer beyond 64 bits is a double",
         "123456789012345678901234567890",
         typeid(double),
         "1.23456789012e+29"},
        {"a fraction is a double", "1.5", typeid(double), "1.5"},
        {"also a whole one", "1.0", typeid(double), "1"},
        {"also one with an exponent", "1e3", typeid(double), "1000"},
        {"true", "true", typeid(bool), "true"},
        {"false", "false", typeid(bool), "false"},
        {"a text", "\"x\"", typeid(std::string), "\"x\""},
        {"one leading percent sign is removed", "\"%Probe\"", typeid(std::string), "\"Probe\""},
        {"only one", "\"%%Probe%\"", typeid(std::string), "\"%Probe%\""},
        {"a NUL ends the text", R"("ab\u0000cd")", typeid(std::string), "\"ab\""},
        {"escapes become UTF-8",
         R"("\u00e9\ud83d\ude00")",
         typeid(std::string),
         "\"\xc3\xa9\xf0\x9f\x98\x80\""},
        {"bytes that are no UTF-8 are kept", "\"\xff\"", typeid(std::string), "\"\xff\""},
        {"an array", "[1,\"a\",[true]]", typeid(std::vector<Any>), "[1,\"a\",[true]]"},
        {"an empty array", "[]", typeid(std::vector<Any>), "[]"},
        {"nulls in an array are left out", "[null,1,null]", typeid(std::vector<Any>), "[1]"},
        {"an object", "{\"a\": 1}", typeid(AnyMap), "{\"a\" : 1}"},
        {"an empty object", "{}", typeid(AnyMap), "{}"},
        {"nulls in an object are left out", "{\"a\": null}", typeid(AnyMap), "{}"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Any const held = value(row.json);
        EXPECT_TRUE(held.Type() == row.type) << held.Type().name();
        EXPECT_EQ(held.ToJSON(), row.text);
    }
    EXPECT_TRUE(isDropped("null"));
}

TEST_F(Manifest, HasKeysWithoutCaseOnEveryLevel) {
    AnyMap const headers = this->headers(R"("QZ": {"Features": []})");
    EXPECT_EQ(headers.GetType(), any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    auto const found = headers.find("qz");
    ASSERT_TRUE(found != headers.end());
    EXPECT_EQ(found->first, "QZ");
    auto const& inner = ref_any_cast<AnyMap>(found->second);
    EXPECT_EQ(inner.GetType(), any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    EXPECT_EQ(inner.count("fEATURES"), 1U);
}

TEST_F(Manifest, KeepsTheFirstOfEqualKeys) {
    EXPECT_EQ(headers(R"("a": 1, "a": 2)").at("a").ToJSON(), "1");
    EXPECT_EQ(headers(R"("a": 1, "A": 2)").at("A").ToJSON(), "1");
    EXPECT_EQ(value(R"({"k": 1, "K": 2})").ToJSON(), R"({"k" : 1})");
}

TEST_F(Manifest, MayBeDeep) {
    std::string const deep = std::string(2000, '[') + std::string(2000, ']');
    EXPECT_EQ(value(deep).ToJSON(), deep);
}

TEST_F(Manifest, IsRefusedWithTheReadersReason) {
    struct Row {
        char const* says;
        std::string json;
        char const* reason;
    };
    Row const rows[] = {
        {"nothing", "", "The document is empty."},
        {"only blanks", " \n", "The document is empty."},
        {"two values", "{} {}", "The document root must not be followed by other values."},
        {"a wrong word", "{\"a\": nul}", "Invalid value."},
        {"no value at all", "x", "Invalid value."},
        {"a comment", "/* */ {}", "Invalid value."},
        {"a byte order mark", "\xef\xbb\xbf{}", "Invalid value."},
        {"NaN", "{\"a\": NaN}", "Invalid value."},
        {"a comma too many in an array", "{\"a\": [1,]}", "Invalid value."},
        {"a comma too many in an object", "{\"a\": 1,}", "Missing a name for object member."},
        {"a name without quotes", "{a: 1}", "Missing a name for object member."},
        {"no colon", "{\"a\" 1}", "Missing a colon after a name of object member."},
        {"no comma in an object", "{\"a\": 1 \"b\": 2}", "Missing a comma or '}' after an object member."},
        {"no comma in an array", "{\"a\": [1 2]}", "Missing a comma or ']' after an array element."},
        {"a wrong digit", R"({"a": "\u00g0"})", "Incorrect hex digit after \\u escape in string."},
        {"half a surrogate pair", R"({"a": "\ud800x"})", "The surrogate pair in string is invalid."},
        {"an unknown escape", R"({"a": "\x"})", "Invalid escape character in string."},
        {"an open text", "{\"a\": \"b", "Missing a closing quotation mark in string."},
        {"a bare control character", "{\"a\": \"\x01\"}", "Invalid encoding in string."},
        {"too large a number", "{\"a\": 1e999}", "Number too big to be stored in double."},
        {"no digits after the point", "{\"a\": 1.}", "Miss fraction part in number."},
        {"no digits in the exponent", "{\"a\": 1e}", "Miss exponent in number."},
        {"an array", "[]", "The Json root element must be an object."},
        {"a number", "1", "The Json root element must be an object."},
        {"null", "null", "The Json root element must be an object."},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(refusal(row.json), row.reason);
    }
}

}  // namespace
