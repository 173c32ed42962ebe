#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <LogCapture.hpp>
#include <ScopedEnvironment.hpp>

#include "RegistryTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
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
using testing::StartsWith;

/// What a repeated registration must not change, and what an unchanged registration shows.
void expectFirstRegistration(std::string const& name, Scope scope) {
    auto const feature = getFeature(name);
    ASSERT_NE(feature, nullptr);
    EXPECT_EQ(feature->getScope(), scope);
    EXPECT_EQ(feature->getDefaultValue(), 3);
    EXPECT_EQ(feature->getFCtrlState(), "Beta");
    EXPECT_EQ(feature->getClientDir(), "first client");
    EXPECT_EQ(feature->getFilename(), "first.cpp");
    EXPECT_EQ(feature->getLine(), 11);
    EXPECT_EQ(feature->getComponent(), "first component");
    EXPECT_EQ(feature->getModule(), "m1");
}

Declaration first(Scope scope) {
    return {.scope = scope,
            .name = "Alpha",
            .defaultValue = 3,
            .state = "Beta",
            .clientdir = "first client",
            .file = "first.cpp",
            .line = 11,
            .component = "first component",
            .module = "m1"};
}

/// The same name, and everything else another.
Declaration second(Scope scope, std::string module) {
    return {.scope = scope,
            .name = "Alpha",
            .defaultValue = 5,
            .state = "Preview",
            .clientdir = "second client",
            .file = "second.cpp",
            .line = 22,
            .component = "second component",
            .module = std::move(module)};
}

TEST(ARegistration, PutsEveryArgumentIntoTheRecord) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "per instance" : "per process";
        registerFeature(
            scope, name, -9, "Preview", "the client", "the file", 4711, "the component", "the module");

        auto const feature = getFeature(name);
        ASSERT_NE(feature, nullptr);
        EXPECT_EQ(feature->getName(), name);
        EXPECT_EQ(feature->getScope(), scope);
        EXPECT_EQ(feature->getDefaultValue(), -9);
        EXPECT_EQ(feature->getFCtrlState(), "Preview");
        EXPECT_EQ(feature->getClientDir(), "the client");
        EXPECT_EQ(feature->getFilename(), "the file");
        EXPECT_EQ(feature->getLine(), 4711);
        EXPECT_EQ(feature->getComponent(), "the component");
        EXPECT_EQ(feature->getModule(), "the module");
        EXPECT_EQ(feature->getReadCount(), 0u);
        EXPECT_EQ(feature->getWriteCount(), 0u);
        EXPECT_TRUE(feature->getState()->signal.empty()) << "a new feature has no watchers";
        EXPECT_EQ(feature->get(), -9);
    }
}

TEST(ARegistration, TakesAnyTextsButTheNameAndTheStateAsTheyAre) {
    std::string const texts[] = {
        "", " ", std::string("a\0b", 3), "\xFF\xFE", "line\nfeed", std::string(100'000, 'x')};
    int number = 0;
    for (std::string const& text : texts) {
        SCOPED_TRACE(number);
        std::string const name = "feature" + std::to_string(number++);
        registerFeature(Scope::PROCESS, name, 0, "Off", text, text, -1, text, text);
        auto const feature = getFeature(name);
        ASSERT_NE(feature, nullptr);
        EXPECT_EQ(feature->getClientDir(), text);
        EXPECT_EQ(feature->getFilename(), text);
        EXPECT_EQ(feature->getComponent(), text);
        EXPECT_EQ(feature->getModule(), text);
    }
}

TEST(ARegistration, TakesEveryDefaultValueAndLine) {
    for (int const number : {std::numeric_limits<int>::min(), -1, 0, 1, std::numeric_limits<int>::max()}) {
        SCOPED_TRACE(number);
        std::string const name = "feature" + std::to_string(number);
        declare({.name = name, .defaultValue = number, .line = number});
        EXPECT_EQ(getFeature(name)->get(), number);
        EXPECT_EQ(getFeature(name)->getDefaultValue(), number);
        EXPECT_EQ(getFeature(name)->getLine(), number);
    }
}

TEST(ARepeatedRegistration, IsIgnored) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "per instance" : "per process";
        Declaration original = first(scope);
        Declaration repeated = second(scope, "m1");
        original.name = repeated.name = name;
        declare(original);
        declare(repeated);

        expectFirstRegistration(name, scope);
        EXPECT_EQ(getFeature(name)->get(), 3);
    }
    EXPECT_THAT(getAllFeatures(), SizeIs(2));
}

