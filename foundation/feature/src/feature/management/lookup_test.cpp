#include <foundation/feature/Feature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <LogCapture.hpp>
#include <ScopedEnvironment.hpp>

#include "RegistryTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <ctime>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace foundation::feature::management::test {
namespace {

using foundation::log::setChannelMask;
using foundation::test::LogCapture;
using foundation::test::Record;
using foundation::test::ScopedEnvironment;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using usm::CurrentEngineInstance;
using usm::EngineInstance;

TEST(ALookup, OfAnUnknownNameFindsNothing) {
    declare({.name = "Alpha"});
    declare({.scope = Scope::ZOR, .name = "Beta"});
    std::string const names[] = {"Gamma",
                                 "",
                                 " ",
                                 "Alpha ",
                                 " Alpha",
                                 "Alph",
                                 "Alphabet",
                                 std::string("Alpha\0", 6),
                                 "\xC3\xA4\xFF",
                                 std::string(1'000'000, 'x')};
    for (std::string const& name : names) {
        SCOPED_TRACE(name.substr(0, 20));
        EXPECT_NO_THROW(EXPECT_EQ(getFeature(name), nullptr));
        EXPECT_NO_THROW(EXPECT_EQ(getFeatureIgnoreCase(name), nullptr));
    }
}

TEST(ALookup, OfAnEmptyRegistryFindsNothing) {
    EXPECT_EQ(getFeature("Alpha"), nullptr);
    EXPECT_EQ(getFeatureIgnoreCase("alpha"), nullptr);
    EXPECT_THAT(getAllFeatures(), IsEmpty());
}

TEST(ALookup, HandsOutAHandleOfTheFeaturesScope) {
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    auto const process = getFeature("process");
    auto const perInstance = getFeature("zor");
    EXPECT_EQ(process->getScope(), Scope::PROCESS);
    EXPECT_NE(dynamic_cast<Feature<Scope::PROCESS>*>(process.get()), nullptr);
    EXPECT_EQ(perInstance->getScope(), Scope::ZOR);
    EXPECT_NE(dynamic_cast<Feature<Scope::ZOR>*>(perInstance.get()), nullptr);
}

TEST(ALookup, FindsAgainWhatItMissedOnceThatIsRegistered) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "zor" : "process";
        ASSERT_EQ(getFeature(name), nullptr);
        ASSERT_THROW(process::getDataPtr(name), std::out_of_range);
        ASSERT_THROW(zor::getDataIndex(name), std::out_of_range);
        declare({.scope = scope, .name = name});
        EXPECT_NE(getFeature(name), nullptr);
    }
}

TEST(ALookupIgnoringCase, FindsByTheLowerCaseFormOnly) {
    setChannelMask(lookupChannel, details);
    declare({.name = "myFeature"});
    LogCapture const capture;

    auto const feature = getFeatureIgnoreCase("myfeature");
    ASSERT_NE(feature, nullptr);
    EXPECT_EQ(feature->getName(), "myFeature");
    EXPECT_THAT(written(capture, lookupChannel),
                ElementsAre("8:  using feature name \"myFeature\" instead of \"myfeature\""));
}

TEST(ALookupIgnoringCase, DoesNotFoldTheQuery) {
    setChannelMask(lookupChannel, ~(entries | leaves | parameters));
    declare({.name = "myFeature"});
    declare({.scope = Scope::ZOR, .name = "myOther"});
    LogCapture const capture;
    EXPECT_EQ(getFeatureIgnoreCase("MyFeature"), nullptr);
    EXPECT_EQ(getFeatureIgnoreCase("MYFEATURE"), nullptr);
    EXPECT_EQ(getFeatureIgnoreCase("myfeaturE"), nullptr);
    EXPECT_EQ(getFeatureIgnoreCase("MyOther"), nullptr);
    EXPECT_EQ(getFeature("myfeature"), nullptr) << "nor does the exact lookup fold";
    EXPECT_EQ(getFeature("myother"), nullptr);
    EXPECT_THAT(written(capture, lookupChannel), IsEmpty());
}

