#include <foundation/feature/management.hpp>

#include <foundation/json/Value.hpp>
#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <LogCapture.hpp>
#include <ScopedEnvironment.hpp>

#include "AllocationWatch.hpp"
#include "FailingAllocations.hpp"
#include "RegistryTest.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace foundation::feature::management::test {
namespace {

using foundation::log::setChannelMask;
using foundation::test::LogCapture;
using foundation::test::ScopedEnvironment;
using testing::ElementsAre;
using testing::SizeIs;
using usm::CurrentEngineInstance;
using usm::EngineInstance;

/// "feature" with the letters in capitals that the bits of `pattern` choose.
std::string spelled(std::size_t pattern) {
    std::string text = "feature";
    for (std::size_t letter = 0; letter < text.size(); ++letter) {
        if (((pattern >> letter) & 1) != 0) text[letter] = static_cast<char>(text[letter] - 32);
    }
    return text;
}

/// Registers under failing allocations, each try from another module and, when respelled, with other letters
/// in capitals: what an earlier try left in any table shows as a conflict or as a lookup that finds the wrong
/// spelling.
class ARegistration : public testing::TestWithParam<std::tuple<Scope, bool>> {
protected:
    Scope scope = std::get<0>(GetParam());
    bool isRespelled = std::get<1>(GetParam());

    void registerUntilNothingFails(std::size_t count) {
        std::string const number = std::to_string(count);
        std::string name;
        Outcome outcome{.thrown = "", .ranOut = true};
        for (std::size_t failing = 1; outcome.thrown; ++failing) {
            ASSERT_LT(failing, 128u) << "there is no other spelling";
            SCOPED_TRACE(failing);
            name = spelled(isRespelled ? failing : 1) + number;
            Declaration declaration{.scope = scope, .name = name, .module = "m" + std::to_string(failing)};
            outcome = runWithFailingAllocation(failing, [&] { declare(std::move(declaration)); });
            if (!outcome.thrown) break;
            ASSERT_TRUE(outcome.ranOut) << *outcome.thrown;
            ASSERT_TRUE(isUnknown(name));
            ASSERT_TRUE(isUnknown("feature" + number));
            ASSERT_THAT(getAllFeatures(), SizeIs(count));
        }
        ASSERT_FALSE(outcome.ranOut) << "it succeeds when nothing fails, and not before";
        ASSERT_NE(getFeature(name), nullptr);
        ASSERT_EQ(getFeature(name)->getScope(), scope);
        ASSERT_EQ(getFeatureIgnoreCase("feature" + number)->getName(), name);
        ASSERT_THAT(getAllFeatures(), SizeIs(count + 1));
        if (scope == Scope::ZOR) {
            ASSERT_EQ(zor::getDataIndex(name), count);
        }
    }
};

INSTANTIATE_TEST_SUITE_P(InEachScope,
                         ARegistration,
                         testing::Combine(testing::Values(Scope::PROCESS, Scope::ZOR), testing::Bool()),
                         [](auto const& row) {
                             return std::string(std::get<0>(row.param) == Scope::ZOR ? "zor" : "process") +
                                    (std::get<1>(row.param) ? "Respelled" : "");
                         });

TEST_P(ARegistration, IsWholeOrNotThereWhenMemoryRunsOut) {
    // As many features as make each table grow several times: growth may fail as well.
    for (std::size_t count = 0; count < 70; ++count) {
        SCOPED_TRACE(count);
        registerUntilNothingFails(count);
        if (HasFatalFailure()) return;
    }
}

TEST(AFirstRegistration, ThatRanOutOfMemorySucceedsLaterAsIfForTheFirstTime) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "zor" : "process";
        std::string const component(1'000, 'c');
        Outcome outcome{.thrown = "", .ranOut = true};
        for (std::size_t failing = 1; outcome.thrown; ++failing) {
            outcome = runWithFailingAllocation(failing, [&] {
                registerFeature(scope, name, 3, "Beta", "client", "file", 7, component, "m1");
            });
        }
        EXPECT_FALSE(outcome.ranOut);
        auto const feature = getFeature(name);
        ASSERT_NE(feature, nullptr);
        EXPECT_EQ(feature->get(), 3);
        EXPECT_EQ(feature->getComponent(), component);
        EXPECT_EQ(feature->getModule(), "m1");
    }
    EXPECT_EQ(zor::getDataIndex("zor"), 0u);
}

