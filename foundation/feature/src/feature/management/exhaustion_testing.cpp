#include "exhaustion_testing.hpp"

#include <foundation/log/diagnostic_logger.hpp>

#include <LogCapture.hpp>

#include "AllocationWatch.hpp"
#include "FailingAllocations.hpp"

#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace foundation::feature::management::test {
namespace {

using foundation::test::LogCapture;

/// A child that takes longer waits for something that never comes.
constexpr unsigned secondsToLive = 60;

std::string readAll(int pipe) {
    std::string text;
    char buffer[4096];
    for (;;) {
        ssize_t const size = read(pipe, buffer, sizeof buffer);
        if (size > 0) text.append(buffer, static_cast<std::size_t>(size));
        if (size == 0 || (size < 0 && errno != EINTR)) return text;
    }
}

/// Runs `work` in a process that is a copy of this one, and gives what it returned. What it expects in vain is reported
/// there, and fails here.
std::string inChild(std::function<std::string()> const& work) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error(std::strerror(errno));
    std::fflush(nullptr);
    pid_t const child = fork();
    if (child < 0) throw std::runtime_error(std::strerror(errno));
    if (child == 0) {
        close(ends[0]);
        alarm(secondsToLive);
        std::string text;
        EXPECT_NO_THROW(text = work());
        for (std::size_t written = 0; written < text.size();) {
            ssize_t const size = write(ends[1], text.data() + written, text.size() - written);
            if (size > 0) written += static_cast<std::size_t>(size);
        }
#if defined(__SANITIZE_ADDRESS__)
        EXPECT_EQ(__lsan_do_recoverable_leak_check(), 0) << "memory has leaked";
#endif
        std::fflush(nullptr);
        _exit(testing::Test::HasFailure() ? 1 : 0);  // Not the exit of the copied process: that is not over.
    }
    close(ends[1]);
    std::string text = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_FALSE(WIFSIGNALED(status)) << "ended by " << strsignal(WTERMSIG(status));
    EXPECT_TRUE(WIFSIGNALED(status) || WEXITSTATUS(status) == 0) << "the process reports failures";
    return text;
}

struct Expected {
    std::string before;
    std::string after;
    std::string kept;  // how many allocations
};

/// Takes the records; each run of an operation ends with none.
LogCapture& capture() {
    static LogCapture capture;
    return capture;
}

/// What logging makes once in a process, and once in a thread.
void prepareLogging() {
    capture();
    log::basic_diagnostic_logger<char> logger("preparation");
    logger.write(512, log::SourceLocation{"", "", 0}, [](std::ostream& out) { out << "prepared"; });
}

/// How many allocations `work` has made and not given back.
template <class Work>
std::string allocationsKeptBy(Work const& work) {
    std::size_t const before = liveAllocations();
    work();
    capture().clear();
    return std::to_string(static_cast<std::ptrdiff_t>(liveAllocations() - before));
}

/// What follows the first run, whatever that came to.
void succeedAfterwards(Operation const& operation, std::string const& after) {
    EXPECT_NO_THROW(operation.run());
    operation.verify();
    std::thread([&] { EXPECT_NO_THROW(operation.run()); }).join();
    EXPECT_EQ(operation.describe(), after);
}

Expected expectationsOf(Operation const& operation) {
    Expected expected;
    expected.before = inChild(operation.describe);
    expected.after = inChild([&] {
        operation.run();
        return operation.describe();
    });
    expected.kept = inChild([&] {
        return allocationsKeptBy([&] {
            operation.run();
            operation.describe();
            succeedAfterwards(operation, expected.after);
        });
    });
    return expected;
}

void expectGoodOutcome(Outcome const& outcome, Operation const& operation, Expected const& expected) {
    bool const isWrapped =
        std::any_of(operation.wrapped.begin(), operation.wrapped.end(), [&](auto const& pattern) {
            return testing::Matches(testing::MatchesRegex(pattern))(outcome.thrown.value_or(""));
        });
    if (!isWrapped) {
        EXPECT_THAT(outcome.thrown, testing::AnyOf(std::nullopt, "std::bad_alloc"));
    }
    std::string const state = operation.describe();
    EXPECT_TRUE(state == expected.before || state == expected.after ||
                operation.isPart(state, expected.after))
        << "before:\n"
        << expected.before << "after:\n"
        << expected.after << "now:\n"
        << state;
}

/// Whether an allocation of this number was there to fail.
bool failAt(std::size_t number, bool laterOnesFail, Operation const& operation, Expected const& expected) {
    std::string const result = inChild([&]() -> std::string {
        bool ranOut = false;
        std::string const kept = allocationsKeptBy([&] {
            Outcome const outcome = runWithFailingAllocation(number, operation.run, laterOnesFail);
            ranOut = outcome.ranOut;
            expectGoodOutcome(outcome, operation, expected);
            succeedAfterwards(operation, expected.after);
        });
        if (!operation.mayKeepMore && !operation.isFirstToLog) {
            EXPECT_EQ(kept, expected.kept) << "more or less memory is held than without the failure";
        }
        return ranOut ? "an allocation failed" : "";
    });
    return !result.empty();
}

}  // namespace

std::size_t exhaust(Operation const& operation) {
    if (!operation.isFirstToLog) prepareLogging();
    operation.prepare();
    Expected const expected = expectationsOf(operation);
    EXPECT_FALSE(testing::Test::HasFailure()) << "it fails while there is memory";
    std::size_t number = 1;
    for (bool const laterOnesFail : {false, true}) {
        for (number = 1; !testing::Test::HasFailure(); ++number) {
            SCOPED_TRACE("allocation " + std::to_string(number) +
                         (laterOnesFail ? " and all later ones" : ""));
            if (!failAt(number, laterOnesFail, operation, expected)) break;
        }
    }
    return number - 1;
}

}  // namespace foundation::feature::management::test