TEST(ALookupIgnoringCase, FindsTheExactNameFirstAndInSilence) {
    setChannelMask(lookupChannel, ~(entries | leaves | parameters));
    declare({.scope = Scope::ZOR, .name = "Alpha"});
    declare({.scope = Scope::PROCESS, .name = "alpha"});
    declare({.name = "abc"});
    LogCapture const capture;
    EXPECT_EQ(getFeatureIgnoreCase("alpha")->getName(), "alpha");
    EXPECT_EQ(getFeatureIgnoreCase("Alpha")->getName(), "Alpha");
    EXPECT_EQ(getFeatureIgnoreCase("abc")->getName(), "abc");
    EXPECT_EQ(getFeature("abc")->getName(), "abc");
    EXPECT_THAT(written(capture, lookupChannel), IsEmpty());
}

TEST(ALookupIgnoringCase, FindsFeaturesOfBothScopes) {
    declare({.scope = Scope::PROCESS, .name = "ProcessFeature", .defaultValue = 1});
    declare({.scope = Scope::ZOR, .name = "ZorFeature", .defaultValue = 2});
    EXPECT_EQ(getFeatureIgnoreCase("processfeature")->getScope(), Scope::PROCESS);
    EXPECT_EQ(getFeatureIgnoreCase("processfeature")->get(), 1);
    EXPECT_EQ(getFeatureIgnoreCase("zorfeature")->getScope(), Scope::ZOR);
    EXPECT_EQ(getFeatureIgnoreCase("zorfeature")->get(), 2);
}

TEST(ALookupIgnoringCase, WritesWithoutHoldingTheRegistry) {
    setChannelMask(lookupChannel, details);
    declare({.name = "myFeature"});
    int found = 0;
    LogCapture const capture([&](Record const& record) {
        if (!record.message.starts_with(" using")) return;
        found += getFeature("myFeature") != nullptr ? 1 : 0;
        declare({.scope = Scope::ZOR, .name = "registered meanwhile"});
        zor::getDataPtr(zor::getDataIndex("registered meanwhile"));
    });
    EXPECT_NE(getFeatureIgnoreCase("myfeature"), nullptr);
    EXPECT_EQ(found, 1);
    EXPECT_NE(getFeature("registered meanwhile"), nullptr);
}

TEST(TheListOfAllFeatures, HasThePerInstanceOnesFirst) {
    std::vector<std::string> perInstance;
    std::vector<std::string> perProcess;
    for (int number = 0; number < 40; ++number) {
        perProcess.push_back("process " + std::to_string(number));
        declare({.scope = Scope::PROCESS, .name = perProcess.back()});
        perInstance.push_back("zor " + std::to_string(number));
        declare({.scope = Scope::ZOR, .name = perInstance.back()});
    }
    declare({.scope = Scope::ZOR, .name = "zor 0"});
    declare({.scope = static_cast<Scope>(2), .name = "nowhere"});

    std::vector<std::unique_ptr<IFeature>> const features = getAllFeatures();
    ASSERT_THAT(features, SizeIs(80));
    for (std::size_t position = 0; position < features.size(); ++position) {
        EXPECT_EQ(features[position]->getScope(), position < 40 ? Scope::ZOR : Scope::PROCESS);
    }
    std::vector<std::string> const names = allNames();
    EXPECT_THAT(std::vector(names.begin(), names.begin() + 40),
                testing::UnorderedElementsAreArray(perInstance));
    EXPECT_THAT(std::vector(names.begin() + 40, names.end()), testing::UnorderedElementsAreArray(perProcess));
}

TEST(TheListOfAllFeatures, HasHandlesThatLookNothingUpYet) {
    declare({.scope = Scope::PROCESS, .name = "process", .defaultValue = 1});
    declare({.scope = Scope::ZOR, .name = "zor", .defaultValue = 2});
    setChannelMask(lookupChannel, parameters);
    LogCapture const capture;
    auto const features = getAllFeatures();
    EXPECT_THAT(written(capture, lookupChannel), IsEmpty());
    ASSERT_THAT(features, SizeIs(2));
    EXPECT_EQ(features[0]->get(), 2);
    EXPECT_EQ(features[1]->get(), 1);
    EXPECT_THAT(written(capture, lookupChannel),
                ElementsAre("2:  name=zor", "2:  index=0", "2:  name=process"));
}