TEST(ARepeatedRegistration, ThatRunsOutOfMemoryLeavesTheFirst) {
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        std::string const name = scope == Scope::ZOR ? "Zor" : "Process";
        std::string const lower = scope == Scope::ZOR ? "zor" : "process";
        declare({.scope = scope, .name = name, .defaultValue = 3, .module = "m1"});
        auto const feature = getFeature(name);
        feature->set(4);
        detail::State const* const record = feature->getState();
        failEachAllocation(
            [&] { declare({.scope = scope, .name = name, .defaultValue = 5, .module = "m1"}); },
            [&](Outcome const&) {
                EXPECT_EQ(getFeature(name)->getState(), record);
                EXPECT_EQ(getFeatureIgnoreCase(lower)->getState(), record);
                EXPECT_EQ(record->value, 4);
                EXPECT_EQ(record->defaultValue, 3);
            });
    }
    EXPECT_THAT(allNames(), ElementsAre("Zor", "Process"));
    EXPECT_EQ(zor::getDataIndex("Zor"), 0u);
    declare({.scope = Scope::ZOR, .name = "next"});
    EXPECT_EQ(zor::getDataIndex("next"), 1u);
}

TEST(ARefusedRegistration, ThatRunsOutOfMemoryLeavesTheFirst) {
    declare({.scope = Scope::PROCESS, .name = "Process", .module = "m1"});
    declare({.scope = Scope::ZOR, .name = "Zor", .module = "m1"});
    std::vector<Declaration> const refused = {
        {.scope = Scope::PROCESS, .name = "Process", .defaultValue = 5, .module = "m2"},
        {.scope = Scope::ZOR, .name = "Process", .defaultValue = 5, .module = "m1"},
        {.scope = Scope::ZOR, .name = "Zor", .defaultValue = 5, .module = "m2"},
        {.scope = Scope::PROCESS, .name = "Zor", .defaultValue = 5, .module = "m1"},
        {.scope = Scope::ZOR, .name = "Invalid", .state = "on"},
    };
    for (Declaration const& declaration : refused) {
        SCOPED_TRACE(declaration.name + " " + declaration.module);
        failEachAllocation(
            [&] {
                try {
                    declare(declaration);
                } catch (std::logic_error const&) {
                    return;
                }
                FAIL() << "nothing was thrown";
            },
            [&](Outcome const&) { EXPECT_THAT(allNames(), ElementsAre("Zor", "Process")); });
    }
    EXPECT_EQ(getFeature("Process")->getDefaultValue(), 0);
    EXPECT_EQ(getFeature("Zor")->getDefaultValue(), 0);
    EXPECT_EQ(zor::getDataIndex("Zor"), 0u);
    EXPECT_EQ(getFeatureIgnoreCase("invalid"), nullptr);
}

TEST(AnOverriddenRegistration, ThatRunsOutOfMemoryIsWholeOrNotThere) {
    std::vector<std::unique_ptr<ScopedEnvironment>> environment;
    for (int number = 0; number < 100; ++number) {
        environment.push_back(
            std::make_unique<ScopedEnvironment>("QZ_FEATURE_feature" + std::to_string(number), "5"));
    }
    int number = 0;
    int registered = 0;
    failEachAllocation([&] { declare({.name = "feature" + std::to_string(number)}); },
                       [&](Outcome const& outcome) {
                           std::string const name = "feature" + std::to_string(number++);
                           if (outcome.thrown) {
                               EXPECT_TRUE(isUnknown(name));
                           } else {
                               // An override that cannot be worked out is given up.
                               EXPECT_THAT(getFeature(name)->get(), testing::AnyOf(0, 5));
                               ++registered;
                           }
                           EXPECT_THAT(getAllFeatures(), SizeIs(registered));
                       });
    EXPECT_EQ(getFeature("feature" + std::to_string(number))->get(), 5);
}

TEST(ARegistrationWithItsRecords, ThatRunsOutOfMemoryHasRegisteredNothing) {
    setChannelMask(registrationChannel, ~0u);
    LogCapture const capture;
    int number = 0;
    failEachAllocation([&] { declare({.scope = Scope::ZOR, .name = "FEATURE" + std::to_string(number)}); },
                       [&](Outcome const& outcome) {
                           std::string const name = "FEATURE" + std::to_string(number++);
                           EXPECT_EQ(getFeature(name) == nullptr, outcome.thrown.has_value());
                       });
    EXPECT_EQ(zor::getDataIndex("FEATURE" + std::to_string(number)), getAllFeatures().size() - 1);
}

