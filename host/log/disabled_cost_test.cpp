#include <foundation/log/diagnostic_logger.hpp>

// Boost.Log takes seconds to compile: none of it may come with the header.
#if defined(BOOST_VERSION) || defined(BOOST_LOG_CONFIG_HPP_INCLUDED_) || defined(BOOST_CONFIG_HPP)
#error "diagnostic_logger.hpp includes Boost"
#endif

#include <gtest/gtest.h>

#include <atomic>
#include <string>

extern std::atomic<long> allocationCount;  // counting_new.cpp

namespace {

using foundation::log::setChannelMask;
using Logger = foundation::log::basic_diagnostic_logger<char>;

/// The allocations that `action` makes.
template <class Action>
long count(Action&& action) {
    long const before = allocationCount;
    action();
    return allocationCount - before;
}

TEST(ADisabledWrite, NeitherAllocatesNorFormats) {
    setChannelMask("a", 0xFFFFFFFF - 16);
    Logger logger("a");
    EXPECT_EQ(count([&] {
                  logger.write(16, {"f", "f", 1}, [](std::ostream& out) { out << std::string(1000, 'x'); });
                  EXPECT_FALSE(logger.isEnabled(16));
              }),
              0);
}

TEST(ADisabledTrace, DoesNotAllocate) {
    setChannelMask("a", 0xFFFFFFFF - 32 - 64);
    Logger logger("a");
    EXPECT_EQ(count([&] {
                  Logger::FunctionTrace const trace(logger, {"f", "void f(int, int, int, int, int)", 1});
              }),
              0);
}

TEST(TheCountOfAllocations, SeesThoseOfAnEnabledWrite) {
    setChannelMask("a", 16);
    Logger logger("a");
    EXPECT_GT(count([&] {
                  logger.write(16, {"f", "f", 1}, [](std::ostream& out) { out << std::string(1000, 'x'); });
              }),
              0);
}

}  // namespace