TEST(AHandle, LooksItsNameUpOnceAndAnEngineInstancesRecordEachTime) {
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    setChannelMask(lookupChannel, parameters);
    LogCapture const capture;
    auto const process = getFeature("process");
    auto const perInstance = getFeatureIgnoreCase("zor");
    EXPECT_THAT(written(capture, lookupChannel), IsEmpty());
    process->get();
    process->get();
    perInstance->get();
    perInstance->get();
    EXPECT_THAT(written(capture, lookupChannel),
                ElementsAre("2:  name=process", "2:  name=zor", "2:  index=0", "2:  index=0"));
}

TEST(AHandlesName, IsTheRegistrysOwnText) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "Zor feature" : "Process feature";
        declare({.scope = scope, .name = name});
        std::string_view const view = getFeature(std::string(name))->getName();
        EXPECT_EQ(view, name);
        EXPECT_EQ(view.data()[view.size()], '\0') << "a NUL follows";

        std::string lower = name;
        lower[0] = static_cast<char>(lower[0] + 32);
        EXPECT_EQ(getFeature(name)->getName().data(), view.data());
        EXPECT_EQ(getFeatureIgnoreCase(name)->getName().data(), view.data());
        EXPECT_EQ(getFeatureIgnoreCase(lower)->getName().data(), view.data());
        EXPECT_EQ(getFeatureIgnoreCase(lower)->getName(), name);
        bool isListed = false;
        for (auto const& feature : getAllFeatures())
            isListed |= feature->getName().data() == view.data();
        EXPECT_TRUE(isListed);

        for (int number = 0; number < 2'000; ++number) {
            declare({.scope = scope, .name = name + std::to_string(number)});
        }
        EXPECT_EQ(getFeature(name)->getName().data(), view.data()) << "it stays where it is";
        EXPECT_EQ(view, name);
    }
}

TEST(AProcessFeature, HasOneRecordForEverybody) {
    declare({.scope = Scope::PROCESS});
    detail::State* const record = process::getDataPtr("Alpha");
    ASSERT_NE(record, nullptr);
    auto const feature = getFeature("Alpha");
    EXPECT_EQ(process::getDataPtr("Alpha"), record);
    EXPECT_EQ(feature->getState(), record);
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    EXPECT_EQ(process::getDataPtr("Alpha"), record);
    std::jthread([&] { EXPECT_EQ(process::getDataPtr("Alpha"), record); }).join();
    EXPECT_EQ(record->defaultValue, 0);
    EXPECT_EQ(record->module, "m1");
}

TEST(TheRecordOfAFeature, IsRefusedUnderAWrongOrUnknownName) {
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "My Zor"});
    struct Row {
        char const* name;
        std::optional<std::string> process;
        std::optional<std::string> zor;
    };
    Row const rows[] = {
        {"process", std::nullopt, "feature \"process\" is per process, not per zor"},
        {"My Zor", "feature \"My Zor\" is per zor, not per process", std::nullopt},
        {"nobody", "unregistered feature: nobody", "unregistered feature: nobody"},
        {"", "unregistered feature: ", "unregistered feature: "},
        {"Process", "unregistered feature: Process", "unregistered feature: Process"},
        {"my zor", "unregistered feature: my zor", "unregistered feature: my zor"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.name);
        if (row.process) {
            EXPECT_EQ(textThrown<std::out_of_range>([&] { process::getDataPtr(row.name); }), *row.process);
        } else {
            EXPECT_NE(process::getDataPtr(row.name), nullptr);
        }
        if (row.zor) {
            EXPECT_EQ(textThrown<std::out_of_range>([&] { zor::getDataIndex(row.name); }), *row.zor);
        } else {
            EXPECT_EQ(zor::getDataIndex(row.name), 0u);
        }
    }
}

TEST(AnIndexBeyondEveryFeature, IsRefused) {
    EXPECT_EQ(textThrown<std::out_of_range>([] { zor::getDataPtr(0); }), "zor feature #0 is out of bounds.");
    declare({.scope = Scope::PROCESS, .name = "process"});
    EXPECT_EQ(textThrown<std::out_of_range>([] { zor::getDataPtr(0); }), "zor feature #0 is out of bounds.");
    declare({.scope = Scope::ZOR, .name = "zor"});
    EXPECT_NE(zor::getDataPtr(0), nullptr);
    EXPECT_EQ(textThrown<std::out_of_range>([] { zor::getDataPtr(1); }), "zor feature #1 is out of bounds.");
    std::size_t const largest = std::numeric_limits<std::size_t>::max();
    EXPECT_EQ(textThrown<std::out_of_range>([&] { zor::getDataPtr(largest); }),
              "zor feature #" + std::to_string(largest) + " is out of bounds.");
}

