#include <foundation/log/diagnostic_logger.hpp>

#include <boost/log/attributes/attribute_value_impl.hpp>
#include <boost/log/attributes/attribute_value_set.hpp>
#include <boost/log/core/core.hpp>
#include <boost/log/core/record.hpp>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

using foundation::log::addConsoleSink;
using foundation::log::setChannelMask;
using Logger = foundation::log::basic_diagnostic_logger<char>;

class TheConsoleSink : public testing::Test {
protected:
    TheConsoleSink() {
        setChannelMask("a::b", 16 + 32 + 64);
        testing::internal::CaptureStderr();
    }

    void write(std::string const& message) {
        logger_.write(16, {"f.cpp", "void f()", 1}, [&](std::ostream& out) { out << message; });
    }

    Logger logger_{"a::b"};
};

TEST_F(TheConsoleSink, WritesOneLineForEachRecordIndentedByTheOpenTraces) {
    addConsoleSink();
    write("outside");
    {
        Logger::FunctionTrace const outer(logger_, {"f.cpp", "void outer()", 1});
        Logger::FunctionTrace const inner(logger_, {"f.cpp", "void inner()", 2});
        write("inside");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "a::b [16] outside\n"
              "a::b [32] void outer()\n"
              "  a::b [32] void inner()\n"
              "    a::b [16] inside\n"
              "  a::b [64] void inner()\n"
              "a::b [64] void outer()\n");
}

TEST_F(TheConsoleSink, IndentsTheFurtherLinesOfAMessage) {
    addConsoleSink();
    write("one\ntwo\n\nthree");
    write("line feeds at the end are no lines\n\n");
    write("");
    {
        Logger::FunctionTrace const trace(logger_, {"f.cpp", "void f()", 1});
        write("four\nfive");
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "a::b [16] one\n    two\n    \n    three\n"
              "a::b [16] line feeds at the end are no lines\n"
              "a::b [16] \n"
              "a::b [32] void f()\n"
              "  a::b [16] four\n"
              "      five\n"
              "a::b [64] void f()\n");
}

TEST_F(TheConsoleSink, IsAddedOnlyOnce) {
    addConsoleSink();
    addConsoleSink();
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(addConsoleSink);
    for (std::thread& thread : threads)
        thread.join();
    write("once");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a::b [16] once\n");
}

TEST_F(TheConsoleSink, ComesBackAfterTheHostRemovedEverySink) {
    addConsoleSink();
    boost::log::core::get()->remove_all_sinks();
    addConsoleSink();
    write("back");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "a::b [16] back\n");
}

TEST_F(TheConsoleSink, ShowsWhatARecordOfAnotherKindHas) {
    addConsoleSink();
    boost::log::core_ptr const core = boost::log::core::get();
    boost::log::attribute_value_set values;
    values.insert("Severity", boost::log::attributes::make_attribute_value(std::string("not a number")));
    boost::log::record record = core->open_record(values);
    ASSERT_TRUE(!!record);
    record.attribute_values().insert("Message",
                                     boost::log::attributes::make_attribute_value(std::string("foreign")));
    core->push_record(std::move(record));
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "foreign\n");
}

TEST_F(TheConsoleSink, KeepsTheLinesOfSeveralThreadsApart) {
    addConsoleSink();
    std::string const message(200, 'x');
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 100; ++j)
                write(message);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    std::string const line = "a::b [16] " + message + '\n';
    std::string expected;
    for (int i = 0; i < 400; ++i)
        expected += line;
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
}

}  // namespace
