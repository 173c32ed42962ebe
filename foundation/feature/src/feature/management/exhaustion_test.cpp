#include <foundation/feature/management.hpp>

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstddef>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>
#include <foundation/feature/convert.hpp>

#include <foundation/json/Value.hpp>
#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include <ScopedEnvironment.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include "FailingAllocations.hpp"
#include "RegistryTest.hpp"
#include "exhaustion_testing.hpp"

#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using ::cppmicroservices::Any;
using ::cppmicroservices::AnyMap;
using foundation::test::ScopedEnvironment;

// No text is so short that a string keeps it without an allocation.
std::string const processName = "a process-wide feature";
std::string const zorName = "a per-instance feature";

Declaration declaration(Scope scope) {
    return {.scope = scope,
            .name = scope == Scope::ZOR ? zorName : processName,
            .defaultValue = 3,
            .clientdir = "the client's directory",
            .file = "the declaring source file",
            .component = "the declaring component",
            .module = "the declaring module"};
}

std::atomic<int> calls = 0;

/// Too large for a function object to keep within itself.
struct Watcher {
    void operator()(IFeature const&) const { ++calls; }

    std::array<char, 100> content = {};
};

int countWatchers(detail::State const& state) {
    int const before = calls;
    state.signal(Feature<Scope::PROCESS>(processName));
    return calls.exchange(before) - before;
}

/// One line a feature, by name, with all that registration and change leave.
std::string describeRegistry() {
    std::vector<std::string> lines;
    for (auto const& feature : getAllFeatures()) {
        std::ostringstream line;
        std::string const name(feature->getName());
        line << name << ": " << feature->getScope() << ' ';
        if (feature->getScope() == Scope::ZOR) {
            line << zor::getDataIndex(name);
        } else {
            detail::State const& state = *process::getDataPtr(name);
            line << state.defaultValue << ' ' << state.value << ' ' << state.writeCount << ' '
                 << state.fctrlState << ' ' << state.component << ' ' << state.module << ' '
                 << state.clientDir << ' ' << state.filename << ' ' << state.line
                 << ", watchers: " << countWatchers(state);
        }
        lines.push_back(std::move(line).str());
    }
    std::sort(lines.begin(), lines.end());
    std::string text;
    for (std::string const& line : lines)
        text += line + '\n';
    return text;
}

constexpr std::size_t templateCount = 40;

/// A value that the service framework knows only by what it writes.
struct Text {
    std::string json;

    friend std::ostream& operator<<(std::ostream& out, Text const& text) { return out << text.json; }
};

constexpr char const* typedNumbers =
    R"({"qzdata": [18446744073709551615, 1], "a further member": ["text with \\u00e9 in it", [{}]], "qztype": "uint64"})";