TEST(AnEngineInstance, GetsCopiesOfAllFeaturesAndLaterOfTheNewOnes) {
    for (char const* const name : {"first", "second", "third"})
        declare({.scope = Scope::ZOR, .name = name});
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    detail::State* const record = zor::getDataPtr(0);
    detail::State* const third = zor::getDataPtr(2);
    declare({.scope = Scope::ZOR, .name = "fourth", .defaultValue = 4});
    EXPECT_EQ(zor::getDataPtr(3)->defaultValue, 4);
    EXPECT_EQ(zor::getDataPtr(0), record);
    EXPECT_EQ(zor::getDataPtr(2), third);
    EXPECT_EQ(textThrown<std::out_of_range>([] { zor::getDataPtr(4); }), "zor feature #4 is out of bounds.");
    EXPECT_EQ(zor::getDataPtr(0), record);
}

TEST(AnEngineInstance, HasTheRecordOfEachFeatureAtItsIndex) {
    constexpr int count = 100;
    for (int number = 0; number < count; ++number) {
        declare({.scope = Scope::ZOR, .name = "feature" + std::to_string(number), .defaultValue = number});
    }
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    for (int number = count - 1; number >= 0; --number) {
        std::size_t const index = zor::getDataIndex("feature" + std::to_string(number));
        EXPECT_EQ(index, static_cast<std::size_t>(number));
        EXPECT_EQ(zor::getDataPtr(index)->defaultValue, number);
    }
}

TEST(AnEngineInstance, KeepsItsRecordsWhereTheyAreWhileItGrows) {
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    std::vector<detail::State*> records;
    for (std::size_t index = 0; index < 1'000; ++index) {
        declare({.scope = Scope::ZOR,
                 .name = "feature" + std::to_string(index),
                 .defaultValue = static_cast<int>(index)});
        records.push_back(zor::getDataPtr(index));
    }
    for (std::size_t index = 0; index < records.size(); ++index) {
        EXPECT_EQ(zor::getDataPtr(index), records[index]);
        EXPECT_EQ(records[index]->defaultValue, static_cast<int>(index));
    }
}

TEST(EngineInstances, HaveRecordsOfTheirOwn) {
    declare({.scope = Scope::ZOR, .defaultValue = 1, .line = 42});
    auto const feature = getFeature("Alpha");
    EngineInstance one;
    EngineInstance other;
    detail::State* recordOfOne = nullptr;
    {
        CurrentEngineInstance const current(one);
        recordOfOne = feature->getState();
        EXPECT_EQ(zor::getDataPtr(0), recordOfOne);
        feature->set(7);
    }
    {
        CurrentEngineInstance const current(other);
        EXPECT_NE(feature->getState(), recordOfOne);
        EXPECT_EQ(feature->get(), 1) << "what was written in one instance is not seen in another";
        EXPECT_EQ(feature->getWriteCount(), 0u);
        EXPECT_EQ(feature->getReadCount(), 1u);
        EXPECT_EQ(feature->getLine(), 42);
        feature->set(8);
    }
    {
        CurrentEngineInstance const current(one);
        EXPECT_EQ(feature->get(), 7);
        EXPECT_EQ(feature->getState(), recordOfOne);
    }
    EXPECT_NE(feature->getState(), recordOfOne) << "the main instance is another one still";
    EXPECT_EQ(feature->get(), 1);
}

TEST(EngineInstances, AreNotWatchedThroughOneAnother) {
    declare({.scope = Scope::ZOR});
    auto const feature = getFeature("Alpha");
    EngineInstance one;
    EngineInstance other;
    int calls = 0;
    {
        CurrentEngineInstance const current(one);
        feature->addCallback([&](IFeature const&) { ++calls; });
    }
    {
        CurrentEngineInstance const current(other);
        feature->set(1);
    }
    EXPECT_EQ(calls, 1) << "the call that begins the watch";
    CurrentEngineInstance const current(one);
    feature->set(1);
    EXPECT_EQ(calls, 2);
}

