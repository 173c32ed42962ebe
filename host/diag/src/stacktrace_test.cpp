#include <foundation/core/diag/stacktrace.hpp>

#if !defined(_WIN32)
#include "stacktrace_test_module.hpp"
#endif

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <ios>
#include <limits>
#include <locale>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

namespace foundation::core::diag {
namespace {

constexpr std::size_t unlimited = std::numeric_limits<std::size_t>::max();

struct Options {
    std::size_t depth = unlimited;
    std::size_t skip = 0;
    bool symbols = true;
};

int lineOfCapture = 0;
int lineOfCallInOuter = 0;

// Called through volatile pointers, and read after the call: neither inlined nor replaced by a jump.
stacktrace_base innerFunction(Options const& options) {
    lineOfCapture = __LINE__ + 1;
    stacktrace_base trace(options.depth, options.skip, options.symbols);
    return trace;
}
stacktrace_base (*volatile callInner)(Options const&) = innerFunction;

int callsOfOuter = 0;
stacktrace_base outerFunction(Options const& options) {
    lineOfCallInOuter = __LINE__ + 1;
    stacktrace_base trace = callInner(options);
    ++callsOfOuter;
    return trace;
}
stacktrace_base (*volatile callOuter)(Options const&) = outerFunction;

int callsOfRecursive = 0;
stacktrace_base recursiveFunction(Options const& options, int times);
stacktrace_base (*volatile callRecursive)(Options const&, int) = recursiveFunction;
stacktrace_base recursiveFunction(Options const& options, int times) {
    stacktrace_base trace = times == 0 ? callOuter(options) : callRecursive(options, times - 1);
    ++callsOfRecursive;
    return trace;
}

std::string textOf(stacktrace_base const& trace) {
    std::ostringstream out;
    trace.format(out);
    return out.str();
}

std::vector<std::string> linesOf(stacktrace_base const& trace) {
    std::istringstream text(textOf(trace));
    std::vector<std::string> lines;
    for (std::string line; std::getline(text, line);)
        lines.push_back(line);
    return lines;
}

/// "<module>(+0x1f) [0x7f00001f]", with the number before it. On Windows the matcher knows no brackets.
std::string const addressOnly = "\\w+# .+\\(\\+0x\\w+\\) \\[0x\\w+\\]";

TEST(ATrace, PrintsOneNumberedCallALine) {
    std::string const text = textOf(callRecursive({}, 9));
    ASSERT_FALSE(text.empty());
    EXPECT_EQ(text.back(), '\n');
    std::vector<std::string> const lines = linesOf(callRecursive({}, 9));
    ASSERT_GT(lines.size(), 12u);
    for (std::size_t i = 0; i < lines.size(); ++i) {
        EXPECT_THAT(lines[i], testing::StartsWith(std::to_string(i) + "# "));
    }
}

#if !defined(_WIN32)
// On Windows a call is known by its module and address only.

TEST(ATrace, StartsWithTheFunctionThatMadeItThenItsCallers) {
    std::vector<std::string> const lines = linesOf(callOuter({}));
    ASSERT_GT(lines.size(), 2u);
    EXPECT_THAT(lines[0], testing::HasSubstr("innerFunction("));
    EXPECT_THAT(lines[1], testing::HasSubstr("outerFunction("));
    EXPECT_THAT(lines[2], testing::HasSubstr("StartsWithTheFunctionThatMadeItThenItsCallers"));
}

TEST(ATrace, NamesFileAndLineOfEachCall) {
    std::vector<std::string> const lines = linesOf(callOuter({}));
    ASSERT_GT(lines.size(), 1u);
    EXPECT_THAT(lines[0], testing::EndsWith("stacktrace_test.cpp:" + std::to_string(lineOfCapture)));
    EXPECT_THAT(lines[1], testing::EndsWith("stacktrace_test.cpp:" + std::to_string(lineOfCallInOuter)));
}

TEST(ATrace, LeavesOutTheInnermostCallsWhenAskedTo) {
    std::vector<std::string> const all = linesOf(callOuter({}));
    std::vector<std::string> const fewer = linesOf(callOuter({.skip = 1}));
    ASSERT_GT(fewer.size(), 1u);
    EXPECT_THAT(fewer[0], testing::HasSubstr("outerFunction("));
    EXPECT_EQ(fewer.size(), all.size() - 1);
}

std::vector<std::string> linesFromCallback;
void noteLines() {
    linesFromCallback = linesOf(stacktrace_base(unlimited, 0, true));
}

TEST(ATraceThroughAStrippedModule, PrintsWhatIsKnown) {
    callThroughStrippedModule(noteLines);
    ASSERT_GT(linesFromCallback.size(), 4u);
    EXPECT_THAT(linesFromCallback[0],
                testing::MatchesRegex("0# .*noteLines\\(\\) at .*stacktrace_test.cpp:\\w+"));
    EXPECT_THAT(linesFromCallback[1],
                testing::MatchesRegex("1# exportedFunction\\(.*\\) in .*diag_test_module.*"));
    EXPECT_THAT(linesFromCallback[2], testing::MatchesRegex(addressOnly));
    EXPECT_THAT(linesFromCallback[2], testing::HasSubstr("diag_test_module"));
    EXPECT_THAT(linesFromCallback[3], testing::MatchesRegex("3# callThroughStrippedModule\\(.*\\) in .*"));
    EXPECT_THAT(linesFromCallback[4], testing::HasSubstr("PrintsWhatIsKnown"));
}

TEST(ATraceWithoutSymbols, LooksUpNoNames) {
    EXPECT_THAT(textOf(callOuter({.symbols = false})), testing::Not(testing::HasSubstr("Function")));
}

#endif

TEST(ATraceWithoutSymbols, PrintsModuleAndAddressOnly) {
    std::vector<std::string> const lines = linesOf(callOuter({.symbols = false}));
    ASSERT_GT(lines.size(), 2u);
    EXPECT_THAT(lines, testing::Each(testing::MatchesRegex(addressOnly)));
    EXPECT_THAT(lines[0], testing::HasSubstr("foundation_diag_test"));
}

TEST(ATraceWithoutSymbols, NotesTheSameCallsAsOneWithThem) {
    EXPECT_EQ(linesOf(callOuter({.symbols = false})).size(), linesOf(callOuter({})).size());
}

TEST(ATrace, HasNoMoreCallsThanItsDepth) {
    struct Row {
        char const* says;
        std::size_t depth;
        std::size_t skip;
    };
    Row const rows[] = {
        {"none", 0, 0},
        {"one", 1, 0},
        {"what extension discovery asks for", 25, 0},
        {"the depth counts after the skipped calls", 25, 10},
        {"one hundred and twenty-eight", 128, 0},
        {"more than that", 300, 1},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Options const options{.depth = row.depth, .skip = row.skip, .symbols = false};
        EXPECT_EQ(linesOf(callRecursive(options, 400)).size(), row.depth);
    }
}

TEST(ATrace, HasAllCallsWhenItsDepthIsNoLimit) {
    std::size_t const few = linesOf(callRecursive({.symbols = false}, 0)).size();
    EXPECT_EQ(linesOf(callRecursive({.symbols = false}, 400)).size(), few + 400);
}

TEST(ATrace, IsEmptyWhenMoreIsSkippedThanThereIs) {
    for (std::size_t const skip : {std::size_t{10000}, unlimited - 1, unlimited}) {
        SCOPED_TRACE(skip);
        EXPECT_EQ(textOf(callOuter({.skip = skip})), "");
        EXPECT_EQ(textOf(callOuter({.depth = 25, .skip = skip})), "");
    }
}

struct GroupedDigits : std::numpunct<char> {
    char do_thousands_sep() const override { return '\''; }
    std::string do_grouping() const override { return "\1"; }
};

TEST(ATrace, PrintsTheSameWhateverTheStreamsLocaleAndFlags) {
    for (bool const symbols : {false, true}) {
        SCOPED_TRACE(symbols);
        stacktrace_base const trace = callRecursive({.symbols = symbols}, 20);
        std::ostringstream out;
        out.imbue(std::locale(std::locale::classic(), new GroupedDigits));
        out << std::hex << std::showbase << std::uppercase;
        out.fill('*');
        out.width(40);
        trace.format(out);
        EXPECT_EQ(out.str(), textOf(trace));
        EXPECT_TRUE(out.flags() & std::ios_base::hex);
        EXPECT_EQ(out.fill(), '*');
    }
}

TEST(ATrace, IsTheSameLaterOnAnotherThreadAndAsACopy) {
    static_assert(std::is_copy_constructible_v<stacktrace_base>);
    stacktrace_base const trace = callOuter({});
    std::string const text = textOf(trace);
    std::string elsewhere;
    std::thread([copy = trace, &elsewhere] { elsewhere = textOf(copy); }).join();
    EXPECT_EQ(elsewhere, text);
    EXPECT_EQ(textOf(trace), text);
}

TEST(Traces, AreMadeAndPrintedByManyThreadsAtOnce) {
    std::vector<std::vector<std::string>> results(4);
    std::vector<std::thread> threads;
    for (std::vector<std::string>& lines : results) {
        threads.emplace_back([&lines] {
            stacktrace_base const trace(2, 0, true);
            lines = linesOf(trace);
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    for (std::vector<std::string> const& lines : results) {
        ASSERT_EQ(lines.size(), 2u);
        EXPECT_EQ(lines[0], results[0][0]);
    }
}

TEST(ATrace, LeavesAFailedStreamAlone) {
    std::ostringstream out;
    out.setstate(std::ios_base::badbit);
    callOuter({}).format(out);
    EXPECT_EQ(out.str(), "");
}

}  // namespace
}  // namespace foundation::core::diag