TEST(ARepeatedRegistration, LeavesValueAndCountersAsTheyAreByNow) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "per instance" : "per process";
        declare({.scope = scope, .name = name, .defaultValue = 3});
        auto const feature = getFeature(name);
        detail::State const* const record = feature->getState();
        int watched = 0;
        feature->addCallback([&](IFeature const&) { ++watched; });
        feature->set(8);
        feature->get();

        declare({.scope = scope, .name = name, .defaultValue = 5});
        EXPECT_EQ(getFeature(name)->getState(), record);
        EXPECT_EQ(feature->getReadCount(), 1u);
        EXPECT_EQ(feature->getWriteCount(), 1u);
        EXPECT_EQ(feature->get(), 8);
        feature->set(9);
        EXPECT_EQ(watched, 3) << "when it began to watch, and after each of two changes";
    }
}

TEST(ARepeatedRegistration, LeavesTheTemplateOfLaterEngineInstances) {
    declare(first(Scope::ZOR));
    declare(second(Scope::ZOR, "m1"));
    usm::EngineInstance engine;
    usm::CurrentEngineInstance const current(engine);
    expectFirstRegistration("Alpha", Scope::ZOR);
    EXPECT_EQ(getFeature("Alpha")->get(), 3);
}

TEST(ARepeatedRegistration, IsStillValidated) {
    declare({.defaultValue = 0, .state = "Off"});
    LogCapture const capture;
    EXPECT_EQ(textThrown<std::invalid_argument>([] { declare({.defaultValue = 1, .state = "Off"}); }),
              "fctrl: Alpha: default value of Off fctrl must be 0");
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("512: Alpha: default value of Off fctrl must be 0"));
}

TEST(ARepeatedRegistration, IsStillWrittenWithItsOverride) {
    setChannelMask(registrationChannel, ~(entries | leaves));
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "9");
    declare({.defaultValue = 3});
    LogCapture const capture;
    declare({.defaultValue = 5, .line = 8});
    EXPECT_THAT(
        written(capture, registrationChannel),
        ElementsAre("2:  featureName=Alpha defaultValue=5 scope=Scope::PROCESS wip=Beta clientdir=client "
                    "filename=file.cpp line=8 componentName=component moduleName=m1",
                    "16: feature Alpha environment set, changed from: 5 to: 9"));
    EXPECT_EQ(getFeature("Alpha")->getDefaultValue(), 3);
    EXPECT_EQ(getFeature("Alpha")->get(), 9);
}

TEST(AConflictingRegistration, IsRefused) {
    std::string const twice = "feature registered twice: Alpha: modules: m1 and m2";
    std::string const notFound = "feature not found: Alpha";
    struct Row {
        char const* says;
        Scope scope;
        char const* module;
        std::string text;
    };
    Row const rows[] = {
        {"another module", Scope::PROCESS, "m2", twice},
        {"the other scope", Scope::ZOR, "m1", notFound},
        {"another module and the other scope", Scope::ZOR, "m2", twice},
    };
    declare(first(Scope::PROCESS));
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(textThrown<std::logic_error>([&] { declare(second(row.scope, row.module)); }), row.text);
        expectFirstRegistration("Alpha", Scope::PROCESS);
        EXPECT_EQ(getFeature("Alpha")->getReadCount(), 0u);
        EXPECT_THAT(allNames(), ElementsAre("Alpha"));
    }
}

TEST(AConflictingRegistration, OfAPerInstanceFeatureIsRefusedAlike) {
    std::string const twice = "feature registered twice: Alpha: modules: m1 and m2";
    declare(first(Scope::ZOR));
    EXPECT_EQ(textThrown<std::logic_error>([] { declare(second(Scope::ZOR, "m2")); }), twice);
    EXPECT_EQ(textThrown<std::logic_error>([] { declare(second(Scope::PROCESS, "m1")); }),
              "feature not found: Alpha");
    EXPECT_EQ(textThrown<std::logic_error>([] { declare(second(Scope::PROCESS, "m2")); }), twice);
    expectFirstRegistration("Alpha", Scope::ZOR);
    EXPECT_THAT(allNames(), ElementsAre("Alpha"));
    EXPECT_EQ(zor::getDataIndex("Alpha"), 0u);
}