TEST(EngineInstances, Nest) {
    declare({.scope = Scope::ZOR});
    auto const feature = getFeature("Alpha");
    EngineInstance one;
    EngineInstance other;
    feature->set(10);
    {
        CurrentEngineInstance const outer(one);
        feature->set(11);
        {
            CurrentEngineInstance const inner(other);
            feature->set(12);
            {
                CurrentEngineInstance const again(one);
                EXPECT_EQ(feature->get(), 11);
            }
            EXPECT_EQ(feature->get(), 12);
        }
        EXPECT_EQ(feature->get(), 11);
    }
    EXPECT_EQ(feature->get(), 10);
}

TEST(EngineInstances, ThatNobodyBoundAreTheMainInstance) {
    declare({.scope = Scope::ZOR});
    auto const feature = getFeature("Alpha");
    feature->set(5);
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    std::jthread([&] { EXPECT_EQ(feature->get(), 5); }).join();
    EXPECT_EQ(feature->get(), 0);
}

TEST(AnEngineInstance, TakesItsRecordsWithIt) {
    declare({.scope = Scope::ZOR, .defaultValue = 1});
    auto const feature = getFeature("Alpha");
    boost::signals2::connection connection;
    {
        EngineInstance engine;
        CurrentEngineInstance const current(engine);
        connection = feature->addCallback([](IFeature const&) {});
        feature->set(2);
        EXPECT_TRUE(connection.connected());
    }
    EXPECT_FALSE(connection.connected());
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    EXPECT_EQ(feature->get(), 1) << "the next instance starts afresh, wherever it lies in memory";
    EXPECT_EQ(feature->getWriteCount(), 0u);
}

TEST(AnEngineInstance, StartsWithTheOverriddenValue) {
    ScopedEnvironment environment("QZ_FEATURE_Alpha", "6");
    declare({.scope = Scope::ZOR, .defaultValue = 1});
    auto const feature = getFeature("Alpha");
    std::array<EngineInstance, 3> engines;
    for (EngineInstance& engine : engines) {
        CurrentEngineInstance const current(engine);
        EXPECT_EQ(feature->get(), 6);
        EXPECT_EQ(feature->getDefaultValue(), 1);
        EXPECT_EQ(feature->getWriteCount(), 0u);
        feature->set(9);
    }
}

TEST(ALookup, WritesItsParametersWhenAskedFor) {
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    setChannelMask(lookupChannel, parameters);
    struct Row {
        char const* says;
        std::function<void()> lookup;
        std::vector<std::string> records;
    };
    Row const rows[] = {
        {"a process record", [] { process::getDataPtr("process"); }, {"2:  name=process"}},
        {"an index", [] { zor::getDataIndex("zor"); }, {"2:  name=zor"}},
        {"an instance's record", [] { zor::getDataPtr(0); }, {"2:  index=0"}},
        {"a miss, once", [] { process::getDataPtr("a\nb"); }, {"2:  name=a\nb"}},
        {"a missing index, once", [] { zor::getDataIndex(""); }, {"2:  name="}},
        {"an index out of bounds", [] { zor::getDataPtr(1234567); }, {"2:  index=1234567"}},
        {"a name has none", [] { getFeature("zor"); }, {}},
        {"nor has a name ignoring case", [] { getFeatureIgnoreCase("zor"); }, {}},
        {"nor has the list", [] { getAllFeatures(); }, {}},
    };
    GroupingLocale const locale;
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        LogCapture const capture;
        try {
            row.lookup();
        } catch (std::out_of_range const&) {
            // The records are the same whether it is found or not.
        }
        EXPECT_EQ(written(capture, lookupChannel), row.records);
    }
}

TEST(ALookup, WritesNothingByDefault) {
    declare({.name = "Alpha"});
    declare({.scope = Scope::ZOR, .name = "Zor"});
    LogCapture const capture;
    getFeature("Alpha");
    getFeature("nobody");
    getFeatureIgnoreCase("alpha");
    getAllFeatures();
    process::getDataPtr("Alpha");
    zor::getDataPtr(zor::getDataIndex("Zor"));
    EXPECT_THROW(process::getDataPtr("Zor"), std::out_of_range);
    EXPECT_THROW(zor::getDataPtr(1), std::out_of_range);
    EXPECT_THAT(written(capture, lookupChannel), IsEmpty());
}

