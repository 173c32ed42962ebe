#include <foundation/log/diagnostic_logger.hpp>

#include <support/GroupingLocale.hpp>
#include <support/LogCapture.hpp>

#include <boost/log/expressions.hpp>
#include <gmock/gmock.h>

#include <atomic>
#include <future>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using foundation::log::setChannelMask;
using foundation::log::SourceLocation;
using foundation::test::LogCapture;
using foundation::test::Record;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;
using testing::SizeIs;
using Logger = foundation::log::basic_diagnostic_logger<char>;

SourceLocation const here{"file.cpp", "int f(int)", 7};

auto text(char const* message) {
    return [message](std::ostream& out) { out << message; };
}

auto message(char const* expected) {
    return Field(&Record::message, expected);
}

/// Sets the core's filter for a scope.
class ScopedFilter {
public:
    explicit ScopedFilter(boost::log::filter const& filter) { boost::log::core::get()->set_filter(filter); }
    ~ScopedFilter() { boost::log::core::get()->reset_filter(); }
    ScopedFilter(ScopedFilter const&) = delete;
    ScopedFilter& operator=(ScopedFilter const&) = delete;
};

TEST(ARecord, CarriesChannelSeverityPlaceAndMessage) {
    LogCapture const capture;
    Logger logger("a::b");
    logger.write(512, here, [](std::basic_ostream<char>& out) { out << "number " << 7; });
    EXPECT_THAT(capture.records(),
                ElementsAre(Record{"a::b", 512, "number 7", "file.cpp", "int f(int)", 7, 0}));
}

TEST(ARecord, MayHaveAnEmptyMessageAndAnEmptyChannel) {
    LogCapture const capture;
    Logger("").write(512, here, [](std::ostream&) {});
    EXPECT_THAT(capture.records(), ElementsAre(Record{"", 512, "", "file.cpp", "int f(int)", 7, 0}));
}

TEST(ARecord, IsWrittenOnlyWhenItsSeverityIsInTheMask) {
    LogCapture const capture;
    Logger logger("a");
    struct Row {
        char const* says;
        unsigned mask;
        unsigned severity;
        bool isWritten;
    };
    Row const rows[] = {
        {"the only bit", 16, 16, true},
        {"one of several bits", 2 + 16 + 256, 16, true},
        {"the highest bit", 0x80000000, 0x80000000, true},
        {"not in the mask", 16, 8, false},
        {"the mask is empty", 0, 512, false},
        {"no severity at all", 0xFFFFFFFF, 0, false},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        setChannelMask("a", row.mask);
        EXPECT_EQ(logger.isEnabled(row.severity), row.isWritten);
        int calls = 0;
        logger.write(row.severity, here, [&](std::ostream&) { ++calls; });
        EXPECT_EQ(calls, row.isWritten ? 1 : 0);
    }
    EXPECT_THAT(capture.records(), SizeIs(3));
}

TEST(ARecord, IsNotWrittenWhileTheCoreIsDisabled) {
    LogCapture const capture;
    Logger logger("a");
    boost::log::core::get()->set_logging_enabled(false);
    EXPECT_FALSE(logger.isEnabled(512));
    logger.write(512, here, [](std::ostream&) { FAIL() << "formatted"; });
    boost::log::core::get()->set_logging_enabled(true);
    EXPECT_TRUE(logger.isEnabled(512));
    logger.write(512, here, text("enabled"));
    EXPECT_THAT(capture.records(), ElementsAre(message("enabled")));
}

TEST(ARecord, IsNotFormattedWhenAFilterRefusesIt) {
    namespace expr = boost::log::expressions;
    struct Row {
        char const* says;
        boost::log::filter filter;
        bool isWritten;
    };
    Row const rows[] = {
        {"right channel", expr::attr<std::string>("Channel") == "a", true},
        {"wrong channel", expr::attr<std::string>("Channel") == "b", false},
        {"right severity", expr::attr<unsigned>("Severity") >= 512u, true},
        {"wrong severity", expr::attr<unsigned>("Severity") < 512u, false},
        {"right file", expr::attr<std::string>("File") == "file.cpp", true},
        {"wrong file", expr::attr<std::string>("File") == "other.cpp", false},
        {"right function", expr::attr<std::string>("Function") == "int f(int)", true},
        {"wrong function", expr::attr<std::string>("Function") == "int g(int)", false},
        {"right line", expr::attr<int>("Line") == 7, true},
        {"wrong line", expr::attr<int>("Line") == 8, false},
        {"right indent", expr::attr<unsigned>("Indent") == 0u, true},
        {"wrong indent", expr::attr<unsigned>("Indent") == 1u, false},
    };
    Logger logger("a");
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        LogCapture const capture;
        ScopedFilter const filter(row.filter);
        int calls = 0;
        logger.write(512, here, [&](std::ostream&) { ++calls; });
        EXPECT_EQ(calls, row.isWritten ? 1 : 0);
        EXPECT_THAT(capture.records(), SizeIs(row.isWritten ? 1 : 0));
    }
}