TEST(AConflictingRegistration, IsToldByTheExactModule) {
    declare({.name = "lower", .module = "m1"});
    EXPECT_EQ(textThrown<std::logic_error>([] { declare({.name = "lower", .module = "M1"}); }),
              "feature registered twice: lower: modules: m1 and M1");
    EXPECT_EQ(textThrown<std::logic_error>([] { declare({.name = "lower", .module = ""}); }),
              "feature registered twice: lower: modules: m1 and ");
    EXPECT_EQ(textThrown<std::logic_error>([] { declare({.name = "lower", .module = "m1 "}); }),
              "feature registered twice: lower: modules: m1 and m1 ");
    EXPECT_EQ(
        textThrown<std::logic_error>([] { declare({.name = "lower", .module = std::string("m1\0", 3)}); }),
        "feature registered twice: lower: modules: m1 and m1");

    declare({.name = "nobody's", .module = ""});
    EXPECT_NO_THROW(declare({.name = "nobody's", .module = ""}));
    EXPECT_EQ(textThrown<std::logic_error>([] { declare({.name = "nobody's", .module = "m1"}); }),
              "feature registered twice: nobody's: modules:  and m1");
}

TEST(AConflictingRegistration, IsThrownButNotWritten) {
    declare(first(Scope::PROCESS));
    setChannelMask(registrationChannel, ~(entries | leaves | parameters));
    LogCapture const capture;
    textThrown<std::logic_error>([] { declare(second(Scope::PROCESS, "m2")); });
    textThrown<std::logic_error>([] { declare(second(Scope::ZOR, "m1")); });
    EXPECT_THAT(written(capture, registrationChannel), IsEmpty());
}

TEST(AConflictingRegistration, IsFoundAfterTheOverride) {
    declare({.scope = Scope::PROCESS, .module = "m1"});
    setChannelMask(registrationChannel, changes);
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "9");
    LogCapture const capture;
    textThrown<std::logic_error>([] { declare({.scope = Scope::PROCESS, .module = "m2"}); });
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("16: feature Alpha environment set, changed from: 0 to: 9"));
    EXPECT_EQ(getFeature("Alpha")->get(), 0);
}

TEST(NamesThatDifferInCaseOnly, AreDifferentFeatures) {
    declare({.scope = Scope::PROCESS, .name = "Alpha", .defaultValue = 1, .module = "m1"});
    declare({.scope = Scope::ZOR, .name = "alpha", .defaultValue = 2, .module = "m2"});
    declare({.scope = Scope::PROCESS, .name = "ALPHA", .defaultValue = 3, .module = "m3"});
    EXPECT_EQ(getFeature("Alpha")->get(), 1);
    EXPECT_EQ(getFeature("alpha")->get(), 2);
    EXPECT_EQ(getFeature("ALPHA")->get(), 3);
    EXPECT_EQ(getFeatureIgnoreCase("alpha")->get(), 2) << "the exact name comes first";
}

TEST(NamesThatDifferInCaseOnly, AreFoundIgnoringCaseByTheFirstOfThem) {
    declare({.name = "Alpha"});
    declare({.scope = Scope::ZOR, .name = "ALPHA"});
    declare({.scope = Scope::ZOR, .name = "BETA"});
    declare({.name = "Beta"});
    declare({.name = "bEta"});
    declare({.scope = Scope::ZOR, .name = "BETA"});
    EXPECT_EQ(getFeatureIgnoreCase("alpha")->getName(), "Alpha");
    EXPECT_EQ(getFeatureIgnoreCase("beta")->getName(), "BETA");
}

TEST(TheLowerCaseFormOfAName, ChangesTheLettersAToZOnly) {
    std::string every;
    for (char character = 0x20; character < 0x7F; ++character)
        every += character;
    std::string lower = every;
    for (char& character : lower) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
    }
    declare({.name = every});
    auto const feature = getFeatureIgnoreCase(lower);
    ASSERT_NE(feature, nullptr);
    EXPECT_EQ(feature->getName(), every);

    declare({.name = "Straight[1]^2"});
    EXPECT_NE(getFeatureIgnoreCase("straight[1]^2"), nullptr);
    EXPECT_EQ(getFeatureIgnoreCase("straight{1}~2"), nullptr);
}

