#include <foundation/log/diagnostic_logger.hpp>

#include "LogCapture.hpp"

#include <gmock/gmock.h>

#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>

#if defined(__MINGW32__)
#include <windows.h>
#endif

namespace {

using foundation::log::addConsoleSink;
using foundation::log::setChannelMask;
using foundation::log::SourceLocation;
using foundation::test::LogCapture;
using foundation::test::Record;
using testing::ElementsAre;
using testing::IsEmpty;
using Logger = foundation::log::basic_diagnostic_logger<char>;
using Trace = Logger::FunctionTrace;

constexpr unsigned traces = 32 + 64;

SourceLocation const outer{"o.cpp", "void outer()", 1};
SourceLocation const inner{"i.cpp", "void inner()", 2};
SourceLocation const place{"p.cpp", "void place()", 3};

Record entry(SourceLocation const& at, unsigned indent) {
    return {"a", 32, at.function, at.file, at.function, at.line, indent};
}

Record leave(SourceLocation const& at, unsigned indent, std::string const& suffix = "") {
    return {"a", 64, at.function + suffix, at.file, at.function, at.line, indent};
}

Record note(char const* message, unsigned indent) {
    return {"a", 512, message, place.file, place.function, place.line, indent};
}

void write(Logger& logger, char const* message) {
    logger.write(512, place, [&](std::ostream& out) { out << message; });
}

class ATrace : public testing::Test {
protected:
    ATrace() { setChannelMask("a", traces + 512); }

