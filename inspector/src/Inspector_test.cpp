#include <foundation/feature/InspectedInstance.hpp>
#include <foundation/feature/Inspector.hpp>
#include <foundation/feature/management.hpp>

#include "TestServer.hpp"

#include <support/Latch.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#if defined(__linux__)
#include <csignal>
#include <pthread.h>
#endif

namespace foundation::feature {
namespace {

using inspector::test::Answer;
using inspector::test::Client;
using testing::HasSubstr;

/// A page's connection to an inspector, by its address alone.
class Browser {
public:
    explicit Browser(Inspector const& inspector)
        : port_(
              static_cast<std::uint16_t>(std::stoi(inspector.url().substr(inspector.url().rfind(':') + 1)))),
          path_(inspector.url().substr(inspector.url().find('/', 8))), client_(port_) {}

    Answer get(std::string const& path) { return client_.request("GET", path_ + path); }

    Answer post(std::string const& path, std::string const& body = "") {
        return client_.request(
            "POST", path_ + path, "X-Inspector: 1\r\nContent-Type: application/json\r\n", body);
    }

    /// Begins a stream of events.
    void stream(Client& client) const {
        client.send("GET " + path_ +
                    "api/events?since=0 HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n\r\n");
        EXPECT_THAT(client.readUntil("\r\n\r\n"), HasSubstr("200 OK"));
    }

    std::uint16_t port() const { return port_; }
    std::string const& path() const { return path_; }

private:
    std::uint16_t port_;
    std::string path_;
    Client client_;
};

TEST(AnInspector, HasAnAddressOfItsOwnThatNobodyCanGuess) {
    Inspector const one;
    Inspector const other;
    EXPECT_TRUE(std::regex_match(one.url(), std::regex(R"(http://127\.0\.0\.1:[0-9]+/[0-9a-f]{40}/)")))
        << one.url();
    EXPECT_NE(Browser(one).path(), Browser(other).path());
    EXPECT_NE(Browser(one).port(), Browser(other).port());
    EXPECT_EQ(Browser(one).get("").result_int(), 200U);
    EXPECT_EQ(Browser(other).get("").result_int(), 200U);
}

TEST(AnInspector, SaysWhichPortIsTaken) {
    Inspector const first;
    std::uint16_t const port = Browser(first).port();
    try {
        Inspector const second({.port = port});
        FAIL() << "a port that is taken was taken again";
    } catch (std::runtime_error const& error) {
        EXPECT_THAT(
            error.what(),
            testing::StartsWith("inspector: 127.0.0.1:" + std::to_string(port) + " cannot be listened on: "));
    }
}

TEST(AnInspector, ListensOnItsPortAgainAtOnce) {
    std::uint16_t port = 0;
    for (int i = 0; i < 3; ++i) {
        Inspector const inspector({.port = port});
        Browser browser(inspector);
        EXPECT_TRUE(port == 0 || browser.port() == port);
        port = browser.port();
        EXPECT_EQ(browser.get("").result_int(), 200U);
    }
}

TEST(AnInspector, MayOnlyReadUnlessToldOtherwise) {
    management::registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "", "", 1, "", "module");
    std::string const change = R"({"name":"Alpha","instance":0,"value":1})";
    for (bool const isAllowed : {false, true}) {
        Inspector const inspector({.allowWriting = isAllowed});
        Browser browser(inspector);
        browser.post("api/list");
        EXPECT_EQ(browser.post("api/set", change).result_int(), isAllowed ? 200U : 403U);
        EXPECT_EQ(management::getFeature("Alpha")->get(), isAllowed ? 1 : 0);
    }
}

TEST(AnInspector, EndsAtOnceWithStreamsOpen) {
    auto inspector = std::make_unique<Inspector>();
    Browser const browser(*inspector);
    Client one(browser.port());
    Client other(browser.port());
    browser.stream(one);
    browser.stream(other);
    one.nextEvent();
    auto const begin = std::chrono::steady_clock::now();
    inspector.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_TRUE(one.isClosed());
    EXPECT_TRUE(other.isClosed());
}

TEST(AnInstance, IsShownUntilItsObjectEnds) {
    management::registerFeature(Scope::ZOR, "Alpha", 3, "Beta", "", "", 1, "", "module");
    Inspector inspector;
    Browser browser(inspector);
    {
        usm::EngineInstance engine;
        InspectedInstance const shown(inspector, "engine <1>", engine);
        std::string const list = browser.post("api/list").body();
        EXPECT_THAT(list, HasSubstr(R"("instances":[{"id":0,"name":"main"},{"id":1,"name":"engine <1>"}])"));
        EXPECT_THAT(list, HasSubstr(R"("values":[3,3])"));
    }
    EXPECT_THAT(browser.get("api/catalogue").body(), HasSubstr(R"("values":[3])"));
}

TEST(AnInstance, MayOutliveTheInspector) {
    usm::EngineInstance engine;
    auto inspector = std::make_unique<Inspector>();
    InspectedInstance const shown(*inspector, "engine", engine);
    inspector.reset();
}

TEST(Instances, MayComeAndGoWhileAPageLooks) {
    for (char const* name : {"Alpha", "Beta"})
        management::registerFeature(Scope::ZOR, name, 3, "Beta", "", "", 1, "", "module");
    Inspector inspector({.allowWriting = true});
    Browser browser(inspector);
    browser.post("api/list");
    std::atomic<bool> isDone = false;
    std::vector<std::thread> engines;
    for (int i = 0; i < 2; ++i) {
        engines.emplace_back([&] {
            while (!isDone) {
                usm::EngineInstance engine;
                InspectedInstance const shown(inspector, "engine", engine);
                usm::CurrentEngineInstance const current(engine);
                auto const alpha = management::getFeature("Alpha");
                alpha->set(alpha->get() + 1);
            }
        });
    }
    for (int i = 0; i < 50; ++i) {
        EXPECT_THAT(browser.get("api/catalogue").body(), HasSubstr("\"name\":\"Alpha\""));
        unsigned const status =
            browser.post("api/set", R"({"name":"Alpha","instance":)" + std::to_string(i) + ",\"value\":1}")
                .result_int();
        EXPECT_TRUE(status == 200U || status == 404U) << status;
    }
    isDone = true;
    for (std::thread& engine : engines)
        engine.join();
}

TEST(AnInstance, StaysWhileAChangeThatThePageMadeIsBeingAnnounced) {
    management::registerFeature(Scope::ZOR, "Alpha", 0, "Off", "", "", 1, "", "module");
    Inspector inspector({.allowWriting = true});
    usm::EngineInstance engine;
    auto shown = std::make_unique<InspectedInstance>(inspector, "engine", engine);
    test::Latch isAnnouncing(1);
    test::Latch mayGoOn(1);
    std::atomic<bool> hasBeenAnnounced = false;
    {
        usm::CurrentEngineInstance const current(engine);
        management::getFeature("Alpha")->addCallback([&](IFeature const& changed) {
            if (changed.get() == 0) return;
            isAnnouncing.countDown();
            mayGoOn.wait();
            hasBeenAnnounced = true;
        });
    }
    Browser browser(inspector);
    browser.post("api/list");
    std::thread page([&] {
        EXPECT_EQ(browser.post("api/set", R"({"name":"Alpha","instance":1,"value":1})").result_int(), 200U);
    });
    isAnnouncing.wait();
    std::thread ending([&] {
        shown.reset();
        EXPECT_TRUE(hasBeenAnnounced);
    });
    mayGoOn.countDown();
    ending.join();
    page.join();
}

TEST(AWatcher, OfAChangeInThePageMayMakeAnInstance) {
    management::registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "", "", 1, "", "module");
    Inspector inspector({.allowWriting = true});
    usm::EngineInstance engine;
    std::unique_ptr<InspectedInstance> shown;
    management::getFeature("Alpha")->addCallback([&](IFeature const& changed) {
        if (changed.get() == 1) shown = std::make_unique<InspectedInstance>(inspector, "made", engine);
        if (changed.get() == 2) shown.reset();
    });
    Browser browser(inspector);
    browser.post("api/list");
    browser.post("api/set", R"({"name":"Alpha","instance":0,"value":1})");
    EXPECT_THAT(browser.get("api/catalogue").body(), HasSubstr("\"made\""));
    browser.post("api/set", R"({"name":"Alpha","instance":0,"value":2})");
    EXPECT_THAT(browser.get("api/catalogue").body(), testing::Not(HasSubstr("\"made\"")));
}