void formatByFunction(std::ostream& out) {
    out << "function";
}

TEST(AFormat, MayBeAnyCallable) {
    struct Callable {
        void operator()(std::ostream& out) { out << "lvalue"; }
        void operator()(std::ostream& out) const { out << "const"; }
    };
    LogCapture const capture;
    Logger logger("a");
    Callable callable;
    Callable const constCallable;
    logger.write(512, here, formatByFunction);
    logger.write(512, here, &formatByFunction);
    logger.write(512, here, callable);
    logger.write(512, here, constCallable);
    logger.write(512, here, [owned = std::make_unique<int>(3)](std::ostream& out) { out << *owned; });
    logger.write(512, here, [](auto& out) { out << "generic"; });
    EXPECT_THAT(capture.records(),
                ElementsAre(message("function"),
                            message("function"),
                            message("lvalue"),
                            message("const"),
                            message("3"),
                            message("generic")));
}

TEST(AFormat, UsesTheClassicLocaleWhateverTheGlobalOne) {
    LogCapture const capture;
    Logger logger("a");
    foundation::test::GroupingLocale const locale;
    logger.write(512, here, [](std::ostream& out) { out << 1234567 << ' ' << 0.5 << ' ' << true; });
    EXPECT_THAT(capture.records(), ElementsAre(message("1234567 0.5 1")));
}

TEST(AFormatThatThrows, DropsItsRecordAndLeavesTheLoggerUsable) {
    LogCapture const capture;
    Logger logger("a");
    auto const fail = [](std::ostream& out) {
        out << "half a mes";
        throw std::runtime_error("no text");
    };
    EXPECT_THAT([&] { logger.write(512, here, fail); },
                testing::ThrowsMessage<std::runtime_error>("no text"));
    EXPECT_THAT(capture.records(), IsEmpty());
    logger.write(512, here, text("next"));
    std::thread([&] { logger.write(512, here, text("other thread")); }).join();
    EXPECT_THAT(capture.records(), ElementsAre(message("next"), message("other thread")));
}

TEST(ASinkThatThrows, LetsItsExceptionOutOfWriteAndLeavesTheLoggerUsable) {
    bool fails = true;
    LogCapture const capture([&](Record const&) {
        if (fails) throw std::runtime_error("disk full");
    });
    Logger logger("a");
    EXPECT_THAT([&] { logger.write(512, here, text("first")); },
                testing::ThrowsMessage<std::runtime_error>("disk full"));
    fails = false;
    std::thread([&] { logger.write(512, here, text("second")); }).join();
    EXPECT_THAT(capture.records(), ElementsAre(message("first"), message("second")));
}

TEST(AFilterThatThrows, LetsItsExceptionOutOfWriteAndLeavesTheLoggerUsable) {
    LogCapture const capture;
    Logger logger("a");
    {
        ScopedFilter const filter([](auto const&) -> bool { throw std::runtime_error("bad filter"); });
        EXPECT_THAT([&] { logger.write(512, here, text("lost")); },
                    testing::ThrowsMessage<std::runtime_error>("bad filter"));
    }
    std::thread([&] { logger.write(512, here, text("next")); }).join();
    EXPECT_THAT(capture.records(), ElementsAre(message("next")));
}

TEST(TheLoggersLock, IsReleasedBeforeTheMessageIsFormatted) {
    LogCapture const capture;
    Logger logger("a");
    logger.write(512, here, [&](std::ostream& out) {
        out << "outer";
        logger.write(512, here, text("same thread"));
        std::thread([&] { logger.write(512, here, text("other thread")); }).join();
    });
    EXPECT_THAT(capture.records(),
                ElementsAre(message("same thread"), message("other thread"), message("outer")));
}