    LogCapture capture_;
    Logger logger_{"a"};
};

TEST_F(ATrace, WritesItsSignatureOnEntryAndOnLeavingAndIndentsWhatLiesBetween) {
    {
        Trace const first(logger_, outer);
        write(logger_, "in outer");
        {
            Trace const second(logger_, inner);
            write(logger_, "in inner");
        }
        write(logger_, "in outer again");
    }
    write(logger_, "outside");
    EXPECT_THAT(capture_.records(),
                ElementsAre(entry(outer, 0),
                            note("in outer", 1),
                            entry(inner, 1),
                            note("in inner", 2),
                            leave(inner, 1),
                            note("in outer again", 1),
                            leave(outer, 0),
                            note("outside", 0)));
}

TEST_F(ATrace, SaysThatAnExceptionLeaves) {
    try {
        Trace const first(logger_, outer);
        Trace const second(logger_, inner);
        throw std::runtime_error("x");
    } catch (std::runtime_error const&) {
        write(logger_, "caught");
    }
    EXPECT_THAT(capture_.records(),
                ElementsAre(entry(outer, 0),
                            entry(inner, 1),
                            leave(inner, 1, " [throw]"),
                            leave(outer, 0, " [throw]"),
                            note("caught", 0)));
}

TEST_F(ATrace, SaysNothingOfAnExceptionThatWasCaughtInside) {
    {
        Trace const trace(logger_, outer);
        try {
            throw std::runtime_error("x");
        } catch (std::runtime_error const&) {
            Trace const handler(logger_, inner);
        }
    }
    EXPECT_THAT(capture_.records(),
                ElementsAre(entry(outer, 0), entry(inner, 1), leave(inner, 1), leave(outer, 0)));
}

TEST_F(ATrace, InADestructorDuringUnwindingTellsItsOwnExceptionFromThatInFlight) {
    struct Unwound {
        Logger& logger;
        ~Unwound() {
            { Trace const normal(logger, inner); }
            try {
                Trace const throwing(logger, outer);
                throw std::runtime_error("second");
            } catch (std::runtime_error const&) {
            }
        }
    };
    try {
        Unwound const unwound{logger_};
        throw std::runtime_error("first");
    } catch (std::runtime_error const&) {
    }
    EXPECT_THAT(capture_.records(),
                ElementsAre(entry(inner, 0), leave(inner, 0), entry(outer, 0), leave(outer, 0, " [throw]")));
}

TEST_F(ATrace, TestsEachSeverityByItselfAndIndentsByTheEntry) {
    setChannelMask("a", 32 + 512);
    {
        Trace const trace(logger_, outer);
        write(logger_, "entry only");
    }
    EXPECT_THAT(capture_.records(), ElementsAre(entry(outer, 0), note("entry only", 1)));
    capture_.clear();

    setChannelMask("a", 64 + 512);
    {
        Trace const trace(logger_, outer);
        write(logger_, "leave only");
    }
    EXPECT_THAT(capture_.records(), ElementsAre(note("leave only", 0), leave(outer, 0)));
    capture_.clear();

    setChannelMask("a", 512);
    {
        Trace const trace(logger_, outer);
        write(logger_, "neither");
    }
    EXPECT_THAT(capture_.records(), ElementsAre(note("neither", 0)));
}

TEST_F(ATrace, KeepsTheIndentBalancedWhenMasksChangeInside) {
    struct Row {
        char const* says;
        unsigned atEntry;
        unsigned atLeave;
        unsigned indentInside;
    };
    Row const rows[] = {
        {"switched off inside", traces + 512, 512, 1},
        {"switched on inside", 512, traces + 512, 0},
        {"entry off, leave on inside", 32 + 512, 64 + 512, 1},
        {"entry on, leave off inside", 64 + 512, 32 + 512, 0},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        setChannelMask("a", row.atEntry);
        {
            Trace const trace(logger_, outer);
            setChannelMask("a", row.atLeave);
            capture_.clear();
            write(logger_, "inside");
            EXPECT_THAT(capture_.records(), ElementsAre(note("inside", row.indentInside)));
            capture_.clear();
        }
        if ((row.atLeave & 64) != 0) {
            EXPECT_THAT(capture_.records(), ElementsAre(leave(outer, 0)));
        } else {
            EXPECT_THAT(capture_.records(), IsEmpty());
        }
        capture_.clear();
        write(logger_, "after");
        EXPECT_THAT(capture_.records(), ElementsAre(note("after", 0)));
    }
}

TEST_F(ATrace, ThatIsSwitchedOnInsideSaysThatAnExceptionLeaves) {
    setChannelMask("a", 512);
    try {
        Trace const trace(logger_, outer);
        setChannelMask("a", traces);
        throw std::runtime_error("thrown");
    } catch (std::runtime_error const&) {
    }
    EXPECT_THAT(capture_.records(), ElementsAre(leave(outer, 0, " [throw]")));
}

TEST_F(ATrace, OpensNoScopeWhileTheCoreIsDisabled) {
    boost::log::core::get()->set_logging_enabled(false);
    {
        Trace const trace(logger_, outer);
        boost::log::core::get()->set_logging_enabled(true);
        write(logger_, "inside");
    }
    EXPECT_THAT(capture_.records(), ElementsAre(note("inside", 0), leave(outer, 0)));
}

TEST_F(ATrace, IndentsItsOwnChannelAndThreadAlone) {
    setChannelMask("b", 512);
    Logger other("b");
    Logger sameChannel("a");
    {
        Trace const trace(logger_, outer);
        capture_.clear();
        write(other, "other channel");
        std::thread([&] { write(logger_, "other thread"); }).join();
        write(sameChannel, "same channel");
    }
    Record otherChannel = note("other channel", 0);
    otherChannel.channel = "b";
    EXPECT_THAT(capture_.records(),
                ElementsAre(otherChannel, note("other thread", 0), note("same channel", 1), leave(outer, 0)));
}

TEST_F(ATrace, MayEndBeforeALaterOneOfItsThread) {
    std::optional<Trace> first(std::in_place, logger_, outer);
    std::optional<Trace> second(std::in_place, logger_, inner);
    capture_.clear();
    first.reset();
    write(logger_, "in second");
    second.reset();
    write(logger_, "outside");
    EXPECT_THAT(capture_.records(),
                ElementsAre(leave(outer, 1), note("in second", 1), leave(inner, 0), note("outside", 0)));
}

TEST(ATraceWhoseEntryRecordFails, LetsTheExceptionOutAndLeavesNoIndent) {
    setChannelMask("a", traces + 512);
    Logger logger("a");
    bool fails = true;
    LogCapture capture([&](Record const&) {
        if (fails) throw std::runtime_error("disk full");
    });
    EXPECT_THAT([&] { Trace const trace(logger, outer); },
                testing::ThrowsMessage<std::runtime_error>("disk full"));
    fails = false;
    EXPECT_THAT(capture.records(), ElementsAre(entry(outer, 0)));
    capture.clear();
    write(logger, "after");
    EXPECT_THAT(capture.records(), ElementsAre(note("after", 0)));
}

TEST(ATraceWhoseLeaveRecordFails, LetsNoExceptionOut) {
    setChannelMask("a", traces + 512);
    Logger logger("a");
    int attempts = 0;
    LogCapture capture([&](Record const& record) {
        if (record.severity != 64) return;
        ++attempts;
        throw std::runtime_error("disk full");
    });
    EXPECT_NO_THROW({ Trace const trace(logger, outer); });
    EXPECT_EQ(attempts, 1);
    auto const throwOut = [&] {
        Trace const trace(logger, outer);
        throw std::logic_error("the one that counts");
    };
    EXPECT_THAT(throwOut, testing::ThrowsMessage<std::logic_error>("the one that counts"));
    EXPECT_EQ(attempts, 2);
    capture.clear();
    write(logger, "after");
    EXPECT_THAT(capture.records(), ElementsAre(note("after", 0)));
}

void logTheEnd(void* logger) {
    Trace const trace(*static_cast<Logger*>(logger), outer);
    write(*static_cast<Logger*>(logger), "ending");
}

/// Has logTheEnd() called when the calling thread ends.
void logTheEndOfThisThread(Logger& logger) {
#if defined(__MINGW32__)
    // This compiler's runtime frees the memory of a thread's variables before it calls their destructors: the system's own
    // hook serves instead.
    DWORD const slot = FlsAlloc([](void* value) { logTheEnd(value); });
    ASSERT_NE(slot, FLS_OUT_OF_INDEXES);
    ASSERT_NE(FlsSetValue(slot, &logger), 0);
#else
    struct AtTheEnd {
        Logger* logger = nullptr;
        ~AtTheEnd() {
            if (logger != nullptr) logTheEnd(logger);
        }
    };
    static thread_local AtTheEnd atTheEnd;
    atTheEnd.logger = &logger;
#endif
}

TEST_F(ATrace, WorksWhileItsThreadEnds) {
    std::thread([&] { logTheEndOfThisThread(logger_); }).join();
    EXPECT_THAT(capture_.records(), ElementsAre(entry(outer, 0), note("ending", 1), leave(outer, 0)));
}

/// Logs when the statics of the program are destroyed, through a logger made long before and through a new
/// one.
struct LogsAtExit {
    Logger* early = nullptr;
    ~LogsAtExit() {
        if (early == nullptr) return;
        setChannelMask("at exit", traces + 512);
        Logger late("at exit");
        Trace const trace(late, outer);
        write(late, "late");
        write(*early, "early");
    }
};

LogsAtExit logsAtExit;

TEST(StaticDestructors, MayLog) {
    // In another process, as the statics of this one are destroyed after its test.
    auto const endProcess = [] {
        static Logger early("early");
        logsAtExit.early = &early;
        addConsoleSink();
        std::exit(0);
    };
    EXPECT_EXIT(endProcess(),
                testing::ExitedWithCode(0),
                "at exit \\[32\\] void outer.*\n  at exit \\[512\\] late\nearly \\[512\\] early\n"
                "at exit \\[64\\] void outer");
}

}  // namespace
