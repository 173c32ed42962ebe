#include "RegistryTest.hpp"

#include <foundation/feature/ScopedFeature.hpp>

#include <foundation/log/diagnostic_logger.hpp>

#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

using foundation::test::LogCapture;

/// What a callback saw when it was called.
struct Call {
    std::string name;
    int value;
    std::thread::id thread;

    bool operator==(Call const&) const = default;
};

TEST(AFeature, IsRegisteredLookedUpReadChangedAndRestored) {
    constexpr char const* setChannel = "foundation::feature::set";
    log::setChannelMask(setChannel, changes);
    LogCapture const capture;

    registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "client", "alpha.cpp", 7, "component", "module");
    detail::State* const filed = process::getDataPtr("Alpha");
    ASSERT_NE(filed, nullptr);

    std::unique_ptr<IFeature> const handle = getFeature("Alpha");
    ASSERT_TRUE(handle);
    EXPECT_EQ(handle->getScope(), Scope::PROCESS);
    EXPECT_EQ(handle->getName(), "Alpha");
    EXPECT_EQ(handle->getFCtrlState(), "Off");
    EXPECT_EQ(handle->getDefaultValue(), 0);
    EXPECT_EQ(handle->getReadCount(), 0U) << "looking up is no read";

    EXPECT_EQ(handle->get(), 0);
    EXPECT_EQ(handle->getState(), filed);
    EXPECT_EQ(handle->getReadCount(), 1U);
    EXPECT_EQ(handle->getWriteCount(), 0U);

    std::vector<Call> calls;
    handle->addCallback([&](IFeature const& feature) {
        // The record's value: reading through the handle would count.
        calls.push_back(
            {std::string(feature.getName()), feature.getState()->value, std::this_thread::get_id()});
    });
    auto const self = std::this_thread::get_id();
    EXPECT_EQ(calls, (std::vector<Call>{{"Alpha", 0, self}})) << "a watcher is called once at once";
    EXPECT_TRUE(capture.records().empty());

    handle->set(1);
    EXPECT_EQ(written(capture, setChannel),
              std::vector<std::string>{"16: feature Alphachanged.  from: 0 to: 1"});
    EXPECT_EQ(handle->getWriteCount(), 1U);
    EXPECT_EQ(handle->getReadCount(), 1U) << "a change reads nothing";
    EXPECT_EQ(filed->value, 1);
    EXPECT_EQ(calls, (std::vector<Call>{{"Alpha", 0, self}, {"Alpha", 1, self}}));

    handle->set(1);
    EXPECT_EQ(capture.records().size(), 1U) << "what is set already is no change";
    EXPECT_EQ(handle->getWriteCount(), 1U);
    EXPECT_EQ(calls.size(), 2U);

    {
        ScopedFeature const override("Alpha", 5);
        EXPECT_EQ(filed->value, 5);
        EXPECT_EQ(handle->getWriteCount(), 2U);
    }
    EXPECT_EQ(filed->value, 1) << "the earlier value, not the default";
    EXPECT_EQ(handle->getWriteCount(), 3U);
    EXPECT_EQ(written(capture, setChannel),
              (std::vector<std::string>{"16: feature Alphachanged.  from: 0 to: 1",
                                        "16: feature Alphachanged.  from: 1 to: 5",
                                        "16: feature Alphachanged.  from: 5 to: 1"}));
    ASSERT_EQ(calls.size(), 4U);
    EXPECT_EQ(calls[2], (Call{"Alpha", 5, self}));
    EXPECT_EQ(calls[3], (Call{"Alpha", 1, self}));
    EXPECT_EQ(handle->get(), 1);
    EXPECT_EQ(handle->getDefaultValue(), 0);
}

TEST(AFeature, IsToldToOtherThreadsOnTheThreadThatChangesIt) {
    registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "client", "alpha.cpp", 7, "component", "module");
    std::vector<std::thread::id> threads;
    auto const handle = getFeature("Alpha");
    ASSERT_TRUE(handle);
    handle->addCallback([&](IFeature const&) { threads.push_back(std::this_thread::get_id()); });
    std::thread::id changer;
    std::jthread([&] {
        changer = std::this_thread::get_id();
        getFeature("Alpha")->set(1);
    }).join();
    ASSERT_EQ(threads.size(), 2U);
    EXPECT_EQ(threads[1], changer);
    EXPECT_EQ(handle->get(), 1);
}

}  // namespace
}  // namespace foundation::feature::management::test
