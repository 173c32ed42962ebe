#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <LogCapture.hpp>
#include <ScopedEnvironment.hpp>

#include "RegistryTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cstddef>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace foundation::feature::management::test {
namespace {

using foundation::log::setChannelMask;
using foundation::test::LogCapture;
using foundation::test::Record;
using foundation::test::ScopedEnvironment;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Everything but the parameters and the traces.
constexpr unsigned overrideMask = ~(parameters | entries | leaves);

std::string unsupported(std::string const& text) {
    return "512: feature Alpha: environment variable QZ_FEATURE_Alpha set to unsupported value: \"" + text +
           "\"";
}

std::string const noNumber = "\nexception: invalid stoi argument";
std::string const outOfRange = "\nexception: stoi argument out of range";

/// The value that `Alpha`, registered with this default value, starts with while its variable holds `text`.
int initialValue(std::optional<std::string> const& text, int defaultValue, Scope scope) {
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", text);
    declare({.scope = scope, .defaultValue = defaultValue});
    return getFeature("Alpha")->get();
}

struct Row {
    char const* says;
    std::string text;
    int defaultValue;
    int value;
    std::vector<std::string> records;
};

std::vector<Row> overrides() {
    return {
        {"another value replaces the default",
         "1",
         0,
         1,
         {"16: feature Alpha environment set, changed from: 0 to: 1"}},
        {"the default itself is only written",
         "0",
         0,
         0,
         {"16: feature Alpha environment set to default value: 0"}},
        {"0 replaces another default",
         "0",
         3,
         0,
         {"16: feature Alpha environment set, changed from: 3 to: 0"}},
        {"negative numbers", "-5", -6, -5, {"16: feature Alpha environment set, changed from: -6 to: -5"}},
        {"a negative default", "-6", -6, -6, {"16: feature Alpha environment set to default value: -6"}},
        {"a plus sign is allowed", "+5", 0, 5, {"16: feature Alpha environment set, changed from: 0 to: 5"}},
        {"minus 0 is 0", "-0", 0, 0, {"16: feature Alpha environment set to default value: 0"}},
        {"leading zeros do not make it octal",
         "0000000000000000000000000010",
         0,
         10,
         {"16: feature Alpha environment set, changed from: 0 to: 10"}},
        {"a leading blank is skipped",
         " 7",
         0,
         7,
         {"16: feature Alpha environment set, changed from: 0 to: 7"}},
        {"all leading white space is skipped",
         "\t\n\v\f\r -7",
         0,
         -7,
         {"16: feature Alpha environment set, changed from: 0 to: -7"}},
        {"the largest int",
         "2147483647",
         0,
         2147483647,
         {"16: feature Alpha environment set, changed from: 0 to: 2147483647"}},
        {"the smallest int",
         "-2147483648",
         0,
         std::numeric_limits<int>::min(),
         {"16: feature Alpha environment set, changed from: 0 to: -2147483648"}},
        {"one past the largest int", "2147483648", 3, 3, {unsupported("2147483648") + outOfRange}},
        {"one past the smallest int", "-2147483649", 3, 3, {unsupported("-2147483649") + outOfRange}},
        {"more digits than any number has",
         std::string(1'000, '9'),
         3,
         3,
         {unsupported(std::string(1'000, '9')) + outOfRange}},
        {"out of range comes before trailing characters",
         "99999999999x",
         3,
         3,
         {unsupported("99999999999x") + outOfRange}},
        {"a trailing blank", "7 ", 3, 3, {unsupported("7 ")}},
        {"a trailing line feed", "7\n", 3, 3, {unsupported("7\n")}},
        {"a trailing letter", "1x", 0, 0, {unsupported("1x")}},
        {"hexadecimal is read up to the x", "0x10", 3, 3, {unsupported("0x10")}},
        {"a fraction", "1.0", 3, 3, {unsupported("1.0")}},
        {"an exponent", "1e3", 3, 3, {unsupported("1e3")}},
        {"a grouped number", "1,234", 3, 3, {unsupported("1,234")}},
        {"two numbers", "1 2", 3, 3, {unsupported("1 2")}},
        {"the default value and more", "3;", 3, 3, {unsupported("3;")}},
        {"a quote goes in as it is", "7\"", 3, 3, {unsupported("7\"")}},
        {"a letter of another script behind the number", "7\xC3\xA9", 3, 3, {unsupported("7\xC3\xA9")}},
        {"a word", "on", 0, 0, {unsupported("on") + noNumber}},
        {"a word in another script",
         "\xF0\x9F\x98\x80\xC3\xA9",
         3,
         3,
         {unsupported("\xF0\x9F\x98\x80\xC3\xA9") + noNumber}},
        {"digits of another script", "\xD9\xA3", 3, 3, {unsupported("\xD9\xA3") + noNumber}},
        {"a no-break space is no white space",
         "\xC2\xA0"
         "7",
         3,
         3,
         {unsupported("\xC2\xA0"
                      "7") +
          noNumber}},
        {"blanks only", "  ", 3, 3, {unsupported("  ") + noNumber}},
        {"a sign only", "-", 3, 3, {unsupported("-") + noNumber}},
        {"two signs", "+-5", 3, 3, {unsupported("+-5") + noNumber}},
        {"a sign apart from its digits", "- 5", 3, 3, {unsupported("- 5") + noNumber}},
        {"a letter before the number", "x7", 3, 3, {unsupported("x7") + noNumber}},
    };
}

/// One row in a process of its own: the registry never forgets Alpha.
class AnOverride : public testing::TestWithParam<std::size_t> {};

TEST_P(AnOverride, IsTakenOnlyWhenTheWholeTextIsOneInt) {
    Row const row = overrides()[GetParam()];
    setChannelMask(registrationChannel, overrideMask);
    LogCapture const capture;
    EXPECT_EQ(initialValue(row.text, row.defaultValue, GetParam() % 2 == 0 ? Scope::PROCESS : Scope::ZOR),
              row.value);
    EXPECT_EQ(written(capture, registrationChannel), row.records);
    EXPECT_EQ(getFeature("Alpha")->getDefaultValue(), row.defaultValue);
    EXPECT_EQ(getFeature("Alpha")->getWriteCount(), 0u);
}

INSTANTIATE_TEST_SUITE_P(Texts,
                         AnOverride,
                         testing::Range(std::size_t{0}, overrides().size()),
                         [](testing::TestParamInfo<std::size_t> const& row) {
                             std::string name = overrides()[row.param].says;
                             for (char& character : name) {
                                 if (!std::isalnum(static_cast<unsigned char>(character))) character = '_';
                             }
                             return name;
                         });

TEST(AnEmptyOverride, IsNone) {
    setChannelMask(registrationChannel, overrideMask);
    LogCapture const capture;
    EXPECT_EQ(initialValue(std::nullopt, 3, Scope::PROCESS), 3);
    EXPECT_EQ(initialValue("", 3, Scope::PROCESS), 3);
    EXPECT_THAT(written(capture, registrationChannel), IsEmpty());
}

TEST(AnOverriddenFeature, KeepsItsDefaultValueAndCountsNothing) {
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "1");
    declare({.defaultValue = 0, .state = "Off"});
    auto const feature = getFeature("Alpha");
    EXPECT_EQ(feature->getDefaultValue(), 0) << "an Off feature is valid by its default value alone";
    EXPECT_EQ(feature->getReadCount(), 0u);
    EXPECT_EQ(feature->getWriteCount(), 0u);
    EXPECT_EQ(feature->getFCtrlState(), "Off");
    EXPECT_EQ(feature->get(), 1);
    EXPECT_TRUE(feature->isActive());
}

TEST(AnOverride, MayBreakWhatTheStateDemandsOfTheDefault) {
    ScopedEnvironment const on("QZ_FEATURE_on", "0");
    ScopedEnvironment const debug("QZ_FEATURE_debug", "5");
    declare({.name = "on", .defaultValue = 1, .state = "On"});
    declare({.name = "debug", .defaultValue = 0, .state = "DebugOrTest"});
    EXPECT_EQ(getFeature("on")->get(), 0);
    EXPECT_EQ(getFeature("debug")->get(), 5);
}

TEST(AnOverride, DoesNotSaveAnInvalidFeature) {
    setChannelMask(registrationChannel, overrideMask);
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "1");
    LogCapture const capture;
    EXPECT_THROW(declare({.defaultValue = 0, .state = "On"}), std::invalid_argument);
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("512: Alpha: default value of On fctrl msut be non zero"))
        << "the override comes after the rules";
}

TEST(AnOverride, IsReadOnceAtRegistration) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "zor" : "process";
        {
            ScopedEnvironment const environment("QZ_FEATURE_" + name, "1");
            declare({.scope = scope, .name = name});
        }
        ScopedEnvironment const later("QZ_FEATURE_" + name, "2");
        EXPECT_EQ(getFeature(name)->get(), 1);
        usm::EngineInstance engine;
        usm::CurrentEngineInstance const current(engine);
        EXPECT_EQ(getFeature(name)->get(), 1) << "also in an engine instance made later";
        getFeature(name)->set(3);
        EXPECT_EQ(getFeature(name)->get(), 3);
    }
}

TEST(AnOverride, IsFoundByTheNameAsItIs) {
    ScopedEnvironment const blank("QZ_FEATURE_My Feature", "1");
    ScopedEnvironment const punctuation("QZ_FEATURE_a.b-c/%$\"~", "2");
    ScopedEnvironment const unprefixed("plain", "3");
    declare({.name = "My Feature"});
    declare({.name = "a.b-c/%$\"~"});
    declare({.name = "plain"});
    EXPECT_EQ(getFeature("My Feature")->get(), 1);
    EXPECT_EQ(getFeature("a.b-c/%$\"~")->get(), 2);
    EXPECT_EQ(getFeature("plain")->get(), 0);
}

TEST(AnOverride, NamesTheFeatureAndItsVariableInItsRecords) {
    setChannelMask(registrationChannel, overrideMask);
    ScopedEnvironment const environment("QZ_FEATURE_My Feature", "off");
    LogCapture const capture;
    declare({.name = "My Feature"});
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("512: feature My Feature: environment variable QZ_FEATURE_My Feature set to "
                            "unsupported value: \"off\"\nexception: invalid stoi argument"));
}