#if defined(__linux__)
// Only this system says how often a thread has woken.

std::set<std::string> threads() {
    std::set<std::string> ids;
    for (auto const& entry : std::filesystem::directory_iterator("/proc/self/task"))
        ids.insert(entry.path().filename().string());
    return ids;
}

long wakesOf(std::string const& thread) {
    std::ifstream status("/proc/self/task/" + thread + "/status");
    std::string key;
    while (status >> key) {
        long count = 0;
        if (key == "voluntary_ctxt_switches:" && status >> count) return count;
    }
    throw std::runtime_error("the system does not say how often thread " + thread + " has woken");
}

TEST(AWatcher, OfAChangeInThePageRunsWhereOnlyFaultsReachTheHostsSignalHandlers) {
    management::registerFeature(Scope::PROCESS, "Alpha", 0, "Off", "", "", 1, "", "module");
    sigset_t blocked;
    sigemptyset(&blocked);
    management::getFeature("Alpha")->addCallback(
        [&](IFeature const&) { pthread_sigmask(SIG_BLOCK, nullptr, &blocked); });
    {
        Inspector const inspector({.allowWriting = true});
        Browser browser(inspector);
        browser.post("api/list");
        EXPECT_EQ(browser.post("api/set", R"({"name":"Alpha","instance":0,"value":1})").result_int(), 200U);
    }
    for (int const signal : {SIGINT, SIGTERM, SIGHUP, SIGUSR1, SIGALRM, SIGCHLD})
        EXPECT_EQ(sigismember(&blocked, signal), 1) << signal;
    for (int const fault : {SIGABRT, SIGBUS, SIGFPE, SIGILL, SIGSEGV, SIGSYS, SIGTRAP})
        EXPECT_EQ(sigismember(&blocked, fault), 0) << fault;
}

TEST(AnInspector, SleepsWhileNoPageIsOpen) {
    std::thread([] {}).join();  // with a process's first thread, a sanitizer may start one of its own
    std::set<std::string> const before = threads();
    Inspector const inspector;
    std::vector<std::string> own;
    for (std::string const& thread : threads()) {
        if (!before.contains(thread)) own.push_back(thread);
    }
    ASSERT_EQ(own.size(), 1U);
    {
        // A page that comes and goes.
        Browser browser(inspector);
        EXPECT_EQ(browser.post("api/list").result_int(), 200U);
        Client stream(browser.port());
        browser.stream(stream);
        stream.nextEvent();
    }
    // It takes a moment until the server has seen the ends of both connections, and its last batch.
    long last = -1;
    for (long now = wakesOf(own[0]); now != last; now = wakesOf(own[0])) {
        last = now;
        std::this_thread::sleep_for(std::chrono::milliseconds(700));
    }
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_EQ(wakesOf(own[0]), last);
}
#endif

}  // namespace
}  // namespace foundation::feature