TEST(TheLoggersLock, IsReleasedBeforeTheRecordGoesToTheSinks) {
    Logger logger("a");
    LogCapture const capture([&](Record const& record) {
        if (record.message != "outer") return;
        std::thread([&] { logger.write(512, here, text("from the sink")); }).join();
    });
    logger.write(512, here, text("outer"));
    EXPECT_THAT(capture.records(), ElementsAre(message("outer"), message("from the sink")));
}

TEST(TheLoggersLock, OpensRecordsOneAtATime) {
    LogCapture const capture;
    Logger logger("a");
    std::atomic<int> inside = 0;
    std::atomic<int> most = 0;
    ScopedFilter const filter([&](auto const&) {
        int const now = ++inside;
        for (int seen = most; seen < now && !most.compare_exchange_weak(seen, now);) {
        }
        std::this_thread::yield();
        --inside;
        return true;
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&] {
            for (int j = 0; j < 500; ++j)
                logger.write(512, here, text("x"));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(most, 1);
    EXPECT_THAT(capture.records(), SizeIs(2000));
}

TEST(TheLoggersLock, IsItsOwn) {
    LogCapture const capture;
    Logger slow("a");
    Logger fast("a");
    fast.write(512,
               here,
               text("before"));  // The core itself lets a thread's first record wait for those being opened.
    std::promise<void> entered;
    std::promise<void> release;
    std::future<void> released = release.get_future();
    ScopedFilter const filter([&](boost::log::attribute_value_set const& values) {
        if (*boost::log::extract<int>("Line", values) == 1) {
            entered.set_value();
            released.wait();
        }
        return true;
    });
    std::thread blocked([&] { slow.write(512, {"", "", 1}, text("slow")); });
    entered.get_future().wait();
    fast.write(512, {"", "", 2}, text("fast"));
    EXPECT_THAT(capture.records(), ElementsAre(message("before"), message("fast")));
    release.set_value();
    blocked.join();
    EXPECT_THAT(capture.records(), ElementsAre(message("before"), message("fast"), message("slow")));
}

TEST(OneLogger, ServesManyThreadsWhileMasksChangeAndTracesOpen) {
    constexpr int threadCount = 4;
    constexpr int rounds = 300;
    LogCapture const capture;
    Logger logger("busy");
    std::atomic<bool> done = false;
    std::thread changer([&] {
        unsigned const masks[] = {512, 512 + 32, 512 + 64, 512 + 32 + 64};
        for (std::size_t i = 0; !done; ++i) {
            setChannelMask(i % 3 == 0 ? "busy" : "busy " + std::to_string(i % 50), masks[i % 4]);
            std::this_thread::yield();
        }
    });
    std::vector<std::thread> threads;
    for (int i = 0; i < threadCount; ++i) {
        threads.emplace_back([&, i] {
            for (int j = 0; j < rounds; ++j) {
                Logger::FunctionTrace const outer(logger, {"f", "outer", 1});
                try {
                    Logger::FunctionTrace const inner(logger, {"f", "inner", 2});
                    logger.write(
                        512, here, [&](std::ostream& out) { out << "thread " << i << " round " << j; });
                    if (j % 7 == 0) throw std::runtime_error("x");
                } catch (std::runtime_error const&) {
                    logger.write(512, here, text("caught"));
                }
            }
            logger.write(512, here, text("end"));
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    done = true;
    changer.join();

    std::vector<int> next(threadCount, 0);
    int ends = 0;
    for (Record const& record : capture.records()) {
        EXPECT_LE(record.indent, 2u);
        if (record.message == "end") {
            ++ends;
            EXPECT_EQ(record.indent, 0u);
        }
        std::istringstream words(record.message);
        std::string word;
        std::size_t thread = 0;
        int round = 0;
        if (!(words >> word >> thread >> word >> round)) continue;
        EXPECT_EQ(next.at(thread)++, round);
    }
    EXPECT_EQ(ends, threadCount);
    EXPECT_EQ(next, std::vector<int>(threadCount, rounds));
}

}  // namespace