TEST(TheRecordOfAnOverride, NamesItsWholeSource) {
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "3");
    setChannelMask(registrationChannel, changes);
    LogCapture const capture;
    declare({});
    ASSERT_THAT(capture.records(), SizeIs(1));
    Record const record = capture.records()[0];
    EXPECT_EQ(record.function,
              "void foundation::feature::management::applyEnvironmentOverride(std::string const&, "
              "foundation::feature::detail::State&)");
    EXPECT_EQ(record.file, "foundation/feature/src/feature/management");
    EXPECT_EQ(record.line, 0);
}

TEST(AnOverride, HasTheCaseOfTheNameWhereVariablesHave) {
    ScopedEnvironment const environment("QZ_FEATURE_alpha", "1");
    declare({.name = "Alpha"});
    declare({.name = "alpha"});
#if defined(_WIN32)
    EXPECT_EQ(getFeature("Alpha")->get(), 1) << "Windows ignores the case of a variable's name";
#else
    EXPECT_EQ(getFeature("Alpha")->get(), 0);
#endif
    EXPECT_EQ(getFeature("alpha")->get(), 1);
}

TEST(AnOverride, ThatIsIllFormedTextEndsTheRegistration) {
#if defined(_WIN32)
    std::string const error = "ill-formed UTF-16 at offset 1: high surrogate without a low one after it";
#else
    std::string const error = "environment variable \"QZ_FEATURE_ALPHA\": ill-formed UTF-8 at offset 1: "
                              "byte that UTF-8 never uses";
#endif
    setChannelMask(registrationChannel, ~0u);
    {
        ScopedEnvironment const environment = ScopedEnvironment::illFormed("QZ_FEATURE_ALPHA");
        LogCapture const capture;
        EXPECT_EQ(textThrown<std::range_error>(
                      [] { declare({.scope = Scope::ZOR, .name = "ALPHA", .module = "m1"}); }),
                  error);
        std::vector<Record> const records = capture.records();
        ASSERT_THAT(records, SizeIs(3)) << "the trace and the parameters";
        EXPECT_EQ(records[1].severity, parameters);
        EXPECT_EQ(records[2].message, records[0].message + " [throw]");
    }
    EXPECT_TRUE(isUnknown("ALPHA"));
    EXPECT_TRUE(isUnknown("alpha"));
    declare({.scope = Scope::ZOR, .name = "Alpha", .module = "m2"});
    declare({.scope = Scope::ZOR, .name = "ALPHA", .module = "m2"});
    EXPECT_EQ(getFeatureIgnoreCase("alpha")->getName(), "Alpha");
    EXPECT_EQ(zor::getDataIndex("ALPHA"), 1u);
}