TEST(APerInstanceIndex, IsDenseInTheOrderOfRegistration) {
    declare({.scope = Scope::PROCESS, .name = "process 1"});
    declare({.scope = Scope::ZOR, .name = "first"});
    declare({.scope = Scope::PROCESS, .name = "process 2"});
    declare({.scope = Scope::ZOR, .name = "first"});
    declare({.scope = Scope::ZOR, .name = "second"});
    EXPECT_THROW(declare({.scope = Scope::ZOR, .name = "bad\tname"}), std::invalid_argument);
    EXPECT_THROW(declare({.scope = Scope::ZOR, .name = "Bad state", .state = "on"}), std::invalid_argument);
    EXPECT_THROW(declare({.scope = Scope::ZOR, .name = "first", .module = "m2"}), std::logic_error);
    EXPECT_THROW(declare({.scope = Scope::ZOR, .name = "process 1"}), std::logic_error);
    declare({.scope = static_cast<Scope>(2), .name = "nowhere"});
    declare({.scope = Scope::ZOR, .name = "third"});

    EXPECT_EQ(zor::getDataIndex("first"), 0u);
    EXPECT_EQ(zor::getDataIndex("second"), 1u);
    EXPECT_EQ(zor::getDataIndex("third"), 2u);
    EXPECT_THROW(zor::getDataPtr(3), std::out_of_range);
}

TEST(AnUnknownScope, RegistersNothingInSilence) {
    setChannelMask(registrationChannel, parameters);
    for (int const scope : {2, 3, -1, std::numeric_limits<int>::max(), std::numeric_limits<int>::min()}) {
        SCOPED_TRACE(scope);
        LogCapture const capture;
        EXPECT_NO_THROW(declare({.scope = static_cast<Scope>(scope), .name = "ALPHA"}));
        EXPECT_THAT(written(capture, registrationChannel),
                    ElementsAre("2:  featureName=ALPHA defaultValue=0 scope=Scope::" + std::to_string(scope) +
                                " wip=Beta clientdir=client filename=file.cpp line=7 componentName=component "
                                "moduleName=m1"));
        EXPECT_TRUE(isUnknown("ALPHA"));
        EXPECT_TRUE(isUnknown("alpha"));
    }
}

TEST(AnUnknownScope, LeavesTheNameFree) {
    declare({.scope = static_cast<Scope>(2), .name = "ALPHA", .module = "m1"});
    declare({.scope = Scope::ZOR, .name = "Alpha", .module = "m2"});
    declare({.scope = Scope::ZOR, .name = "ALPHA", .module = "m2"});
    EXPECT_EQ(getFeatureIgnoreCase("alpha")->getName(), "Alpha");
    EXPECT_EQ(zor::getDataIndex("Alpha"), 0u);
    EXPECT_EQ(zor::getDataIndex("ALPHA"), 1u);
}

TEST(AnUnknownScope, IsStillValidatedAndOverridden) {
    setChannelMask(registrationChannel, changes | rejections);
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "4");
    LogCapture const capture;
    declare({.scope = static_cast<Scope>(2)});
    EXPECT_EQ(textThrown<std::invalid_argument>(
                  [] { declare({.scope = static_cast<Scope>(2), .defaultValue = 0, .state = "On"}); }),
              "fctrl: Alpha: default value of On fctrl msut be non zero");
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("16: feature Alpha environment set, changed from: 0 to: 4",
                            "512: Alpha: default value of On fctrl msut be non zero"));
}

TEST(AnUnknownScope, DoesNotConflictWithAnything) {
    declare(first(Scope::PROCESS));
    EXPECT_NO_THROW(declare(second(static_cast<Scope>(2), "m2")));
    expectFirstRegistration("Alpha", Scope::PROCESS);
}

TEST(TheParametersRecord, ListsEveryArgument) {
    setChannelMask(registrationChannel, parameters);
    LogCapture const capture;
    registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "dir", "a.cpp", 12, "comp", "mod");
    registerFeature(Scope::ZOR,
                    "My Feature",
                    std::numeric_limits<int>::min(),
                    "Beta",
                    "",
                    "",
                    std::numeric_limits<int>::max(),
                    "",
                    "");
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("2:  featureName=Alpha defaultValue=0 scope=Scope::PROCESS wip=Off clientdir=dir "
                            "filename=a.cpp line=12 componentName=comp moduleName=mod",
                            "2:  featureName=My Feature defaultValue=-2147483648 scope=Scope::ZOR wip=Beta "
                            "clientdir= filename= line=2147483647 componentName= moduleName="));
}

