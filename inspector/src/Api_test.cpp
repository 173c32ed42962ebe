#include "TestServer.hpp"

#include <foundation/feature/management.hpp>

#include <foundation/json/Value.hpp>
#include <foundation/json/parse.hpp>

#include <foundation/usm.hpp>

#include <support/ScopedEnvironment.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace foundation::feature::inspector::test {
namespace {

using Object = std::map<std::string, json::Value>;
using Array = std::vector<json::Value>;
using testing::HasSubstr;

void add(Scope scope, char const* name, int value, char const* state = "Beta") {
    management::registerFeature(scope, name, value, state, "dir", "file.cpp", 7, "part", "module");
}

/// The answers of a page that may write, without a server.
struct Page {
    explicit Page(bool isWritable = true) : api(catalogue, token, 8123, isWritable) {}

    Reply ask(std::string_view method, std::string_view path, std::string_view body = "") {
        std::string const target = "/" + token + "/" + std::string(path);
        Request request{method, target, {"127.0.0.1:8123"}, {}, "application/json", true, "", body};
        return api.answer(request, 0);
    }

    Reply set(std::string_view body) { return ask("POST", "api/set", body); }

    Object list() { return json::parse(ask("POST", "api/list").body).get<Object>(); }

    /// The row of a feature in a fresh list.
    Object row(std::string const& name) {
        Object const whole = list();
        for (json::Value const& row : whole.at("features").get<Array>()) {
            if (row.get<Object>().at("name").get<std::string>() == name) return row.get<Object>();
        }
        throw std::runtime_error("there is no row of " + name);
    }

    std::shared_ptr<InstanceTable> const instances = std::make_shared<InstanceTable>();
    Catalogue catalogue{instances};
    Api api;
};

std::vector<std::int64_t> numbers(json::Value const& array) {
    std::vector<std::int64_t> values;
    for (json::Value const& value : array.get<Array>())
        values.push_back(value.get<std::int64_t>());
    return values;
}

TEST(TheList, SaysEverythingOfAFeature) {
    add(Scope::PROCESS, "Alpha", 3, "Preview");
    auto const alpha = management::getFeature("Alpha");
    alpha->get();
    alpha->get();
    alpha->set(4);
    Object const expected{{"name", "Alpha"},
                          {"scope", "perPROCESS"},
                          {"state", "Preview"},
                          {"default", 3},
                          {"environment", json::Null()},
                          {"component", "part"},
                          {"module", "module"},
                          {"clientDir", "dir"},
                          {"file", "file.cpp"},
                          {"line", 7},
                          {"extension", ""},
                          {"values", Array{4}},
                          {"reads", Array{2}},
                          {"writes", Array{1}}};
    EXPECT_EQ(json::Value(Page().row("Alpha")), json::Value(expected));
}

TEST(ALook, IsNoCountedRead) {
    add(Scope::PROCESS, "Alpha", 3);
    add(Scope::ZOR, "Beta", 3);
    usm::EngineInstance instance;
    Page page;
    auto const named = page.instances->add("one", instance);
    for (int i = 0; i < 5; ++i) {
        page.list();
        page.catalogue.look();
    }
    EXPECT_EQ(management::getFeature("Alpha")->getReadCount(), 0U);
    EXPECT_EQ(management::getFeature("Beta")->getReadCount(), 0U);
    usm::CurrentEngineInstance const current(instance);
    EXPECT_EQ(management::getFeature("Beta")->getReadCount(), 0U);
}

TEST(TheList, HasAPlaceForEachNamedInstance) {
    add(Scope::ZOR, "Alpha", 3);
    add(Scope::PROCESS, "Beta", 1);
    usm::EngineInstance first;
    usm::EngineInstance second;
    Page page;
    auto const one = page.instances->add("first", first);
    auto const two = page.instances->add("second", second);
    {
        usm::CurrentEngineInstance const current(second);
        management::getFeature("Alpha")->set(8);
    }
    EXPECT_EQ(numbers(page.row("Alpha").at("values")), (std::vector<std::int64_t>{3, 3, 8}));
    EXPECT_EQ(numbers(page.row("Alpha").at("writes")), (std::vector<std::int64_t>{0, 0, 1}));
    EXPECT_EQ(numbers(page.row("Beta").at("values")), (std::vector<std::int64_t>{1}));

    std::uint64_t const before = page.catalogue.generation();
    page.instances->remove(one);
    page.catalogue.look();
    EXPECT_GT(page.catalogue.generation(), before);
    EXPECT_EQ(numbers(page.row("Alpha").at("values")), (std::vector<std::int64_t>{3, 8}));
    Array const instances = page.list().at("instances").get<Array>();
    ASSERT_EQ(instances.size(), 2U);
    EXPECT_EQ(instances[0].get<Object>().at("name"), json::Value("main"));
    EXPECT_EQ(instances[1].get<Object>().at("name"), json::Value("second"));
    EXPECT_EQ(instances[1].get<Object>().at("id").get<std::int64_t>(), 2);
}

TEST(TheList, TakesInFeaturesThatComeLater) {
    add(Scope::PROCESS, "Alpha", 0);
    Page page;
    EXPECT_EQ(page.list().at("features").get<Array>().size(), 1U);
    add(Scope::PROCESS, "Beta", 0);
    EXPECT_EQ(page.list().at("features").get<Array>().size(), 2U);
}

TEST(TheList, IsOnlyMadeWhenAPageAsksForIt) {
    add(Scope::PROCESS, "Alpha", 0);
    Page page;
    EXPECT_EQ(page.ask("GET", "api/catalogue").status, 200U);  // the first look has to
    add(Scope::PROCESS, "Beta", 0);
    page.catalogue.look();
    EXPECT_THAT(page.ask("GET", "api/catalogue").body, testing::Not(HasSubstr("\"name\":\"Beta\"")));
    EXPECT_THAT(page.ask("POST", "api/list").body, HasSubstr("\"name\":\"Beta\""));
}

TEST(TheEnvironment, IsShownAsTheLibraryReadsIt) {
    struct Row {
        char const* says;
        char const* text;
        json::Value shown;
        bool isStray;
    };
    Row const rows[] = {
        {"another value", "5", 5, false},
        {"a leading blank and a sign", " +5", 5, false},
        {"the default", "3", json::Null(), false},
        {"nothing", "", json::Null(), false},
        {"a trailing blank", "5 ", json::Null(), true},
        {"a word", "on", json::Null(), true},
        {"a number that is too large", "2147483648", json::Null(), true},
        {"the smallest number", "-2147483648", -2147483648LL, false},
    };
    foundation::test::ScopedEnvironment const stray("QZ_FEATURE_Nobodys", "1");
    int number = 0;
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        std::string const name = "Alpha" + std::to_string(++number);
        foundation::test::ScopedEnvironment const variable("QZ_FEATURE_" + name, row.text);
        add(Scope::PROCESS, name.c_str(), 3);
        Page page;
        Object const shown = page.row(name);
        EXPECT_EQ(shown.at("environment"), row.shown);
        std::int64_t const value = row.shown.is<json::Null>() ? 3 : row.shown.get<std::int64_t>();
        EXPECT_EQ(numbers(shown.at("values")), (std::vector<std::int64_t>{value}));

        std::map<std::string, bool> strays;
        Object const whole = page.list();
        for (json::Value const& one : whole.at("strayVariables").get<Array>()) {
            Object const& object = one.get<Object>();
            strays[object.at("name").get<std::string>()] = object.at("namesAFeature").get<bool>();
        }
        std::map<std::string, bool> expected{{"QZ_FEATURE_Nobodys", false}};
        if (row.isStray) expected["QZ_FEATURE_" + name] = true;
        EXPECT_EQ(strays, expected);
    }
}