TEST(AnOverride, OfARepeatedRegistrationIsWrittenAgainButNotTaken) {
    setChannelMask(registrationChannel, overrideMask);
    LogCapture const capture;
    EXPECT_EQ(initialValue("1", 0, Scope::PROCESS), 1);
    EXPECT_EQ(initialValue("1", 0, Scope::PROCESS), 1);
    EXPECT_EQ(initialValue("2", 5, Scope::PROCESS), 1);
    EXPECT_EQ(initialValue("x", 5, Scope::PROCESS), 1);
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("16: feature Alpha environment set, changed from: 0 to: 1",
                            "16: feature Alpha environment set, changed from: 0 to: 1",
                            "16: feature Alpha environment set, changed from: 5 to: 2",
                            unsupported("x") + noNumber));
}

TEST(AnOverride, IsTakenWhetherOrNotItIsWritten) {
    ScopedEnvironment const good("QZ_FEATURE_good", "1");
    ScopedEnvironment const bad("QZ_FEATURE_bad", "1x");
    ScopedEnvironment const word("QZ_FEATURE_word", "x");
    struct MaskRow {
        char const* says;
        std::optional<unsigned> mask;
        std::vector<std::string> records;
    };
    std::string const badRecord =
        "512: feature bad: environment variable QZ_FEATURE_bad set to unsupported value: \"1x\"";
    std::string const wordRecord =
        "512: feature word: environment variable QZ_FEATURE_word set to unsupported value: \"x\"" + noNumber;
    std::string const goodRecord = "16: feature good environment set, changed from: 0 to: 1";
    MaskRow const rows[] = {
        {"by default, what is unsupported is written", std::nullopt, {badRecord, wordRecord}},
        {"changes only", changes, {goodRecord}},
        {"nothing", 0, {}},
    };
    for (MaskRow const& row : rows) {
        SCOPED_TRACE(row.says);
        if (row.mask) setChannelMask(registrationChannel, *row.mask);
        LogCapture const capture;
        for (char const* const name : {"good", "bad", "word"})
            declare({.name = name});
        EXPECT_EQ(written(capture, registrationChannel), row.records);
        EXPECT_EQ(getFeature("good")->get(), 1);
        EXPECT_EQ(getFeature("bad")->get(), 0);
        EXPECT_EQ(getFeature("word")->get(), 0);
    }
}