TEST(TheParametersRecord, ComesBeforeTheRefusal) {
    setChannelMask(registrationChannel, parameters | rejections);
    LogCapture const capture;
    EXPECT_THROW(registerFeature(Scope::ZOR, "a\tb", 1, "", "", "", -1, "", ""), std::invalid_argument);
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("2:  featureName=a\tb defaultValue=1 scope=Scope::ZOR wip= clientdir= filename= "
                            "line=-1 componentName= moduleName=",
                            "512: a\tb: feature control names must be printable ascii.  Character: \"\t\" "
                            "is not allowed."));
}

TEST(TheParametersRecord, IsWrittenOnlyWhenAskedFor) {
    LogCapture const capture;
    declare({.name = "by default"});
    setChannelMask(registrationChannel, ~(parameters | entries | leaves));
    declare({.name = "without its bit"});
    setChannelMask(lookupChannel, ~0u);
    declare({.name = "for another channel"});
    EXPECT_THAT(written(capture, registrationChannel), IsEmpty());
}

TEST(TheParametersRecord, ShowsPlainDecimalNumbersWhateverTheGlobalLocale) {
    GroupingLocale const locale;
    setChannelMask(registrationChannel, parameters);
    LogCapture const capture;
    declare({.scope = static_cast<Scope>(1234567), .defaultValue = -7654321, .line = 1000000});
    EXPECT_THAT(written(capture, registrationChannel),
                ElementsAre("2:  featureName=Alpha defaultValue=-7654321 scope=Scope::1234567 wip=Beta "
                            "clientdir=client filename=file.cpp line=1000000 componentName=component "
                            "moduleName=m1"));
}

void expectRegistrationTrace(Record const& record, unsigned severity) {
    EXPECT_EQ(record.channel, registrationChannel);
    EXPECT_EQ(record.severity, severity);
    EXPECT_EQ(record.file, "foundation/feature/src/feature/management");
    EXPECT_EQ(record.line, 564);
    EXPECT_EQ(record.indent, 0u) << "what lies between stands deeper, not the trace itself";
    EXPECT_EQ(
        record.function,
        "void foundation::feature::management::registerFeature(foundation::feature::Scope, std::string, int, "
        "std::string, std::string, std::string, int, std::string, std::string)");
}

TEST(TheTraceOfARegistration, SurroundsWhatItWrites) {
    setChannelMask(registrationChannel, ~0u);
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "2");
    LogCapture const capture;
    declare({});
    std::vector<Record> const records = capture.records();
    ASSERT_THAT(records, SizeIs(4));
    expectRegistrationTrace(records[0], entries);
    EXPECT_EQ(records[0].message, records[0].function);
    EXPECT_EQ(records[1].severity, parameters);
    EXPECT_THAT(records[1].message, StartsWith(" featureName=Alpha"));
    EXPECT_EQ(records[1].indent, 1u);
    EXPECT_EQ(records[2].severity, changes);
    EXPECT_EQ(records[2].message, "feature Alpha environment set, changed from: 0 to: 2");
    EXPECT_EQ(records[2].indent, 1u);
    expectRegistrationTrace(records[3], leaves);
    EXPECT_EQ(records[3].message, records[0].function);
}

