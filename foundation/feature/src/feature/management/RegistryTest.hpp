#pragma once

#include <foundation/feature/management.hpp>

#include <LogCapture.hpp>
#include <support/GroupingLocale.hpp>
#include <support/Latch.hpp>

#include <gtest/gtest.h>

#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

/// What the registry's tests share.
namespace foundation::feature::management::test {

using foundation::test::GroupingLocale;

inline constexpr char const* registrationChannel = "foundation::feature::registration";
inline constexpr char const* lookupChannel = "foundation::feature::lookup";

/// The severities of the registry's records.
enum Severity : unsigned {
    parameters = 2,
    details = 8,
    changes = 16,
    entries = 32,
    leaves = 64,
    rejections = 512,
};

/// A feature that breaks no rule; a test names only what matters to it.
struct Declaration {
    Scope scope = Scope::PROCESS;
    std::string name = "Alpha";
    int defaultValue = 0;
    std::string state = "Beta";
    std::string clientdir = "client";
    std::string file = "file.cpp";
    int line = 7;
    std::string component = "component";
    std::string module = "m1";
};

inline void declare(Declaration declaration) {
    registerFeature(declaration.scope,
                    std::move(declaration.name),
                    declaration.defaultValue,
                    std::move(declaration.state),
                    std::move(declaration.clientdir),
                    std::move(declaration.file),
                    declaration.line,
                    std::move(declaration.component),
                    std::move(declaration.module));
}

/// The text of what `call` throws, which must be an `Exception` itself: nothing derived from it.
template <class Exception, class Call>
std::string textThrown(Call&& call) {
    try {
        call();
    } catch (Exception const& error) {
        EXPECT_TRUE(typeid(error) == typeid(Exception)) << typeid(error).name() << ": " << error.what();
        return error.what();
    } catch (std::exception const& error) {
        ADD_FAILURE() << "another exception: " << typeid(error).name() << ": " << error.what();
        return error.what();
    }
    ADD_FAILURE() << "nothing was thrown";
    return {};
}

/// The records so far, each as "<severity>: <message>". They must all be of `channel`, and name a source of the
/// library, the same wherever it was built.
inline std::vector<std::string> written(foundation::test::LogCapture const& capture,
                                        std::string_view channel) {
    std::vector<std::string> lines;
    for (foundation::test::Record const& record : capture.records()) {
        EXPECT_EQ(record.channel, channel);
        EXPECT_TRUE(record.file.starts_with("foundation/feature/src/feature/")) << record;
        lines.push_back(std::to_string(record.severity) + ": " + record.message);
    }
    return lines;
}

/// The names of every registered feature, in the order of the list.
inline std::vector<std::string> allNames() {
    std::vector<std::string> names;
    for (auto const& feature : getAllFeatures())
        names.emplace_back(feature->getName());
    return names;
}

/// Whether nobody has registered `name`, as every lookup sees it.
inline testing::AssertionResult isUnknown(std::string const& name) {
    if (getFeature(name)) return testing::AssertionFailure() << name << " is found by its name";
    if (getFeatureIgnoreCase(name)) return testing::AssertionFailure() << name << " is found ignoring case";
    for (std::string const& listed : allNames()) {
        if (listed == name) return testing::AssertionFailure() << name << " is listed";
    }
    auto const resolves = [](auto const& resolve) {
        try {
            resolve();
            return true;
        } catch (std::out_of_range const&) {
            return false;
        }
    };
    if (resolves([&] { process::getDataPtr(name); })) {
        return testing::AssertionFailure() << name << " has a record";
    }
    if (resolves([&] { zor::getDataIndex(name); })) {
        return testing::AssertionFailure() << name << " has an index";
    }
    return testing::AssertionSuccess();
}

/// Runs `work(0)` to `work(count - 1)` on threads of their own that start together, and waits for them.
inline void runTogether(int count, std::function<void(int)> const& work) {
    foundation::test::Latch start(count);
    std::vector<std::jthread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            start.arriveAndWait();
            work(number);
        });
    }
}

}  // namespace foundation::feature::management::test