TEST(AnIndexOutOfBounds, IsNamedInPlainDecimalWhateverTheGlobalLocale) {
    GroupingLocale const locale;
    EXPECT_EQ(textThrown<std::out_of_range>([] { zor::getDataPtr(1234567); }),
              "zor feature #1234567 is out of bounds.");
}

struct TracedLookup {
    char const* name;  // qualified, as far as the signature must show it
    std::function<void()> succeeds;
    std::function<void()> throws;
};

std::vector<TracedLookup> tracedLookups() {
    return {
        {"foundation::feature::management::getFeature(", [] { getFeature("Alpha"); }, {}},
        {"foundation::feature::management::getFeature(", [] { getFeature("nobody"); }, {}},
        {"foundation::feature::management::getFeatureIgnoreCase(", [] { getFeatureIgnoreCase("Alpha"); }, {}},
        {"foundation::feature::management::getFeatureIgnoreCase(", [] { getFeatureIgnoreCase("alpha"); }, {}},
        {"foundation::feature::management::getAllFeatures(", [] { getAllFeatures(); }, {}},
        {"foundation::feature::management::process::getDataPtr(",
         [] { process::getDataPtr("Alpha"); },
         [] { process::getDataPtr("nobody"); }},
        {"foundation::feature::management::zor::getDataIndex(",
         [] { zor::getDataIndex("Zor"); },
         [] { zor::getDataIndex("nobody"); }},
        {"foundation::feature::management::zor::getDataPtr(",
         [] { zor::getDataPtr(0); },
         [] { zor::getDataPtr(9); }},
    };
}

void expectTrace(std::vector<Record> const& records, TracedLookup const& lookup, char const* suffix) {
    ASSERT_GE(records.size(), 2u);
    Record const& entry = records.front();
    EXPECT_EQ(entry.channel, lookupChannel);
    EXPECT_EQ(entry.severity, entries);
    EXPECT_EQ(entry.indent, 0u);
    EXPECT_THAT(entry.function, HasSubstr(lookup.name));
    EXPECT_EQ(entry.message, entry.function);
    for (std::size_t number = 1; number + 1 < records.size(); ++number) {
        EXPECT_EQ(records[number].channel, lookupChannel);
        EXPECT_EQ(records[number].indent, 1u) << records[number];
    }
    Record const& leave = records.back();
    EXPECT_EQ(leave.channel, lookupChannel);
    EXPECT_EQ(leave.severity, leaves);
    EXPECT_EQ(leave.indent, 0u);
    EXPECT_EQ(leave.message, entry.function + suffix);
}

TEST(TheTraceOfALookup, SurroundsWhatItWrites) {
    declare({.name = "Alpha"});
    declare({.scope = Scope::ZOR, .name = "Zor"});
    setChannelMask(lookupChannel, ~0u);
    for (TracedLookup const& lookup : tracedLookups()) {
        SCOPED_TRACE(lookup.name);
        {
            LogCapture const capture;
            lookup.succeeds();
            expectTrace(capture.records(), lookup, "");
        }
        if (!lookup.throws) continue;
        LogCapture const capture;
        EXPECT_THROW(lookup.throws(), std::out_of_range);
        expectTrace(capture.records(), lookup, " [throw]");
    }
}

TEST(TheTraceOfALookup, IsWrittenByHalvesWhenHalfOfItIsAskedFor) {
    declare({.name = "Alpha"});
    declare({.scope = Scope::ZOR, .name = "Zor"});
    for (TracedLookup const& lookup : tracedLookups()) {
        SCOPED_TRACE(lookup.name);
        for (unsigned const severity : {entries, leaves}) {
            SCOPED_TRACE(severity);
            setChannelMask(lookupChannel, severity);
            LogCapture const capture;
            lookup.succeeds();
            ASSERT_THAT(capture.records(), SizeIs(1));
            EXPECT_EQ(capture.records()[0].severity, severity);
            EXPECT_EQ(capture.records()[0].message, capture.records()[0].function);
        }
    }
}