TEST(AnOverride, IsReadAndWrittenInPlainDecimalWhateverTheGlobalLocale) {
    GroupingLocale const locale;
    setChannelMask(registrationChannel, overrideMask);
    ScopedEnvironment const plain("QZ_FEATURE_plain", "7654321");
    ScopedEnvironment const same("QZ_FEATURE_same", "1000000");
    ScopedEnvironment const grouped("QZ_FEATURE_grouped", "7.654.321");
    LogCapture const capture;
    declare({.name = "plain", .defaultValue = -1234567});
    declare({.name = "same", .defaultValue = 1000000});
    declare({.name = "grouped"});
    EXPECT_THAT(
        written(capture, registrationChannel),
        ElementsAre("16: feature plain environment set, changed from: -1234567 to: 7654321",
                    "16: feature same environment set to default value: 1000000",
                    "512: feature grouped: environment variable QZ_FEATURE_grouped set to unsupported value: "
                    "\"7.654.321\""));
    EXPECT_EQ(getFeature("plain")->get(), 7654321);
}

TEST(AnOverride, WhoseRecordFailsIsGivenUpAndTheFeatureRegisteredWithoutIt) {
    setChannelMask(registrationChannel, overrideMask);
    std::vector<std::string> messages;
    LogCapture const capture([&](Record const& record) {
        if (record.severity == changes) throw std::runtime_error("disk full");
        messages.push_back(record.message);
    });
    EXPECT_EQ(initialValue("1", 0, Scope::PROCESS), 0);
    EXPECT_THAT(
        messages,
        ElementsAre("feature Alpha: environment variable QZ_FEATURE_Alpha set to unsupported value: \"1\"\n"
                    "exception: disk full"));
}

TEST(AnOverride, ThatCannotEvenBeReportedEndsTheRegistration) {
    setChannelMask(registrationChannel, rejections);
    {
        ScopedEnvironment const environment("QZ_FEATURE_Alpha", "x");
        LogCapture const capture([](Record const&) { throw std::runtime_error("disk full"); });
        EXPECT_EQ(textThrown<std::runtime_error>([] { declare({}); }), "disk full");
    }
    EXPECT_TRUE(isUnknown("Alpha"));
    EXPECT_NO_THROW(declare({.scope = Scope::ZOR, .module = "m2"}));
}

TEST(Overrides, AreReadByThreadsThatRegisterAtOnce) {
    setChannelMask(registrationChannel, 0);
    ScopedEnvironment const environment("QZ_FEATURE_feature3", "33");
    runTogether(8, [](int number) {
        std::string const name = "feature" + std::to_string(number);
        declare({.name = name, .defaultValue = number});
        EXPECT_EQ(getFeature(name)->get(), number == 3 ? 33 : number);
    });
}

}  // namespace
}  // namespace foundation::feature::management::test
