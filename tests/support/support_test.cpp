#include "LogCapture.hpp"
#include "ScopedEnvironment.hpp"

#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/attributes/attribute_value_set.hpp>
#include <boost/log/core/record.hpp>
#include <gmock/gmock.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using foundation::test::LogCapture;
using foundation::test::Record;
using foundation::test::ScopedEnvironment;
using testing::ElementsAre;
using testing::IsEmpty;

template <class Severity>
void push(Record const& record, Severity severity) {
    boost::log::attribute_value_set values;
    auto const insert = [&](char const* name, auto value) {
        values.insert(name, boost::log::attributes::make_attribute_value(value));
    };
    insert("Channel", record.channel);
    insert("Severity", severity);
    insert("Message", record.message);
    insert("File", record.file);
    insert("Function", record.function);
    insert("Line", record.line);
    insert("Indent", record.indent);
    boost::log::record opened = boost::log::core::get()->open_record(values);
    if (opened) boost::log::core::get()->push_record(std::move(opened));
}

void push(Record const& record) {
    push(record, record.severity);
}

Record const first{"a", 16, "first", "f.cpp", "f()", 1, 0};
Record const second{"b", 512, "second", "g.cpp", "g()", 2, 3};

TEST(ALogCapture, CollectsRecordsWhileItLives) {
    LogCapture outside;
    {
        LogCapture capture;
        push(first);
        push(second);
        EXPECT_THAT(capture.records(), ElementsAre(first, second));
        capture.clear();
        EXPECT_THAT(capture.records(), IsEmpty());
    }
    push(first);
    EXPECT_THAT(outside.records(), ElementsAre(first, second, first));
}

TEST(ALogCapture, CallsBackOnTheLoggingThreadAndHoldsNoLock) {
    std::vector<std::thread::id> threads;
    LogCapture* self = nullptr;
    LogCapture capture([&](Record const& record) {
        threads.push_back(std::this_thread::get_id());
        EXPECT_THAT(self->records(), ElementsAre(record));
        self->clear();
    });
    self = &capture;
    push(first);
    std::thread::id other;
    std::thread([&] {
        other = std::this_thread::get_id();
        push(second);
    }).join();
    EXPECT_THAT(threads, ElementsAre(std::this_thread::get_id(), other));
}

TEST(ALogCapture, CallsBackNoMoreOnceDestroyed) {
    int calls = 0;
    {
        LogCapture const capture([&](Record const&) { ++calls; });
    }
    LogCapture const other;
    push(first);
    EXPECT_EQ(calls, 0);
    EXPECT_THAT(other.records(), ElementsAre(first));
}

TEST(ALogCapture, LetsWhatTheCallbackThrowsReachTheLoggingCode) {
    LogCapture const capture([](Record const&) { throw std::runtime_error("stop"); });
    EXPECT_THAT([] { push(first); }, testing::ThrowsMessage<std::runtime_error>("stop"));
}

TEST(ALogCapture, RefusesARecordWithAnAttributeOfAnotherType) {
    LogCapture const capture;
    EXPECT_ANY_THROW(push(first, 16L));
    EXPECT_THAT(capture.records(), IsEmpty());
}

TEST(ALogCapture, CollectsFromManyThreads) {
    LogCapture const capture;
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            for (int j = 0; j < 200; ++j)
                push(first);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(capture.records(), std::vector<Record>(800, first));
}

/// The value that the system has for the variable of these tests.
std::optional<std::string> variable() {
#if defined(_WIN32)
    wchar_t text[100];
    SetLastError(ERROR_SUCCESS);
    DWORD const size = GetEnvironmentVariableW(L"FOUNDATION_SUPPORT_TEST", text, 100);
    if (GetLastError() == ERROR_ENVVAR_NOT_FOUND) return std::nullopt;
    std::string narrow;
    for (DWORD i = 0; i < size; ++i)
        narrow += static_cast<char>(text[i]);  // The tests use ASCII.
    return narrow;
#else
    char const* const text = std::getenv("FOUNDATION_SUPPORT_TEST");
    return text == nullptr ? std::nullopt : std::optional<std::string>(text);
#endif
}

TEST(AScopedEnvironment, SetsAndRemovesAVariableAndPutsBackWhatWas) {
    ASSERT_EQ(variable(), std::nullopt);
    {
        ScopedEnvironment const outer("FOUNDATION_SUPPORT_TEST", "outer");
        EXPECT_EQ(variable(), "outer");
        {
            ScopedEnvironment const removed("FOUNDATION_SUPPORT_TEST", std::nullopt);
            EXPECT_EQ(variable(), std::nullopt);
            ScopedEnvironment const empty("FOUNDATION_SUPPORT_TEST", "");
            EXPECT_EQ(variable(), "");
        }
        EXPECT_EQ(variable(), "outer");
    }
    EXPECT_EQ(variable(), std::nullopt);
    ScopedEnvironment const removedAgain("FOUNDATION_SUPPORT_TEST", std::nullopt);
    EXPECT_EQ(variable(), std::nullopt);
}

TEST(AScopedEnvironment, RefusesANameThatTheSystemRefuses) {
    EXPECT_THAT([] { ScopedEnvironment("A=B", "x"); },
                testing::ThrowsMessage<std::runtime_error>("environment variable \"A=B\" cannot be set"));
}

}  // namespace