TEST(TheTraceOfALookup, StandsAroundTheRecordOfTheLowerCaseFallback) {
    declare({.name = "myFeature"});
    setChannelMask(lookupChannel, ~0u);
    LogCapture const capture;
    EXPECT_NE(getFeatureIgnoreCase("myfeature"), nullptr);
    std::vector<Record> const records = capture.records();
    ASSERT_THAT(records, SizeIs(3));
    EXPECT_EQ(records[1].message, " using feature name \"myFeature\" instead of \"myfeature\"");
    EXPECT_EQ(records[1].severity, details);
    EXPECT_EQ(records[1].indent, 1u);
}

TEST(ARecordOfALookup, NamesItsWholeSource) {
    declare({.name = "Alpha"});
    declare({.scope = Scope::ZOR, .name = "Zor"});
    struct Row {
        unsigned severity;
        std::function<void()> lookup;
        std::string function;
    };
    Row const rows[] = {
        {entries,
         [] { getFeature("Alpha"); },
         "std::unique_ptr<foundation::feature::IFeature> "
         "foundation::feature::management::getFeature(std::string const&)"},
        {entries,
         [] { getFeatureIgnoreCase("Alpha"); },
         "std::unique_ptr<foundation::feature::IFeature> "
         "foundation::feature::management::getFeatureIgnoreCase(std::string const&)"},
        {details,
         [] { getFeatureIgnoreCase("alpha"); },
         "std::unique_ptr<foundation::feature::IFeature> "
         "foundation::feature::management::AllFeatures::getFeatureImpl(std::string const&, bool) const"},
        {entries,
         [] { getAllFeatures(); },
         "std::vector<std::unique_ptr<foundation::feature::IFeature>> "
         "foundation::feature::management::getAllFeatures()"},
        {entries,
         [] { process::getDataPtr("Alpha"); },
         "foundation::feature::detail::State* "
         "foundation::feature::management::process::getDataPtr(std::string const&)"},
        {entries,
         [] { zor::getDataIndex("Zor"); },
         "std::size_t foundation::feature::management::zor::getDataIndex(std::string const&)"},
        {entries,
         [] { zor::getDataPtr(0); },
         "foundation::feature::detail::State* foundation::feature::management::zor::getDataPtr(std::size_t)"},
    };
    for (Row const& row : rows) {
        setChannelMask(lookupChannel, row.severity);
        LogCapture const capture;
        row.lookup();
        ASSERT_THAT(capture.records(), SizeIs(1)) << row.function;
        EXPECT_EQ(capture.records()[0].function, row.function);
        EXPECT_EQ(capture.records()[0].file, "foundation/feature/src/feature/management");
        EXPECT_EQ(capture.records()[0].line, 0) << row.function;
    }
}

TEST(FirstCallsInOneEngineInstance, AgreeOnOneTable) {
    constexpr int count = 8;
    for (int number = 0; number < 20; ++number) {
        declare({.scope = Scope::ZOR, .name = "feature" + std::to_string(number)});
    }
    setChannelMask(lookupChannel, 0);
    for (int round = 0; round < 50; ++round) {
        EngineInstance engine;
        std::vector<detail::State*> records(count);
        runTogether(count, [&](int thread) {
            CurrentEngineInstance const current(engine);
            records[static_cast<std::size_t>(thread)] = zor::getDataPtr(7);
        });
        EXPECT_THAT(records, testing::Each(records[0]));
        CurrentEngineInstance const current(engine);
        EXPECT_EQ(zor::getDataPtr(7), records[0]);
    }
}

TEST(OneEngineInstance, IsReadWhileAnotherThreadMakesItGrow) {
    constexpr std::size_t count = 1'000;
    setChannelMask(registrationChannel, 0);
    declare({.scope = Scope::ZOR, .name = "feature0"});
    auto const feature = getFeature("feature0");
    EngineInstance engine;
    std::atomic<std::size_t> registered = 1;
    runTogether(3, [&](int role) {
        CurrentEngineInstance const current(engine);
        if (role == 0) {
            for (std::size_t index = 1; index < count; ++index) {
                declare({.scope = Scope::ZOR,
                         .name = "feature" + std::to_string(index),
                         .defaultValue = static_cast<int>(index)});
                EXPECT_EQ(zor::getDataPtr(index)->defaultValue, static_cast<int>(index));
                registered.store(index + 1);
            }
            return;
        }
        detail::State* const record = feature->getState();
        for (std::size_t known = 0; known < count;) {
            known = registered.load();
            EXPECT_EQ(feature->getState(), record);
            EXPECT_EQ(feature->get(), 0);
            EXPECT_EQ(zor::getDataPtr(known - 1)->defaultValue, static_cast<int>(known - 1));
            EXPECT_EQ(zor::getDataPtr(known / 2)->defaultValue, static_cast<int>(known / 2));
        }
    });
}