TEST(APort, IsPartOfTheHostUnlessBrowsersLeaveItOut) {
    struct Row {
        std::uint16_t port;
        char const* host;
        char const* origin;
        unsigned status;
    };
    for (Row const& row : {Row{8123, "127.0.0.1:8123", "http://127.0.0.1:8123", 200},
                           Row{8123, "localhost:8123", "http://localhost:8123", 200},
                           Row{8123, "127.0.0.1", "http://127.0.0.1", 403},
                           Row{8123, "127.0.0.1:8123", "http://127.0.0.1", 403},
                           Row{80, "127.0.0.1", "http://127.0.0.1", 200},
                           Row{80, "localhost", "http://localhost", 200},
                           Row{80, "127.0.0.1", "http://127.0.0.1:8123", 403},
                           Row{80, "evil.example", "http://evil.example", 403}}) {
        SCOPED_TRACE(std::to_string(row.port) + " " + row.host + " " + row.origin);
        Catalogue catalogue(std::make_shared<InstanceTable>());
        Api api(catalogue, token, row.port, false);
        std::string const target = "/" + token + "/";
        Request const request{"GET", target, {row.host}, {row.origin}, "", false, "", ""};
        EXPECT_EQ(api.answer(request, 0).status, row.status);
    }
}

TEST(AChange, IsMadeInTheProcessOrInOneInstance) {
    add(Scope::PROCESS, "Alpha", 0);
    add(Scope::ZOR, "Beta", 0);
    usm::EngineInstance instance;
    Page page;
    auto const named = page.instances->add("one", instance);
    page.list();
    std::vector<int> seen;
    management::getFeature("Alpha")->addCallback(
        [&](IFeature const& changed) { seen.push_back(changed.get()); });

    Reply const reply = page.set(R"({"name":"Alpha","instance":0,"value":7})");
    EXPECT_EQ(reply.status, 200U);
    EXPECT_EQ(reply.body, R"({"before":0,"failure":""})");
    EXPECT_EQ(seen, (std::vector<int>{0, 7}));
    EXPECT_EQ(page.set(R"({"name":"Beta","instance":1,"value":8})").status, 200U);
    EXPECT_EQ(numbers(page.row("Beta").at("values")), (std::vector<std::int64_t>{0, 8}));
    EXPECT_EQ(page.set(R"({"name":"Beta","instance":0,"value":9})").status, 200U);
    EXPECT_EQ(numbers(page.row("Beta").at("values")), (std::vector<std::int64_t>{9, 8}));
}