TEST(TheTraceOfARegistration, TellsThatAnExceptionLeft) {
    declare({.name = "Beta"});
    setChannelMask(registrationChannel, ~0u);
    struct Row {
        char const* says;
        Declaration declaration;
        std::vector<unsigned> between;
    };
    Row const rows[] = {
        {"a refused one", {.state = "on"}, {parameters, rejections}},
        {"a conflicting one", {.name = "Beta", .module = "m2"}, {parameters}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        LogCapture const capture;
        EXPECT_ANY_THROW(declare(row.declaration));
        std::vector<Record> const records = capture.records();
        ASSERT_THAT(records, SizeIs(row.between.size() + 2));
        expectRegistrationTrace(records.front(), entries);
        for (std::size_t number = 0; number < row.between.size(); ++number) {
            EXPECT_EQ(records[number + 1].severity, row.between[number]);
            EXPECT_EQ(records[number + 1].indent, 1u);
        }
        expectRegistrationTrace(records.back(), leaves);
        EXPECT_EQ(records.back().message, records.front().function + " [throw]");
    }
}

TEST(TheTraceOfARegistration, IsWrittenByHalvesWhenHalfOfItIsAskedFor) {
    LogCapture capture;
    setChannelMask(registrationChannel, entries | parameters);
    declare({.name = "entry only"});
    ASSERT_THAT(capture.records(), SizeIs(2));
    expectRegistrationTrace(capture.records()[0], entries);
    EXPECT_EQ(capture.records()[1].indent, 1u);

    capture.clear();
    setChannelMask(registrationChannel, leaves | parameters);
    declare({.name = "leave only"});
    ASSERT_THAT(capture.records(), SizeIs(2));
    EXPECT_EQ(capture.records()[0].indent, 0u) << "the indent follows the entry";
    expectRegistrationTrace(capture.records()[1], leaves);
}

TEST(TheTraceOfARegistration, DoesNotTakeAnEarlierExceptionForItsOwn) {
    setChannelMask(registrationChannel, leaves);
    LogCapture const capture;
    struct RegistersAtItsEnd {
        ~RegistersAtItsEnd() { declare({}); }
    };
    try {
        RegistersAtItsEnd const guard;
        throw 1;
    } catch (int) {
        EXPECT_NE(getFeature("Alpha"), nullptr);
    }
    ASSERT_THAT(capture.records(), SizeIs(1));
    EXPECT_EQ(capture.records()[0].message, capture.records()[0].function);
}

TEST(ARegistration, IsFiledAfterItsRecordsAndBeforeItsEnd) {
    setChannelMask(registrationChannel, ~0u);
    setChannelMask(lookupChannel, 0);
    ScopedEnvironment const environment("QZ_FEATURE_Alpha", "2");
    std::map<unsigned, bool> isThere;
    // Looking up from within a record also shows that the registry is not locked meanwhile.
    LogCapture const capture([&](Record const& record) {
        isThere[record.severity] = getFeature("Alpha") != nullptr && getFeatureIgnoreCase("alpha") != nullptr;
    });
    declare({});
    EXPECT_THAT(isThere,
                ElementsAre(testing::Pair(parameters, false),
                            testing::Pair(changes, false),
                            testing::Pair(entries, false),
                            testing::Pair(leaves, true)));
}

TEST(ARegistration, MayRegisterFromWithinItsRecords) {
    setChannelMask(registrationChannel, ~0u);
    LogCapture const capture([](Record const& record) {
        if (record.message.starts_with(" featureName=Alpha")) declare({.scope = Scope::ZOR, .name = "Beta"});
    });
    declare({.scope = Scope::ZOR, .name = "Alpha"});
    EXPECT_EQ(zor::getDataIndex("Beta"), 0u);
    EXPECT_EQ(zor::getDataIndex("Alpha"), 1u);
}

TEST(ARegistration, ThatFailsInAnyRecordHasRegisteredNothing) {
    for (unsigned const severity : {entries, parameters}) {
        SCOPED_TRACE(severity);
        std::string const name = "Feature " + std::to_string(severity);
        setChannelMask(registrationChannel, severity);
        {
            LogCapture const capture([](Record const&) { throw std::runtime_error("disk full"); });
            EXPECT_EQ(textThrown<std::runtime_error>(
                          [&] { declare({.scope = Scope::ZOR, .name = name, .module = "m1"}); }),
                      "disk full");
        }
        EXPECT_TRUE(isUnknown(name));
        declare({.scope = Scope::ZOR, .name = name, .module = "m2"});
        EXPECT_NE(getFeature(name), nullptr);
    }
    EXPECT_EQ(zor::getDataIndex("Feature 32"), 0u);
    EXPECT_EQ(zor::getDataIndex("Feature 2"), 1u);
}

TEST(TheRecordOfAFeature, StaysWhereItIsWhileOthersAreRegistered) {
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    detail::State const* const process = process::getDataPtr("process");
    detail::State const* const zor = zor::getDataPtr(0);
    for (int number = 0; number < 3'000; ++number) {
        declare({.scope = Scope::PROCESS, .name = "process " + std::to_string(number)});
        declare({.scope = Scope::ZOR, .name = "zor " + std::to_string(number)});
    }
    EXPECT_EQ(zor::getDataPtr(3'000)->defaultValue, 0);
    EXPECT_EQ(process::getDataPtr("process"), process);
    EXPECT_EQ(zor::getDataPtr(0), zor);
}

TEST(RacingRegistrations, OfOneNameLetOneModuleWin) {
    constexpr int count = 8;
    setChannelMask(registrationChannel, 0);
    for (int round = 0; round < 50; ++round) {
        std::string const name = "feature" + std::to_string(round);
        Scope const scope = round % 2 == 0 ? Scope::PROCESS : Scope::ZOR;
        std::vector<std::string> texts(count);
        runTogether(count, [&](int number) {
            try {
                declare({.scope = scope,
                         .name = name,
                         .defaultValue = number,
                         .module = "m" + std::to_string(number)});
            } catch (std::logic_error const& error) {
                texts[static_cast<std::size_t>(number)] = error.what();
            }
        });
        auto const feature = getFeature(name);
        ASSERT_NE(feature, nullptr);
        int const winner = feature->get();
        std::string const winningModule = "m" + std::to_string(winner);
        EXPECT_EQ(feature->getModule(), winningModule);
        for (int number = 0; number < count; ++number) {
            std::string const module = "m" + std::to_string(number);
            EXPECT_EQ(texts[static_cast<std::size_t>(number)],
                      number == winner ? ""
                                       : "feature registered twice: " + name + ": modules: " + winningModule +
                                             " and " + module);
        }
    }
    EXPECT_EQ(getAllFeatures().size(), 50u);
}

TEST(RacingRegistrations, OfOneModuleInBothScopesLetOneScopeWin) {
    constexpr int count = 8;
    setChannelMask(registrationChannel, 0);
    std::size_t perInstance = 0;
    for (int round = 0; round < 50; ++round) {
        std::string const name = "feature" + std::to_string(round);
        std::atomic<int> refused = 0;
        runTogether(count, [&](int number) {
            try {
                declare({.scope = number % 2 == 0 ? Scope::PROCESS : Scope::ZOR, .name = name});
            } catch (std::logic_error const& error) {
                EXPECT_EQ(error.what(), "feature not found: " + name);
                ++refused;
            }
        });
        EXPECT_EQ(refused, count / 2);
        auto const feature = getFeature(name);
        ASSERT_NE(feature, nullptr);
        if (feature->getScope() == Scope::ZOR) {
            EXPECT_EQ(zor::getDataIndex(name), perInstance++);
        }
    }
    EXPECT_EQ(getAllFeatures().size(), 50u);
}

TEST(RacingRegistrations, GiveEachFeatureAnIndexOfItsOwn) {
    constexpr int threads = 4;
    constexpr int each = 100;
    setChannelMask(registrationChannel, 0);
    runTogether(threads, [](int thread) {
        for (int number = 0; number < each; ++number) {
            std::string const own = std::to_string(thread) + '/' + std::to_string(number);
            declare({.scope = Scope::ZOR, .name = own});
            declare({.scope = Scope::ZOR, .name = "everybody's " + std::to_string(number)});
            declare({.scope = Scope::PROCESS, .name = "process " + own});
        }
    });
    std::set<std::size_t> indices;
    for (std::string const& name : allNames()) {
        if (!name.starts_with("process")) indices.insert(zor::getDataIndex(name));
    }
    ASSERT_THAT(indices, SizeIs((threads + 1) * each));
    EXPECT_EQ(*indices.begin(), 0u);
    EXPECT_EQ(*indices.rbegin(), indices.size() - 1);
}

TEST(RacingRegistrations, AreSeenByLookupsAsOneStep) {
    constexpr int count = 300;
    setChannelMask(registrationChannel, 0);
    auto const nameOf = [](int number) { return "Feature" + std::to_string(number); };
    auto const watch = [&](auto const& find) {
        for (int number = 0; number < count;) {
            std::unique_ptr<IFeature> const feature = find(number);
            if (!feature) continue;
            EXPECT_EQ(feature->getName(), nameOf(number));
            EXPECT_EQ(feature->getLine(), number) << "what is found is complete";
            ++number;
        }
    };
    runTogether(3, [&](int role) {
        switch (role) {
        case 0:
            for (int number = 0; number < count; ++number) {
                declare({.scope = static_cast<Scope>(number % 2), .name = nameOf(number), .line = number});
            }
            break;
        case 1:
            watch([&](int number) { return getFeature(nameOf(number)); });
            break;
        default:
            watch([](int number) { return getFeatureIgnoreCase("feature" + std::to_string(number)); });
            break;
        }
    });
    EXPECT_EQ(getAllFeatures().size(), static_cast<std::size_t>(count));
}

}  // namespace
}  // namespace foundation::feature::management::test