TEST(AnEngineInstance, ThatRunsOutOfMemoryGrowsLater) {
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    std::vector<detail::State*> records;
    for (std::size_t index = 0; index < 70; ++index) {
        SCOPED_TRACE(index);
        declare({.scope = Scope::ZOR,
                 .name = "feature" + std::to_string(index),
                 .defaultValue = static_cast<int>(index)});
        detail::State* record = nullptr;
        failEachAllocation([&] { record = zor::getDataPtr(index); },
                           [&](Outcome const& outcome) {
                               EXPECT_EQ(outcome.thrown, "std::bad_alloc");
                               for (std::size_t known = 0; known < index; ++known) {
                                   EXPECT_EQ(zor::getDataPtr(known), records[known]);
                                   EXPECT_EQ(records[known]->defaultValue, static_cast<int>(known));
                               }
                           });
        ASSERT_NE(record, nullptr);
        EXPECT_EQ(record->defaultValue, static_cast<int>(index));
        records.push_back(record);
    }
}

TEST(AnEngineInstance, ThatRunsOutOfMemoryOnItsFirstCallStartsLater) {
    for (std::size_t index = 0; index < 20; ++index) {
        declare({.scope = Scope::ZOR,
                 .name = "feature" + std::to_string(index),
                 .defaultValue = static_cast<int>(index)});
    }
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    detail::State* record = nullptr;
    failEachAllocation([&] { record = zor::getDataPtr(7); },
                       [](Outcome const& outcome) { EXPECT_EQ(outcome.thrown, "std::bad_alloc"); });
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(zor::getDataPtr(7), record);
    for (std::size_t index = 0; index < 20; ++index) {
        EXPECT_EQ(zor::getDataPtr(index)->defaultValue, static_cast<int>(index));
    }
}

TEST(ALookup, ThatRunsOutOfMemoryFindsNothingAndThrowsNothing) {
    declare({.scope = Scope::PROCESS, .name = "Process"});
    declare({.scope = Scope::ZOR, .name = "Zor"});
    for (char const* const name : {"Process", "Zor", "process", "zor"}) {
        SCOPED_TRACE(name);
        std::string const query = name;
        getFeatureIgnoreCase(query);
        getFeature(query);
        std::unique_ptr<IFeature> feature;
        auto const exact = [&] { feature = getFeature(query); };
        auto const ignoringCase = [&] { feature = getFeatureIgnoreCase(query); };
        EXPECT_EQ(runWithFailingAllocation(1, exact, true).thrown, std::nullopt);
        EXPECT_EQ(feature, nullptr);
        EXPECT_EQ(runWithFailingAllocation(1, ignoringCase, true).thrown, std::nullopt);
        EXPECT_EQ(feature, nullptr);
        failEachAllocation(ignoringCase,
                           [](Outcome const& outcome) { EXPECT_EQ(outcome.thrown, std::nullopt); });
        EXPECT_NE(feature, nullptr);
    }
}

TEST(TheListOfAllFeatures, IsCompleteAgainAfterMemoryRanOut) {
    for (int number = 0; number < 5; ++number) {
        declare({.scope = static_cast<Scope>(number % 2), .name = "feature" + std::to_string(number)});
    }
    std::vector<std::unique_ptr<IFeature>> features;
    failEachAllocation([&] { features = getAllFeatures(); },
                       [](Outcome const& outcome) { EXPECT_EQ(outcome.thrown, "std::bad_alloc"); });
    EXPECT_THAT(features, SizeIs(5));
}

TEST(TheRecordOfAFeature, IsFoundAgainAfterMemoryRanOut) {
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    auto const missing = [](auto const& call) {
        failEachAllocation(
            [&] {
                try {
                    call();
                } catch (std::out_of_range const&) {
                    return;
                }
                FAIL() << "nothing was thrown";
            },
            [](Outcome const&) {});
    };
    missing([] { process::getDataPtr("zor"); });
    missing([] { process::getDataPtr("nobody"); });
    missing([] { zor::getDataIndex("process"); });
    missing([] { zor::getDataIndex("nobody"); });
    missing([] { zor::getDataPtr(1); });
    EXPECT_NE(process::getDataPtr("process"), nullptr);
    EXPECT_EQ(zor::getDataIndex("zor"), 0u);
    EXPECT_NE(zor::getDataPtr(0), nullptr);
}