TEST(AChange, LeavesAValueThatIsNotTheExpectedOne) {
    add(Scope::PROCESS, "Alpha", 0);
    Page page;
    page.list();
    Reply const reply = page.set(R"({"name":"Alpha","instance":0,"value":7,"expected":1})");
    EXPECT_EQ(reply.status, 409U);
    EXPECT_EQ(reply.body, "inspector: The value is 0 by now, and is left so.\n");
    EXPECT_EQ(page.set(R"({"name":"Alpha","instance":0,"value":7,"expected":0})").status, 200U);
    EXPECT_EQ(management::process::getDataPtr("Alpha")->value, 7);
}

TEST(AChange, ReportsWhatAWatcherThrows) {
    add(Scope::PROCESS, "Alpha", 0);
    Page page;
    page.list();
    management::getFeature("Alpha")->addCallback([](IFeature const& changed) {
        if (changed.get() == 1) throw std::runtime_error("not today");
        if (changed.get() == 2) throw 2;
    });
    EXPECT_EQ(page.set(R"({"name":"Alpha","instance":0,"value":1})").body,
              R"({"before":0,"failure":"not today"})");
    EXPECT_EQ(page.set(R"({"name":"Alpha","instance":0,"value":2})").body,
              R"({"before":1,"failure":"an exception of no known kind"})");
    EXPECT_EQ(management::process::getDataPtr("Alpha")->value, 2);
}

TEST(AChange, IsRefusedWhenItCannotBeMeant) {
    add(Scope::PROCESS, "Alpha", 0);
    usm::EngineInstance instance;
    Page page;
    auto const named = page.instances->add("one", instance);
    page.list();
    struct Row {
        char const* says;
        std::string body;
        unsigned status;
    };
    Row const rows[] = {
        {"no JSON", "value", 400},
        {"nothing", "", 400},
        {"an array", "[]", 400},
        {"no value", R"({"name":"Alpha","instance":0})", 400},
        {"a text as value", R"({"name":"Alpha","instance":0,"value":"1"})", 400},
        {"a fraction", R"({"name":"Alpha","instance":0,"value":1.5})", 400},
        {"a value that is too large", R"({"name":"Alpha","instance":0,"value":2147483648})", 400},
        {"a negative instance", R"({"name":"Alpha","instance":-1,"value":1})", 400},
        {"a number as name", R"({"name":1,"instance":0,"value":1})", 400},
        {"a text as expected value", R"({"name":"Alpha","instance":0,"value":1,"expected":"0"})", 400},
        {"a further key", R"({"name":"Alpha","instance":0,"value":1,"force":true})", 400},
        {"more after it", R"({"name":"Alpha","instance":0,"value":1}{})", 400},
        {"a name that is no UTF-8", "{\"name\":\"\xFF\",\"instance\":0,\"value\":1}", 400},
        {"deep JSON", std::string(10000, '['), 400},
        {"an unknown feature", R"({"name":"Beta","instance":0,"value":1})", 404},
        {"an unknown instance", R"({"name":"Alpha","instance":9,"value":1})", 404},
        {"an instance of a feature with one value", R"({"name":"Alpha","instance":1,"value":1})", 404},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        EXPECT_EQ(page.set(row.body).status, row.status);
    }
    EXPECT_EQ(management::process::getDataPtr("Alpha")->value, 0);
}

TEST(AChange, IsRefusedUnlessTheHostAllowsIt) {
    add(Scope::PROCESS, "Alpha", 0);
    Page page(false);
    EXPECT_EQ(page.list().at("isWritable"), json::Value(false));
    Reply const reply = page.set(R"({"name":"Alpha","instance":0,"value":1})");
    EXPECT_EQ(reply.status, 403U);
    EXPECT_EQ(reply.body, "inspector: The host has not allowed features to be changed here.\n");
    EXPECT_EQ(management::process::getDataPtr("Alpha")->value, 0);
    EXPECT_EQ(Page(true).list().at("isWritable"), json::Value(true));
}

TEST(ATextThatIsNoUtf8, IsShownWithItsBytes) {
    management::registerFeature(
        Scope::PROCESS, "Alpha", 0, "Off", "", "caf\xE9<b>", -1, "\"\\\n", "na\xC3\xAFve");
    Object const row = Page().row("Alpha");
    EXPECT_EQ(row.at("file"), json::Value("caf\\xe9<b>"));
    EXPECT_EQ(row.at("component"), json::Value("\"\\\n"));
    EXPECT_EQ(row.at("module"), json::Value("na\xC3\xAFve"));
}

}  // namespace
}  // namespace foundation::feature::inspector::test
