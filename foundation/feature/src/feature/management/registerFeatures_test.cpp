#include <foundation/feature/management.hpp>

#include <foundation/json/Value.hpp>
#include <foundation/log/diagnostic_logger.hpp>

#include <LogCapture.hpp>

#include "RegistryTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

namespace foundation::feature::management::test {
namespace {

using foundation::log::setChannelMask;
using foundation::test::LogCapture;
using json::Value;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

using Object = std::map<std::string, Value>;
using Array = std::vector<Value>;

/// A descriptor that registers Alpha, with these keys added or replaced.
Object descriptor(Object const& keys = {}) {
    Object object = {{"name", "Alpha"}, {"FCtrlState", "Beta"}, {"defaultValue", 1}};
    for (auto const& [key, value] : keys)
        object[key] = value;
    return object;
}

/// The same without one of its keys.
Object without(std::string const& key, Object object = descriptor()) {
    object.erase(key);
    return object;
}

void registerList(Array const& features) {
    registerFeatures(features, fl::filesystem::path(u"list.json"), "component", "m1", "client");
}

void registerOne(Object const& object) {
    registerList({Value(object)});
}

struct ValueRow {
    char const* says;
    Value value;
    std::string kind;
};

/// The kinds of value that are neither a text nor a number.
std::vector<ValueRow> otherKinds() {
    return {
        {"undefined", Value(), "undefined"},
        {"null", Value(json::Null()), "null"},
        {"an array", Value(Array{Value("Alpha")}), "array"},
        {"an empty array", Value(Array{}), "array"},
        {"an object", Value(Object{{"name", "Alpha"}}), "object"},
    };
}

std::vector<ValueRow> everyKindButObject() {
    return {
        {"undefined", Value(), "undefined"},
        {"null", Value(json::Null()), "null"},
        {"true", Value(true), "bool"},
        {"a float", Value(1.5F), "float"},
        {"a double", Value(1.5), "double"},
        {"a signed number", Value(std::int64_t{7}), "int64"},
        {"an unsigned number", Value(std::uint64_t{7}), "uint64"},
        {"a text", Value("Alpha"), "string"},
        {"an array", Value(Array{}), "array"},
    };
}

TEST(ADescriptorList, ThatIsEmptyRegistersNothing) {
    EXPECT_NO_THROW(registerList({}));
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

TEST(ADescriptor, GivesEveryArgumentOfARegistration) {
    setChannelMask(registrationChannel, parameters);
    LogCapture const capture;
    registerFeatures({Value(Object{{"name", "Alpha"},
                                   {"FCtrlState", "Preview"},
                                   {"type", "perPROCESS"},
                                   {"defaultValue", -3},
                                   {"file", "own.json"},
                                   {"line", 42}})},
                     fl::filesystem::path(u"list.json"),
                     "the component",
                     "the module",
                     "the client");
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("2:  featureName=Alpha defaultValue=-3 scope=Scope::PROCESS wip=Preview "
                            "clientdir=the client filename=own.json line=42 componentName=the component "
                            "moduleName=the module"));
}

TEST(ADescriptor, GetsDefaultsForWhatItLacks) {
    setChannelMask(registrationChannel, parameters);
    LogCapture const capture;
    registerFeatures({Value(descriptor())}, fl::filesystem::path(u"dir/list.json"), {}, {}, {});
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("2:  featureName=Alpha defaultValue=1 scope=Scope::ZOR wip=Beta clientdir= "
                            "filename=dir/list.json line=-1 componentName= moduleName="));
    auto const feature = getFeature("Alpha");
    ASSERT_NE(feature, nullptr);
    EXPECT_EQ(feature->getScope(), Scope::ZOR);
    EXPECT_EQ(feature->getFilename(), "dir/list.json");
    EXPECT_EQ(feature->getLine(), -1);
    EXPECT_EQ(feature->getComponent(), "");
    EXPECT_EQ(feature->getModule(), "");
    EXPECT_EQ(feature->getClientDir(), "");
}

TEST(TheProvenanceOfAList, IsThatOfEachFeature) {
    struct Row {
        char const* says;
        std::optional<std::string> component;
        std::optional<std::string> module;
        std::optional<std::string> clientdir;
    };
    Row const rows[] = {
        {"the component alone", "c", {}, {}},
        {"the module alone", {}, "m", {}},
        {"the client directory alone", {}, {}, "d"},
        {"all three, with characters of any kind", "c\xC3\xA9", "m n", "d\\e/f"},
        {"all three empty", "", "", ""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        std::string const one = row.says + std::string(": one");
        std::string const other = row.says + std::string(": other");
        registerFeatures(
            {Value(descriptor({{"name", one}})), Value(descriptor({{"name", other}, {"type", "PROCESS"}}))},
            fl::filesystem::path(u"list.json"),
            row.component,
            row.module,
            row.clientdir);
        for (std::string const& name : {one, other}) {
            auto const feature = getFeature(name);
            ASSERT_NE(feature, nullptr);
            EXPECT_EQ(feature->getComponent(), row.component.value_or(""));
            EXPECT_EQ(feature->getModule(), row.module.value_or(""));
            EXPECT_EQ(feature->getClientDir(), row.clientdir.value_or(""));
        }
    }
}

TEST(TheFileOfAList, IsConvertedToUtf8) {
    registerFeatures({Value(descriptor({{"name", "one"}})),
                      Value(descriptor({{"name", "other"}, {"file", ""}})),
                      Value(descriptor({{"name", "third"}}))},
                     fl::filesystem::path(u"d\u00E9j\u00E0 vu/\U0001F600.json"),
                     {},
                     {},
                     {});
    EXPECT_EQ(getFeature("one")->getFilename(), "d\xC3\xA9j\xC3\xA0 vu/\xF0\x9F\x98\x80.json");
    EXPECT_EQ(getFeature("other")->getFilename(), "") << "an empty file of its own is its own";
    EXPECT_EQ(getFeature("third")->getFilename(), "d\xC3\xA9j\xC3\xA0 vu/\xF0\x9F\x98\x80.json");
}

TEST(TheFileOfAList, MayBeEmpty) {
    registerFeatures({Value(descriptor())}, fl::filesystem::path(), {}, {}, {});
    EXPECT_EQ(getFeature("Alpha")->getFilename(), "");
}

TEST(TheFileOfAList, MustBeWellFormedBeforeAnythingIsRegistered) {
    std::u16string const lone(1, static_cast<char16_t>(0xD800));
    textThrown<std::range_error>([&] {
        registerFeatures({Value(descriptor({{"file", "own.json"}}))}, fl::filesystem::path(lone), {}, {}, {});
    });
    EXPECT_TRUE(isUnknown("Alpha"));
}

TEST(ADescriptor, MustBeAnObject) {
    for (ValueRow const& row : everyKindButObject()) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(textThrown<std::runtime_error>([&] { registerList({row.value}); }),
                  "invalid conversion: " + row.kind + " to object");
    }
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

TEST(ADescriptor, MayHoldOtherKeys) {
    registerOne(descriptor({{"Name", 1},
                            {"NAME", Value()},
                            {"default", Array{}},
                            {"description", "text"},
                            {"DefaultValue", 7},
                            {"Type", "perNOBODY"},
                            {"Line", Object{}},
                            {"File", "F"},
                            {"", Value(json::Null())}}));
    auto const feature = getFeature("Alpha");
    ASSERT_NE(feature, nullptr);
    EXPECT_EQ(feature->getDefaultValue(), 1);
    EXPECT_EQ(feature->getScope(), Scope::ZOR);
    EXPECT_EQ(feature->getFilename(), "list.json");
    EXPECT_EQ(feature->getLine(), -1);
}

TEST(ADescriptor, MustHaveItsRequiredKeys) {
    struct Row {
        char const* says;
        Object object;
        char const* text;
    };
    Row const rows[] = {
        {"no name", without("name"), "property not specified: \"name\""},
        {"a name by another key",
         without("name", descriptor({{"Name", "Alpha"}})),
         "property not specified: \"name\""},
        {"no state: the second key is the one reported",
         without("FCtrlState"),
         "property not specified: \"FctrlState\""},
        {"a state by a third spelling",
         without("FCtrlState", descriptor({{"fctrlState", "Beta"}})),
         "property not specified: \"FctrlState\""},
        {"no default value", without("defaultValue"), "property not specified: \"defaultValue\""},
        {"nothing at all", Object{}, "property not specified: \"name\""},
        {"neither name nor default value", {{"FCtrlState", "Beta"}}, "property not specified: \"name\""},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(textThrown<std::out_of_range>([&] { registerOne(row.object); }), row.text);
    }
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

TEST(AScope, IsReadFromSixTexts) {
    struct Row {
        char const* text;
        Scope scope;
    };
    Row const rows[] = {
        {"perZOR", Scope::ZOR},
        {"ZOR", Scope::ZOR},
        {"foundation::feature::Scope::ZOR", Scope::ZOR},
        {"perPROCESS", Scope::PROCESS},
        {"PROCESS", Scope::PROCESS},
        {"foundation::feature::Scope::PROCESS", Scope::PROCESS},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.text);
        registerOne(descriptor({{"name", row.text}, {"type", row.text}}));
        ASSERT_NE(getFeature(row.text), nullptr);
        EXPECT_EQ(getFeature(row.text)->getScope(), row.scope);
    }
}

TEST(AScope, IsReadFromNoOtherText) {
    struct Row {
        char const* says;
        Value type;
        std::string text;
    };
    Row const rows[] = {
        {"lower case", "perzor", "perzor"},
        {"lower case", "process", "process"},
        {"lower case", "foundation::feature::scope::process", "foundation::feature::scope::process"},
        {"half qualified", "Scope::ZOR", "Scope::ZOR"},
        {"half qualified", "feature::Scope::PROCESS", "feature::Scope::PROCESS"},
        {"empty", "", ""},
        {"a blank in front", " perZOR", " perZOR"},
        {"a blank behind", "perZOR ", "perZOR "},
        {"a quote", "per\"ZOR", "per\"ZOR"},
        {"the number of a scope", 1, "1"},
        {"true", true, "1"},
        {"false", false, "0"},
        {"a fraction", 0.5, "0.500000"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(textThrown<std::logic_error>([&] {
                      registerOne(descriptor({{"type", row.type}}));
                  }),
                  "illegal value of fctrl type: \"" + row.text +
                      "\".  Legal values: \"perZOR\", \"perPROCESS\"");
    }
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

TEST(TheStateOfADescriptor, HasTwoKeys) {
    struct Row {
        char const* says;
        Object states;
        char const* state;
    };
    Row const rows[] = {
        {"the first alone", {{"FCtrlState", "Beta"}}, "Beta"},
        {"the second alone", {{"FctrlState", "Preview"}}, "Preview"},
        {"both: the first wins", {{"FCtrlState", "Beta"}, {"FctrlState", "Preview"}}, "Beta"},
        {"both: the first wins, whatever the second",
         {{"FCtrlState", "Beta"}, {"FctrlState", Array{}}},
         "Beta"},
        {"the first is null", {{"FCtrlState", json::Null()}, {"FctrlState", "Preview"}}, "Preview"},
        {"the first is undefined", {{"FCtrlState", Value()}, {"FctrlState", "Preview"}}, "Preview"},
        {"the first is an array", {{"FCtrlState", Array{"Beta"}}, {"FctrlState", "Preview"}}, "Preview"},
        {"the first is an object", {{"FCtrlState", Object{}}, {"FctrlState", "Preview"}}, "Preview"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Object object = without("FCtrlState", descriptor({{"name", row.says}}));
        object.insert(row.states.begin(), row.states.end());
        registerOne(object);
        ASSERT_NE(getFeature(row.says), nullptr);
        EXPECT_EQ(getFeature(row.says)->getFCtrlState(), row.state);
    }
}

TEST(TheStateOfADescriptor, IsRefusedForItsSecondKey) {
    std::string const missing = "property not specified: \"FctrlState\"";
    std::string const front = "property value unsupported: \"FctrlState\"\ninvalid conversion: ";
    Object const stateless = without("FCtrlState");
    auto const with = [&](Object const& states) {
        Object object = stateless;
        object.insert(states.begin(), states.end());
        return object;
    };
    EXPECT_EQ(textThrown<std::out_of_range>([&] {
                  registerOne(with({{"FCtrlState", json::Null()}}));
              }),
              missing);
    EXPECT_EQ(textThrown<std::out_of_range>([&] { registerOne(with({{"FCtrlState", Array{}}})); }), missing);
    EXPECT_EQ(textThrown<std::runtime_error>([&] {
                  registerOne(with({{"FctrlState", json::Null()}}));
              }),
              front + "null to string");
    EXPECT_EQ(textThrown<std::runtime_error>([&] {
                  registerOne(with({{"FCtrlState", json::Null()}, {"FctrlState", Object{}}}));
              }),
              front + "object to string");
}

TEST(TheStateOfADescriptor, ThatIsTextIsTakenFromTheFirstKeyEvenIfItIsNoState) {
    std::string const message =
        R"(fctrl: Alpha: feature control state must be one of: "Off", "On", "Beta", "Preview", "DebugOrTest")";
    for (Value const& state : {Value("off"), Value(""), Value(true), Value(1)}) {
        EXPECT_EQ(textThrown<std::invalid_argument>([&] {
                      registerOne(descriptor({{"FCtrlState", state}, {"FctrlState", "Beta"}}));
                  }),
                  message);
    }
    EXPECT_TRUE(isUnknown("Alpha"));
}

/// As the C library writes it in the C locale.
std::string fixedText(double number) {
    std::string text(400, '\0');
    text.resize(static_cast<std::size_t>(std::snprintf(text.data(), text.size(), "%f", number)));
    return text;
}

struct TextRow {
    char const* says;
    Value value;
    std::string text;
};

std::vector<TextRow> texts() {
    return {
        {"a text is itself", "some text", "some text"},
        {"an empty text", "", ""},
        {"a text with a NUL", Value(std::string("a\0b", 3)), std::string("a\0b", 3)},
        {"true is a digit", true, "1"},
        {"false is a digit", false, "0"},
        {"a signed number", 7, "7"},
        {"a negative number", -7, "-7"},
        {"the smallest signed number", std::numeric_limits<std::int64_t>::min(), "-9223372036854775808"},
        {"the largest signed number", std::numeric_limits<std::int64_t>::max(), "9223372036854775807"},
        {"the largest unsigned number", std::numeric_limits<std::uint64_t>::max(), "18446744073709551615"},
        {"a number of seven digits", std::uint64_t{1234567}, "1234567"},
        {"a double has six decimals", 1.5, "1.500000"},
        {"a whole double too", 7.0, "7.000000"},
        {"zero", 0.0, "0.000000"},
        {"minus zero", -0.0, "-0.000000"},
        {"a negative double", -1234567.25, "-1234567.250000"},
        {"the seventh decimal rounds", 0.0000007, "0.000001"},
        {"a large double is written out", 1e22, "10000000000000000000000.000000"},
        {"a float is widened", 1.5F, "1.500000"},
        {"a float that is no tenth", 0.1F, "0.100000"},
        {"a float shows its own digits", 16777217.0F, "16777216.000000"},
        {"a large float", 1e10F, "10000000000.000000"},
        {"infinity", std::numeric_limits<double>::infinity(), "inf"},
        {"minus infinity", -std::numeric_limits<double>::infinity(), "-inf"},
        {"infinity as a float", std::numeric_limits<float>::infinity(), "inf"},
        {"not a number", std::numeric_limits<double>::quiet_NaN(), "nan"},
    };
}

TEST(AText, IsReadFromEveryKindOfTextAndNumber) {
    int number = 0;
    for (TextRow const& row : texts()) {
        SCOPED_TRACE(row.says);
        std::string const name = "feature" + std::to_string(number++);
        registerOne(descriptor({{"name", name}, {"file", row.value}}));
        EXPECT_EQ(getFeature(name)->getFilename(), row.text);
    }
}

TEST(AText, HasAsManyDigitsAsANumberNeeds) {
    double const numbers[] = {1e300,
                              -1e300,
                              std::numeric_limits<double>::max(),
                              std::numeric_limits<double>::lowest(),
                              std::numeric_limits<double>::min(),
                              std::numeric_limits<double>::denorm_min(),
                              static_cast<double>(std::numeric_limits<float>::max()),
                              9223372036854775808.0,
                              1.0 / 3,
                              2.5e-7,
                              0.0000005,
                              1.0000005};
    int number = 0;
    for (double const value : numbers) {
        SCOPED_TRACE(value);
        std::string const name = "feature" + std::to_string(number++);
        registerOne(descriptor({{"name", name}, {"file", value}}));
        EXPECT_EQ(getFeature(name)->getFilename(), fixedText(value));
    }
    registerOne(descriptor({{"file", std::numeric_limits<float>::max()}}));
    EXPECT_EQ(getFeature("Alpha")->getFilename(), "340282346638528859811704183484516925440.000000");
}

TEST(AText, IsReadForTheNameAsForTheFile) {
    registerList({Value(descriptor({{"name", 7}})),
                  Value(descriptor({{"name", 7.0}})),
                  Value(descriptor({{"name", true}})),
                  Value(descriptor({{"name", false}})),
                  Value(descriptor({{"name", 1.5F}})),
                  Value(descriptor({{"name", -1}})),
                  Value(descriptor({{"name", std::uint64_t{18446744073709551615U}}}))});
    EXPECT_THAT(allNames(),
                UnorderedElementsAre("7", "7.000000", "1", "0", "1.500000", "-1", "18446744073709551615"));
}

TEST(AText, HasADotWhateverTheLocale) {
    GroupingLocale const locale;
    // Not every machine has one of these; then the global C++ locale alone has a comma.
    for (char const* const name :
         {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "nl_NL.UTF-8", "German_Germany"}) {
        if (std::setlocale(LC_ALL, name) != nullptr) break;
    }
    registerList({Value(descriptor({{"name", 1234567.25}, {"defaultValue", "12.9"}, {"line", "1.234"}})),
                  Value(descriptor({{"name", 1.5F}, {"defaultValue", 1234567.9}, {"line", 1234567}})),
                  Value(descriptor({{"name", std::int64_t{1234567}}}))});
    std::setlocale(LC_ALL, "C");
    EXPECT_THAT(allNames(), UnorderedElementsAre("1234567.250000", "1.500000", "1234567"));
    EXPECT_EQ(getFeature("1234567.250000")->getDefaultValue(), 12);
    EXPECT_EQ(getFeature("1234567.250000")->getLine(), 1);
    EXPECT_EQ(getFeature("1.500000")->getDefaultValue(), 1234567);
}

TEST(AText, IsReadFromNothingElse) {
    for (char const* const key : {"name", "type", "file"}) {
        for (ValueRow const& row : otherKinds()) {
            SCOPED_TRACE(key + std::string(": ") + row.says);
            EXPECT_EQ(textThrown<std::runtime_error>([&] {
                          registerOne(descriptor({{key, row.value}}));
                      }),
                      "property value unsupported: \"" + std::string(key) +
                          "\"\ninvalid conversion: " + row.kind + " to string");
        }
    }
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

struct NumberRow {
    char const* says;
    Value value;
    int number;
};

std::vector<NumberRow> numbers() {
    constexpr int largest = std::numeric_limits<int>::max();
    constexpr int smallest = std::numeric_limits<int>::min();
    constexpr double infinity = std::numeric_limits<double>::infinity();
    return {
        {"true", true, 1},
        {"false", false, 0},
        {"a signed number", -5, -5},
        {"an unsigned number", 5U, 5},
        {"the largest int", largest, largest},
        {"the smallest int", smallest, smallest},
        {"2^31 keeps its low 32 bits", std::int64_t{2147483648}, smallest},
        {"2^32 keeps its low 32 bits", std::int64_t{4294967296}, 0},
        {"2^32 + 7 keeps its low 32 bits", std::int64_t{4294967303}, 7},
        {"-2^31 - 1 keeps its low 32 bits", std::int64_t{-2147483649}, largest},
        {"the smallest signed number", std::numeric_limits<std::int64_t>::min(), 0},
        {"the largest signed number", std::numeric_limits<std::int64_t>::max(), -1},
        {"the largest unsigned number", std::numeric_limits<std::uint64_t>::max(), -1},
        {"2^63 unsigned", std::uint64_t{9223372036854775808U}, 0},
        {"a double is truncated", 2.9, 2},
        {"toward zero", -2.9, -2},
        {"to nothing", -0.9, 0},
        {"minus zero", -0.0, 0},
        {"a double above int keeps its low 32 bits", 4294967303.5, 7},
        {"a double just above int", 2147483648.0, smallest},
        {"a double below int", -2147483649.0, largest},
        {"-2^63, the smallest that fits 64 bits", -9223372036854775808.0, 0},
        {"the largest double below 2^63", 9223372036854774784.0, -1024},
        {"2^63 as a double is out of range", 9223372036854775808.0, 0},
        {"2^64 as a double", 18446744073709551616.0, 0},
        {"a large double", 1e300, 0},
        {"a large negative double", -1e300, 0},
        {"infinity", infinity, 0},
        {"minus infinity", -infinity, 0},
        {"not a number", std::numeric_limits<double>::quiet_NaN(), 0},
        {"a tiny double", std::numeric_limits<double>::denorm_min(), 0},
        {"a float is truncated", 2.9F, 2},
        {"a negative float toward zero", -2.9F, -2},
        {"a float above int keeps its low 32 bits", 4294968320.0F, 1024},
        {"a float just above int", 2147483648.0F, smallest},
        {"2^63 as a float is out of range", 9223372036854775808.0F, 0},
        {"a large float", 1e38F, 0},
        {"infinity as a float", std::numeric_limits<float>::infinity(), 0},
        {"not a number as a float", std::numeric_limits<float>::quiet_NaN(), 0},
        {"a text of digits", "12", 12},
        {"a text that begins with digits", "12abc", 12},
        {"a text that begins with a fraction", "12.9", 12},
        {"an exponent is not read", "1e3", 1},
        {"hexadecimal is not read", "0x10", 0},
        {"nor is octal", "010", 10},
        {"a sign", "-12", -12},
        {"a plus sign", "+12", 12},
        {"white space in front", "\t\n\v\f\r -12", -12},
        {"white space behind", "12 ", 12},
        {"a no-break space in front",
         "\xC2\xA0"
         "12",
         0},
        {"no digits", "abc", 0},
        {"nothing", "", 0},
        {"blanks only", "   ", 0},
        {"a sign only", "-", 0},
        {"two signs", "--5", 0},
        {"a sign apart from its digits", "- 5", 0},
        {"a NUL ends the number",
         Value(std::string("1\0"
                           "2",
                           3)),
         1},
        {"a NUL in front leaves none",
         Value(std::string("\0"
                           "12",
                           3)),
         0},
        {"the largest int as a text", "2147483647", largest},
        {"the smallest int as a text", "-2147483648", smallest},
        {"a text above the largest int", "2147483648", largest},
        {"a text below the smallest int", "-2147483649", smallest},
        {"a text above 64 bits", "99999999999999999999999x", largest},
        {"a text below 64 bits", "  -99999999999999999999999", smallest},
        {"many leading zeros", "00000000000000000000000000000012", 12},
    };
}

TEST(ANumber, IsReadFromEveryKindOfTextAndNumber) {
    int count = 0;
    for (NumberRow const& row : numbers()) {
        SCOPED_TRACE(row.says);
        std::string const name = "feature" + std::to_string(count++);
        registerOne(descriptor({{"name", name}, {"defaultValue", row.value}, {"line", row.value}}));
        EXPECT_EQ(getFeature(name)->getDefaultValue(), row.number);
        EXPECT_EQ(getFeature(name)->getLine(), row.number);
        EXPECT_EQ(getFeature(name)->get(), row.number);
    }
}

TEST(ANumber, IsReadFromNothingElse) {
    for (char const* const key : {"defaultValue", "line"}) {
        for (ValueRow const& row : otherKinds()) {
            SCOPED_TRACE(key + std::string(": ") + row.says);
            EXPECT_EQ(textThrown<std::runtime_error>([&] {
                          registerOne(descriptor({{key, row.value}}));
                      }),
                      "property value unsupported: \"" + std::string(key) +
                          "\"\ninvalid conversion: " + row.kind + " to int32");
        }
    }
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

TEST(ADescriptor, IsRefusedForTheFirstErrorInTheOrderOfItsProperties) {
    Value const bad = json::Null();
    auto const unsupported = [](std::string const& key, std::string const& target) {
        return "property value unsupported: \"" + key + "\"\ninvalid conversion: null to " + target;
    };
    // Each step repairs what the step before was refused for.
    Object object = {{"type", bad}, {"defaultValue", bad}, {"file", bad}, {"line", bad}};
    auto const refused = [&](auto const& exception) {
        return textThrown<std::decay_t<decltype(exception)>>([&] { registerOne(object); });
    };
    std::out_of_range const missing("");
    std::runtime_error const unreadable("");
    std::logic_error const illegal("");

    EXPECT_EQ(refused(missing), "property not specified: \"name\"");
    object["name"] = bad;
    EXPECT_EQ(refused(unreadable), unsupported("name", "string"));
    object["name"] = "bad\tname";
    EXPECT_EQ(refused(missing), "property not specified: \"FctrlState\"");
    object["FctrlState"] = bad;
    EXPECT_EQ(refused(unreadable), unsupported("FctrlState", "string"));
    object["FctrlState"] = "on";
    EXPECT_EQ(refused(unreadable), unsupported("type", "string"));
    object["type"] = "zor";
    EXPECT_EQ(refused(illegal),
              "illegal value of fctrl type: \"zor\".  Legal values: \"perZOR\", \"perPROCESS\"");
    object["type"] = "ZOR";
    EXPECT_EQ(refused(unreadable), unsupported("defaultValue", "int32"));
    object.erase("defaultValue");
    EXPECT_EQ(refused(missing), "property not specified: \"defaultValue\"");
    object["defaultValue"] = 0;
    EXPECT_EQ(refused(unreadable), unsupported("file", "string"));
    object["file"] = "own.json";
    EXPECT_EQ(refused(unreadable), unsupported("line", "int32"));
    object["line"] = 3;
    EXPECT_EQ(refused(std::invalid_argument("")),
              "fctrl: bad\tname: feature control names must be printable ascii.  Character: \"\t\" is not "
              "allowed.");
    object["name"] = "Alpha";
    object["FctrlState"] = "On";
    EXPECT_EQ(refused(std::invalid_argument("")), "fctrl: Alpha: default value of On fctrl msut be non zero");
    object["defaultValue"] = 1;
    registerOne(object);
    EXPECT_EQ(getFeature("Alpha")->getFilename(), "own.json");
}

TEST(ADescriptorList, StopsAtTheFirstBadDescriptor) {
    struct Row {
        char const* says;
        Value bad;
    };
    Row const rows[] = {
        {"no object", "Alpha"},
        {"a property missing", Object{}},
        {"a property unreadable", descriptor({{"name", json::Null()}})},
        {"an unknown scope", descriptor({{"type", "nowhere"}})},
        {"an invalid feature", descriptor({{"FCtrlState", "on"}})},
    };
    int number = 0;
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        std::string const before = "before" + std::to_string(number);
        std::string const after = "after" + std::to_string(number++);
        EXPECT_ANY_THROW(registerList(
            {Value(descriptor({{"name", before}})), row.bad, Value(descriptor({{"name", after}}))}));
        EXPECT_NE(getFeature(before), nullptr) << "what came before stays";
        EXPECT_TRUE(isUnknown(after));
        EXPECT_TRUE(isUnknown("Alpha"));
    }
}

TEST(ADescriptorList, RegistersInItsOrder) {
    Array features;
    for (int number = 0; number < 20; ++number) {
        features.emplace_back(descriptor({{"name", "z" + std::to_string(20 - number)}}));
    }
    registerList(features);
    for (int number = 0; number < 20; ++number) {
        EXPECT_EQ(zor::getDataIndex("z" + std::to_string(20 - number)), static_cast<std::size_t>(number));
    }
}

TEST(ADescriptorList, PassesOnWhatARegistrationThrows) {
    registerFeature(Scope::PROCESS, "Alpha", 3, "Beta", "", "", 0, "", "m0");
    EXPECT_EQ(textThrown<std::logic_error>([] { registerOne(descriptor()); }),
              "feature registered twice: Alpha: modules: m0 and m1");
    registerFeature(Scope::PROCESS, "Beta", 3, "Beta", "", "", 0, "", "m1");
    EXPECT_EQ(textThrown<std::logic_error>([] {
                  registerOne(descriptor({{"name", "Beta"}}));
              }),
              "feature not found: Beta");
    EXPECT_EQ(textThrown<std::invalid_argument>([] {
                  registerOne(descriptor({{"name", ""}}));
              }),
              "fctrl: : feature control names must be non-empty and less than 128 characters");
    EXPECT_EQ(textThrown<std::invalid_argument>([] {
                  registerOne(descriptor({{"name", "Gamma"}, {"FCtrlState", "Off"}, {"defaultValue", 1}}));
              }),
              "fctrl: Gamma: default value of Off fctrl must be 0");
}

TEST(ADescriptorList, MayBeRegisteredAgain) {
    Array const features = {Value(descriptor()), Value(descriptor({{"name", "Beta"}, {"type", "PROCESS"}}))};
    registerList(features);
    getFeature("Beta")->set(9);
    EXPECT_NO_THROW(registerList(features));
    EXPECT_NO_THROW(registerOne(descriptor({{"defaultValue", 5}}))) << "the first registration wins";
    EXPECT_EQ(getFeature("Alpha")->getDefaultValue(), 1);
    EXPECT_EQ(getFeature("Beta")->get(), 9);
    EXPECT_THAT(allNames(), ElementsAre("Alpha", "Beta"));
}

TEST(ADescriptorList, IsLeftAsItIs) {
    auto const make = [] {
        return Array{Value(descriptor({{"file", "a text long enough to be kept outside of the string"}}))};
    };
    Array const features = make();
    registerList(features);
    EXPECT_EQ(features, make());
}

TEST(DescriptorLists, AreRegisteredByThreadsThatStartTogether) {
    setChannelMask(registrationChannel, 0);
    runTogether(8, [](int number) {
        std::string const name = "feature" + std::to_string(number);
        registerList({Value(descriptor({{"name", name}, {"type", "perPROCESS"}, {"defaultValue", number}})),
                      Value(descriptor({{"name", "everybody's"}, {"type", "ZOR"}}))});
        EXPECT_EQ(getFeature(name)->get(), number);
        textThrown<std::logic_error>([&] { registerOne(descriptor({{"type", "nowhere"}})); });
    });
    EXPECT_EQ(getAllFeatures().size(), 9u);
}

}  // namespace
}  // namespace foundation::feature::management::test