TEST(ADescriptorList, ThatRunsOutOfMemoryMayBeRegisteredAgain) {
    using Object = std::map<std::string, json::Value>;
    std::vector<json::Value> features;
    for (char const* const name : {"one", "other", "third"}) {
        features.emplace_back(
            Object{{"name", name}, {"FctrlState", "Beta"}, {"defaultValue", "7"}, {"line", 1.5}});
    }
    fl::filesystem::path const file(u"a path that is too long to be kept within a string.json");
    std::size_t registered = 0;
    failEachAllocation([&] { registerFeatures(features, file, "component", "module", "client"); },
                       [&](Outcome const& outcome) {
                           std::size_t const now = getAllFeatures().size();
                           EXPECT_GE(now, registered);
                           EXPECT_LE(now, 3u);
                           // Whatever keeps the first key of the state from being read, the second one is
                           // tried.
                           if (!outcome.thrown) {
                               EXPECT_EQ(now, 3u);
                           }
                           registered = now;
                           for (std::string const& name : allNames()) {
                               EXPECT_EQ(getFeature(name)->getDefaultValue(), 7);
                               EXPECT_EQ(getFeature(name)->getLine(), 1);
                           }
                       });
    for (std::size_t index = 0; index < 3; ++index) {
        EXPECT_EQ(zor::getDataIndex(features[index].get<Object>().at("name").get<std::string>()), index);
    }
}

/// How often `call` allocates room for a text of this length, whatever a string rounds it up to.
template <class Call>
std::size_t countCopies(std::size_t length, Call const& call) {
    AllocationWatch const watch({.smallest = length + 1, .largest = (length | 15) + 1});
    call();
    return watch.countOfSize();
}