Any nested() {
    AnyMap inner(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    inner["a text that is long enough"] = std::string("another text that is long enough");
    inner["numbers that are signed"] = std::vector<int>{1, 2, 3};
    AnyMap outer(AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    outer["the map within the map"] = inner;
    outer["the list within the map"] = std::vector<Any>{Any(7), Any(Any(true)), Any()};
    return outer;
}

Operation registration(std::string name, Scope scope) {
    return {.name = std::move(name),
            .run = [scope] { declare(declaration(scope)); },
            .describe = describeRegistry,
            // The rule's table is made on first use, while the rules are being tried.
            .wrapped = {"fctrl: a .* feature: std::bad_alloc"}};
}

/// With a value from the environment, which must not be lost.
Operation overriddenRegistration() {
    Operation operation = registration("overriddenRegistration", Scope::PROCESS);
    operation.prepare = [] { static ScopedEnvironment const variable("QZ_FEATURE_" + processName, "1234"); };
    operation.verify = [] { EXPECT_EQ(getFeature(processName)->get(), 1234); };
    return operation;
}

Operation repeatedRegistration(std::string name, Scope scope) {
    Operation operation = registration(std::move(name), scope);
    operation.prepare = operation.run;
    return operation;
}

std::vector<json::Value> descriptors() {
    std::vector<json::Value> list;
    for (char const* const name :
         {"a feature of a list, process-wide", "b feature of a list, per instance", "c feature of a list"}) {
        list.emplace_back(std::map<std::string, json::Value>{
            {"name", name},
            {"FCtrlState", "Beta"},
            {"type",
             name[0] == 'b' ? "foundation::feature::Scope::ZOR" : "foundation::feature::Scope::PROCESS"},
            {"defaultValue", "12 of them"},
            {"line", 1.5}});
    }
    return list;
}

Operation descriptorList() {
    static std::vector<json::Value> const list = descriptors();
    return {
        .name = "descriptorList",
        .run =
            [] {
                registerFeatures(list,
                                 fl::filesystem::path(u"a path that is long enough.json"),
                                 "component",
                                 "module",
                                 std::nullopt);
            },
        .describe = describeRegistry,
        .isPart = [](std::string const& part, std::string const& whole) { return whole.starts_with(part); },
        .wrapped = {"fctrl: . feature of a list.*: std::bad_alloc",
                    "property value unsupported: \"[A-Za-z]*\"\nstd::bad_alloc",
                    // Whatever keeps the first key of the state from being read, the second one is tried.
                    "property not specified: \"FctrlState\""}};
}

void declareBoth() {
    declare(declaration(Scope::PROCESS));
    declare(declaration(Scope::ZOR));
}

void declareTemplates() {
    for (std::size_t index = 0; index < templateCount; ++index) {
        Declaration each = declaration(Scope::ZOR);
        each.name += ' ' + std::to_string(index);
        each.defaultValue = static_cast<int>(index);
        declare(each);
    }
}

/// The first access of an engine instance that has all copies yet to make.
Operation firstAccess() {
    static usm::EngineInstance engine;
    return {.name = "firstAccess",
            .prepare = declareTemplates,
            .run =
                [] {
                    usm::CurrentEngineInstance const current(engine);
                    zor::getDataPtr(templateCount - 1);
                },
            .describe = describeRegistry,
            .verify =
                [] {
                    usm::CurrentEngineInstance const current(engine);
                    for (std::size_t index = 0; index < templateCount; ++index)
                        EXPECT_EQ(zor::getDataPtr(index)->defaultValue, static_cast<int>(index));
                }};
}

void watchProcessFeature(int count) {
    for (int number = 0; number < count; ++number)
        getFeature(processName)->addCallback(Watcher());
    calls = 0;
}

constexpr int watcherCount = 3;

Operation change(std::string name) {
    return {.name = std::move(name),
            .prepare =
                [] {
                    declareBoth();
                    watchProcessFeature(watcherCount);
                },
            .run = [] { Feature<Scope::PROCESS>(processName).set(1); },
            .describe = describeRegistry,
            .verify = [] { EXPECT_EQ(calls, watcherCount) << "each is told once, when the change is made"; }};
}

Operation watching(std::string name, int otherWatchers) {
    static boost::signals2::connection watching;
    return {.name = std::move(name),
            .prepare =
                [otherWatchers] {
                    declareBoth();
                    watchProcessFeature(otherWatchers);
                },
            .run =
                [] {
                    if (watching.connected()) return;
                    watching = Feature<Scope::PROCESS>(processName).addCallback(Watcher());
                },
            .describe = describeRegistry,
            // What the signal has entered half way, it keeps until the record goes.
            .mayKeepMore = true};
}

Operation override(std::string name, std::string const& feature) {
    return {.name = std::move(name),
            .prepare = declareBoth,
            .run = [&feature] { ScopedFeature const forced(feature, 9); },
            .describe = [] { return std::to_string(process::getDataPtr(processName)->value); },
            .verify = [&feature] { EXPECT_EQ(getFeature(feature)->get(), 3) << "restored"; }};
}

std::vector<Operation> operations() {
    std::vector<Operation> all = {
        registration("processRegistration", Scope::PROCESS),
        registration("zorRegistration", Scope::ZOR),
        overriddenRegistration(),
        repeatedRegistration("repeatedProcessRegistration", Scope::PROCESS),
        repeatedRegistration("repeatedZorRegistration", Scope::ZOR),
        descriptorList(),
        {.name = "lookup",
         .prepare = declareBoth,
         .run =
             [] {
                 getFeature(processName);
                 getFeature(zorName);
             },
         .describe = describeRegistry,
         .verify = [] { EXPECT_TRUE(getFeature(processName) && getFeature(zorName)); }},
        {.name = "lookupOfAMissingName",
         .prepare = declareBoth,
         .run = [] { getFeature("a name that nobody has registered"); },
         .describe = describeRegistry},
        {.name = "list",
         .prepare = declareBoth,
         .run = [] { getAllFeatures(); },
         .describe = describeRegistry},
        {.name = "firstResolution",
         .prepare = declareBoth,
         .run =
             [] {
                 Feature<Scope::PROCESS>(processName).get();
                 Feature<Scope::ZOR>(zorName).get();
             },
         .describe = describeRegistry},
        {.name = "lookupIgnoringCase",
         .prepare = [] { declare({.name = "A Feature With Capitals"}); },
         .run = [] { getFeatureIgnoreCase("a feature with capitals"); },
         .describe = describeRegistry,
         .verify = [] { EXPECT_TRUE(getFeatureIgnoreCase("a feature with capitals")); }},
        firstAccess(),
        change("change"),
        watching("firstWatcher", 0),
        watching("furtherWatcher", 2),
        override("processOverride", processName),
        override("zorOverride", zorName),
        {.name = "conversion",
         .run =
             [] {
                 static Any const value = nested();
                 convert(value);
             },
         .describe = [] { return std::string(); },
         .verify =
             [] {
                 json::Value const value = convert(nested());
                 EXPECT_EQ((value.get<std::map<std::string, json::Value>>().size()), 2u);
             }},
        {.name = "conversionOfAText",
         .run =
             [] {
                 static Any const value = Text{typedNumbers};
                 convert(value);
             },
         .describe = [] { return std::string(); },
         .verify =
             [] {
                 json::Value const value = convert(Any(Text{typedNumbers}));
                 auto const& members = value.get<std::map<std::string, json::Value>>();
                 EXPECT_EQ(members.at("qzdata").get<std::vector<json::Value>>().at(0).get<std::uint64_t>(),
                           18446744073709551615u);
             }},
    };
    return all;
}

/// Operations that log, when everything is logged.
std::vector<Operation> loggedOperations() {
    std::vector<Operation> all;
    for (Operation& operation : operations()) {
        if (operation.name == "firstAccess") continue;  // It takes long, and hardly logs.
        operation.prepare = [prepare = operation.prepare] {
            prepare();
            log::setChannelMask("*", ~0u);
        };
        all.push_back(std::move(operation));
    }
    return all;
}

Operation firstRecord() {
    Operation operation = change("firstRecord");
    operation.prepare = [prepare = operation.prepare] {
        prepare();
        log::setChannelMask("foundation::feature::set", 16);
    };
    operation.isFirstToLog = true;
    return operation;
}

class MemoryThatRunsOut : public testing::TestWithParam<Operation> {};

std::string nameOf(testing::TestParamInfo<Operation> const& row) {
    return row.param.name;
}

INSTANTIATE_TEST_SUITE_P(During, MemoryThatRunsOut, testing::ValuesIn(operations()), nameOf);
INSTANTIATE_TEST_SUITE_P(DuringLogged, MemoryThatRunsOut, testing::ValuesIn(loggedOperations()), nameOf);
INSTANTIATE_TEST_SUITE_P(DuringThe, MemoryThatRunsOut, testing::Values(firstRecord()), nameOf);

TEST_P(MemoryThatRunsOut, LeavesNothingHalfDoneLockedOrLost) {
    EXPECT_GT(exhaust(GetParam()), 0u) << "it allocates nothing: nothing was tested";
}

TEST(AWatcher, ThatCouldNotBeConnectedIsNeverCalled) {
    declareBoth();
    Feature<Scope::PROCESS> feature(processName);
    int callsOfOurs = 0;
    boost::signals2::connection connection;
    failEachAllocation(
        [&] { connection = feature.addCallback([&callsOfOurs](IFeature const&) { ++callsOfOurs; }); },
        [](Outcome const& outcome) { EXPECT_EQ(outcome.thrown, "std::bad_alloc"); });
    EXPECT_EQ(callsOfOurs, 1);  // by the last try, which had memory enough
    feature.set(feature.get() + 1);
    EXPECT_EQ(callsOfOurs, 2);
    connection.disconnect();
    feature.set(feature.get() + 1);
    EXPECT_EQ(callsOfOurs, 2);
}

TEST(TheEndOfTheProcess, NeedsNoMemory) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            static std::optional<AllocationWatch>
                failing;  // Before the catalogue, so destroyed after its end.
            declareBoth();
            watchProcessFeature(1);
            struct Starving {
                ~Starving() { failing.emplace(AllocationWatch::Rules{.failing = 1, .laterOnesFail = true}); }
            };
            static Starving const starving;  // After the catalogue, so destroyed before its end.
            std::exit(0);
        },
        testing::ExitedWithCode(0),
        "");
}

/// Not this library's doing, but what its users meet.
TEST(AChange, EndsTheProcessWhenMemoryRunsOutWhileTheSignalTidiesUp) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    declareBoth();
    watchProcessFeature(1);
    std::vector<boost::signals2::connection> left;
    for (int number = 0; number < 9; ++number)
        left.push_back(getFeature(processName)->addCallback(Watcher()));
    for (auto const& connection : left)
        connection.disconnect();
    Feature<Scope::PROCESS> feature(processName);
    feature.set(feature.get());  // Nothing is left to be made but the change.
    EXPECT_EXIT(runWithFailingAllocation(
                    1, [&] { feature.set(1); }, true),
                testing::KilledBySignal(SIGABRT),
                "");
}

}  // namespace
}  // namespace foundation::feature::management::test