TEST(OneEngineInstance, IsGrownBySeveralThreadsAtOnce) {
    constexpr std::size_t count = 300;
    setChannelMask(registrationChannel, 0);
    EngineInstance engine;
    std::vector<std::vector<detail::State*>> records(4);
    runTogether(4, [&](int thread) {
        CurrentEngineInstance const current(engine);
        for (std::size_t number = 0; number < count; ++number) {
            std::string const name = "feature" + std::to_string(number);
            declare({.scope = Scope::ZOR, .name = name, .defaultValue = static_cast<int>(number)});
            detail::State* const record = zor::getDataPtr(zor::getDataIndex(name));
            EXPECT_EQ(record->defaultValue, static_cast<int>(number));
            records[static_cast<std::size_t>(thread)].push_back(record);
        }
    });
    EXPECT_THAT(records, testing::Each(records[0]));
}

TEST(EngineInstances, OfDifferentThreadsGrowAtOnce) {
    constexpr int count = 200;
    setChannelMask(registrationChannel, 0);
    runTogether(4, [](int thread) {
        EngineInstance engine;
        CurrentEngineInstance const current(engine);
        for (int number = 0; number < count; ++number) {
            std::string const name = std::to_string(thread) + '/' + std::to_string(number);
            declare({.scope = Scope::ZOR, .name = name, .defaultValue = number});
            auto const feature = getFeature(name);
            EXPECT_EQ(feature->get(), number);
            feature->set(-1 - thread);
            EXPECT_EQ(feature->get(), -1 - thread);
        }
    });
    for (auto const& feature : getAllFeatures()) {
        EXPECT_EQ(feature->get(), feature->getDefaultValue()) << "the main instance saw none of it";
    }
}

TEST(ALookup, RunsWhileOthersListAndRegister) {
    constexpr int count = 300;
    setChannelMask(registrationChannel, 0);
    runTogether(3, [](int role) {
        for (int number = 0; number < count; ++number) {
            std::string const name = "Feature" + std::to_string(number);
            switch (role) {
            case 0:
                declare({.scope = static_cast<Scope>(number % 2), .name = name});
                break;
            case 1:
                for (auto const& feature : getAllFeatures())
                    EXPECT_FALSE(feature->getName().empty());
                break;
            default:
                getFeature(name);
                getFeatureIgnoreCase("feature" + std::to_string(number));
                getFeature("nobody");
                break;
            }
        }
    });
    EXPECT_THAT(getAllFeatures(), SizeIs(count));
}

// Each block of features is registered and touched one by one, so that the instance's table grows by one each
// time. A block costs the same however many features there are already; were each step to look at all of
// them, the last blocks would cost about nine times the first ones. The cheapest of four blocks is taken,
// since a disturbance only ever adds.
TEST(TheCostOfTwentyThousandPerInstanceFeatures, GrowsWithTheirNumberOnly) {
    constexpr std::size_t blocks = 20;
    constexpr std::size_t blockSize = 1'000;
    constexpr std::size_t compared = 4;
    std::vector<std::clock_t> costs;
    std::size_t index = 0;
    for (std::size_t block = 0; block < blocks; ++block) {
        std::clock_t const start = std::clock();
        for (std::size_t number = 0; number < blockSize; ++number, ++index) {
            declare({.scope = Scope::ZOR,
                     .name = "feature" + std::to_string(index),
                     .defaultValue = static_cast<int>(index)});
            ASSERT_EQ(zor::getDataPtr(index)->defaultValue, static_cast<int>(index));
        }
        costs.push_back(std::clock() - start);
    }
    EXPECT_EQ(getAllFeatures().size(), blocks * blockSize);
    auto const first = *std::min_element(costs.begin(), costs.begin() + compared);
    auto const last = *std::min_element(costs.end() - compared, costs.end());
    EXPECT_LT(static_cast<double>(last), 4.0 * static_cast<double>(first))
        << "in clock ticks, of " << CLOCKS_PER_SEC << " a second";
}

}  // namespace
}  // namespace foundation::feature::management::test