struct Texts {
    std::string name;
    std::string clientdir = std::string(10'000, 'd');
    std::string file = std::string(20'000, 'f');
    std::string component = std::string(30'000, 'c');
    std::string module = std::string(40'000, 'm');
};

/// The copies of a text of this length that one registration of `texts` makes.
std::size_t countCopies(std::size_t length, Scope scope, Texts texts) {
    std::string state = "Beta";
    return countCopies(length, [&] {
        registerFeature(scope,
                        std::move(texts.name),
                        0,
                        std::move(state),
                        std::move(texts.clientdir),
                        std::move(texts.file),
                        7,
                        std::move(texts.component),
                        std::move(texts.module));
    });
}

TEST(TheTextsOfARegistration, AreCopiedNoMoreOftenThanTheyAreKept) {
    // This length and that of the variable's name, which is eleven longer, are not rounded up to the same
    // size.
    constexpr std::size_t nameLength = 105;
    foundation::log::setChannelMask(registrationChannel, 0);
    declare({.scope = Scope::PROCESS, .name = "warm up"});
    declare({.scope = Scope::ZOR, .name = "warm up too"});
    char letter = 'a';
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        auto const fresh = [&] { return Texts{.name = std::string(nameLength, letter++)}; };
        // Kept four times, twice of it in the lower-case name table; the argument itself is one of them.
        EXPECT_LE(countCopies(nameLength, scope, fresh()), 3u);
        // A record's texts are constant: moving the record to where it stays copies them, once.
        EXPECT_LE(countCopies(10'000, scope, fresh()), 1u);
        EXPECT_LE(countCopies(20'000, scope, fresh()), 1u);
        EXPECT_LE(countCopies(30'000, scope, fresh()), 1u);
        // The module is kept by the table of modules as well: copied into the record first.
        EXPECT_LE(countCopies(40'000, scope, fresh()), 2u);

        // They are kept, so they cannot all have gone uncounted.
        EXPECT_GE(countCopies(nameLength, scope, fresh()), 1u);
        EXPECT_GE(countCopies(40'000, scope, fresh()), 1u);
    }
}

TEST(TheTextsOfARepeatedRegistration, AreCopiedNoMoreOftenThanThoseOfTheFirst) {
    foundation::log::setChannelMask(registrationChannel, 0);
    for (Scope const scope : {Scope::PROCESS, Scope::ZOR}) {
        SCOPED_TRACE(scope);
        Texts const texts{.name = std::string(105, scope == Scope::ZOR ? 'z' : 'p')};
        countCopies(0, scope, texts);
        EXPECT_LE(countCopies(105, scope, texts), 3u);
        EXPECT_LE(countCopies(10'000, scope, texts), 1u);
        EXPECT_LE(countCopies(20'000, scope, texts), 1u);
        EXPECT_LE(countCopies(30'000, scope, texts), 1u);
        EXPECT_LE(countCopies(40'000, scope, texts), 2u);
    }
}

/// How often `call` allocates.
template <class Call>
std::size_t countAllocations(Call const& call) {
    AllocationWatch const watch({});
    call();
    return watch.count();
}

TEST(AHandleThatHasFoundItsFeature, AllocatesNothingWhenRead) {
    declare({.scope = Scope::PROCESS, .name = "process", .defaultValue = 1});
    declare({.scope = Scope::ZOR, .name = "zor", .defaultValue = 1});
    for (char const* const name : {"process", "zor"}) {
        SCOPED_TRACE(name);
        auto const feature = getFeature(name);
        int sum = feature->get();
        std::size_t count = 0;
        {
            AllocationWatch const watch({});
            for (int number = 0; number < 100; ++number)
                sum += feature->get() + (feature->isActive() ? 1 : 0);
            count = watch.count();
        }
        EXPECT_EQ(count, 0u);
        EXPECT_EQ(sum, 201);
    }
}

TEST(ALookup, ThatFindsItsFeatureAllocatesTheHandleAlone) {
    declare({.scope = Scope::PROCESS, .name = "a process-wide feature with a long name"});
    declare({.scope = Scope::ZOR, .name = "a per-instance feature with a long name"});
    for (std::string const name :
         {"a process-wide feature with a long name", "a per-instance feature with a long name"}) {
        SCOPED_TRACE(name);
        getFeature(name);
        getFeatureIgnoreCase(name);
        std::unique_ptr<IFeature> feature;
        EXPECT_EQ(countAllocations([&] { feature = getFeature(name); }), 1u);
        EXPECT_EQ(countAllocations([&] { feature = getFeatureIgnoreCase(name); }), 1u);
        ASSERT_NE(feature, nullptr);
    }
}

TEST(ALookup, OfAnUnknownNameAllocatesNothing) {
    std::string const name = "a name that nobody has registered";
    getFeature(name);
    EXPECT_EQ(countAllocations([&] { getFeature(name); }), 0u);
}

/// The allocations of a signal of the same kind with as many slots, when it is fired once.
std::size_t countAllocationsOfFiring(IFeature const& feature, int slotCount) {
    detail::State::Signal signal;
    for (int slot = 0; slot < slotCount; ++slot)
        signal.connect([](IFeature const&) {}, boost::signals2::at_back);
    signal(feature);
    return countAllocations([&] { signal(feature); });
}

TEST(AChange, AllocatesWhatTheSignalDoes) {
    foundation::log::setChannelMask("foundation::feature::set", 0);
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    for (char const* const name : {"process", "zor"}) {
        SCOPED_TRACE(name);
        auto const feature = getFeature(name);
        for (int watcherCount = 0; watcherCount <= 3; ++watcherCount) {
            SCOPED_TRACE(watcherCount);
            feature->set(1);
            feature->set(0);
            EXPECT_EQ(countAllocations([&] { feature->set(1); }),
                      countAllocationsOfFiring(*feature, watcherCount));
            EXPECT_EQ(countAllocations([&] { feature->set(1); }), 0u);  // the value that it has
            feature->addCallback([](IFeature const&) {});
        }
    }
}

TEST(ARecordThatIsNotWritten, AllocatesNothing) {
    foundation::log::setChannelMask("*", 0);
    declare({.scope = Scope::PROCESS, .name = "process"});
    declare({.scope = Scope::ZOR, .name = "zor"});
    process::getDataPtr("process");
    zor::getDataPtr(zor::getDataIndex("zor"));
    std::string const processName = "process";
    std::string const zorName = "zor";
    // These write records of a severity each, and have nothing else to allocate for.
    EXPECT_EQ(countAllocations([&] { process::getDataPtr(processName); }), 0u);
    EXPECT_EQ(countAllocations([&] { zor::getDataIndex(zorName); }), 0u);
    EXPECT_EQ(countAllocations([] { zor::getDataPtr(0); }), 0u);
    foundation::log::setChannelMask(lookupChannel, 2);
    LogCapture const capture;
    EXPECT_GT(countAllocations([&] { process::getDataPtr(processName); }), 0u);  // so they are seen
}

}  // namespace
}  // namespace foundation::feature::management::test
