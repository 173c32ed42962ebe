#include "TestServer.hpp"

#include <foundation/feature/management.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <deque>
#include <string>
#include <vector>

#if defined(__linux__)
#include <fcntl.h>
#include <netinet/in.h>
#include <sys/socket.h>
#endif

namespace foundation::feature::inspector::test {
namespace {

using std::chrono::milliseconds;
using testing::HasSubstr;
using testing::Not;

void addAlpha(int value = 0) {
    management::registerFeature(
        Scope::PROCESS, "Alpha", value, "Beta", "dir", "alpha.cpp", 7, "part", "module");
}

std::string valueOf(Answer const& answer, char const* field) {
    auto const value = answer[field];
    return {value.data(), value.size()};
}

TEST(ThePage, IsServedWithAPolicyThatLetsNothingElseIn) {
    RunningServer const server;
    Client client(server.server.port());
    struct Row {
        char const* path;
        char const* type;
        char const* holds;
    };
    for (Row const& row : {Row{"", "text/html; charset=utf-8", "<!doctype html>"},
                           Row{"page.css", "text/css; charset=utf-8", "prefers-color-scheme"},
                           Row{"page.js", "text/javascript; charset=utf-8", "import"}}) {
        SCOPED_TRACE(row.path);
        Answer const answer = client.get(row.path);
        EXPECT_EQ(answer.result_int(), 200U);
        EXPECT_EQ(valueOf(answer, "Content-Type"), row.type);
        EXPECT_THAT(answer.body(), HasSubstr(row.holds));
        EXPECT_EQ(valueOf(answer, "Content-Security-Policy"),
                  "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src "
                  "'self' data:; "
                  "base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
        EXPECT_EQ(valueOf(answer, "X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(valueOf(answer, "Referrer-Policy"), "no-referrer");
        EXPECT_EQ(valueOf(answer, "Cache-Control"), "no-store");
        EXPECT_EQ(valueOf(answer, "Cross-Origin-Resource-Policy"), "same-origin");
        EXPECT_EQ(answer.count("Access-Control-Allow-Origin"), 0U);
    }
}

TEST(AServer, RefusesWhatAForeignPageCanSend) {
    addAlpha();
    RunningServer const server;
    std::string const host = server.host();
    std::string const page = "/" + token + "/";
    std::string const set = R"({"name":"Alpha","instance":0,"value":1})";
    std::string const length = "Content-Length: " + std::to_string(set.size()) + "\r\n";
    std::string const json = "Content-Type: application/json\r\n" + length;
    std::string const post = "POST " + page + "api/set HTTP/1.1\r\n";
    std::string const get = "GET " + page + " HTTP/1.1\r\n";
    std::string const own = "Host: " + host + "\r\n";
    struct Row {
        char const* says;
        std::string bytes;
        unsigned status;
        char const* text;
    };
    Row const rows[] = {
        {"another site's name that leads here",
         get + "Host: evil.example\r\n\r\n",
         403,
         "answers requests to"},
        {"the same with our port",
         get + "Host: evil.example:" + std::to_string(server.server.port()) + "\r\n\r\n",
         403,
         "answers requests to"},
        {"the right address without the port", get + "Host: 127.0.0.1\r\n\r\n", 403, "answers requests to"},
        {"a longer host", get + "Host: " + host + ".evil.example\r\n\r\n", 403, "answers requests to"},
        {"no host", get + "\r\n", 400, "exactly one Host"},
        {"two hosts", get + own + "Host: evil.example\r\n\r\n", 400, "exactly one Host"},
        {"another origin", get + own + "Origin: http://evil.example\r\n\r\n", 403, "other sites"},
        {"an origin that hides", get + own + "Origin: null\r\n\r\n", 403, "other sites"},
        {"the origin with another scheme",
         get + own + "Origin: https://" + host + "\r\n\r\n",
         403,
         "other sites"},
        {"two origins",
         get + own + "Origin: http://" + host + "\r\nOrigin: http://evil.example\r\n\r\n",
         400,
         "one Origin"},
        {"a form of another site",
         post + own + "Origin: http://evil.example\r\nX-Inspector: 1\r\n" + json + "\r\n" + set,
         403,
         "other sites"},
        {"a form without an origin",
         post + own + "Content-Type: application/x-www-form-urlencoded\r\n" + length + "\r\n" + set,
         403,
         "X-Inspector"},
        {"a post without our header", post + own + json + "\r\n" + set, 403, "X-Inspector"},
        {"a post of text",
         post + own + "X-Inspector: 1\r\nContent-Type: text/plain\r\n" + length + "\r\n" + set,
         415,
         "application/json"},
        {"what a browser asks before it posts across sites",
         "OPTIONS " + page + "api/set HTTP/1.1\r\n" + own + "Origin: http://evil.example\r\n\r\n",
         403,
         "other sites"},
        {"the same with our origin",
         "OPTIONS " + page + "api/set HTTP/1.1\r\n" + own + "\r\n",
         405,
         "POST only"},
        {"a change by a link", "GET " + page + "api/set HTTP/1.1\r\n" + own + "\r\n", 405, "POST only"},
        {"a post to the page",
         "POST " + page + " HTTP/1.1\r\n" + own + "Content-Length: 0\r\n\r\n",
         405,
         "GET only"},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Client client(server.server.port());
        client.send(row.bytes);
        Answer const answer = client.receive();
        EXPECT_EQ(answer.result_int(), row.status);
        EXPECT_THAT(answer.body(), HasSubstr(row.text));
        EXPECT_THAT(answer.body(), Not(HasSubstr(token)));
    }
    EXPECT_EQ(management::process::getDataPtr("Alpha")->value, 0);
}

TEST(AServer, TakesLocalhostAsItsName) {
    RunningServer const server;
    std::string const host = "localhost:" + std::to_string(server.server.port());
    Client client(server.server.port());
    client.send("GET /" + token + "/ HTTP/1.1\r\nHost: " + host + "\r\nOrigin: http://" + host + "\r\n\r\n");
    EXPECT_EQ(client.receive().result_int(), 200U);
}

TEST(AServer, GivesNothingToWhoDoesNotKnowTheToken) {
    RunningServer const server;
    std::string other = token;
    other.back() = '8';
    std::string upper = token;
    upper[10] = 'A';
    struct Row {
        char const* says;
        std::string target;
        unsigned status;
    };
    Row const rows[] = {
        {"the root", "/", 403},
        {"a file without the token", "/page.js", 403},
        {"the api without the token", "/api/catalogue", 403},
        {"an icon", "/favicon.ico", 403},
        {"another token", "/" + other + "/", 403},
        {"the token in other letters", "/" + upper + "/", 403},
        {"a part of the token", "/" + token.substr(0, 39) + "/", 403},
        {"the token without its slash", "/" + token, 403},
        {"a longer token", "/" + token + "0/", 403},
        {"the token in the query", "/?token=" + token, 403},
        {"two slashes first", "//" + token + "/", 403},
        {"up and down again", "/x/../" + token + "/", 403},
        {"an escaped slash", "/%2e%2e/" + token + "/", 403},
        {"a whole address", "http://127.0.0.1/" + token + "/", 400},
        {"an asterisk", "*", 400},
        {"up from the page", "/" + token + "/../" + token + "/page.js", 404},
        {"escaped dots", "/" + token + "/%2e%2e/page.js", 404},
        {"an escaped name", "/" + token + "/page%2ejs", 404},
        {"two slashes", "/" + token + "//page.js", 404},
        {"a file of the system", "/" + token + "/../../../../etc/passwd", 404},
        {"backslashes", "/" + token + "/..\\..\\etc\\passwd", 404},
        {"a NUL in escapes", "/" + token + "/page.js%00", 404},
        {"another case", "/" + token + "/PAGE.JS", 404},
        {"the page under its file name", "/" + token + "/index.html", 404},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Client client(server.server.port());
        Answer const answer = client.request("GET", row.target);
        EXPECT_EQ(answer.result_int(), row.status);
        EXPECT_THAT(answer.body(), testing::StartsWith("inspector: "));
        EXPECT_THAT(answer.body(), Not(HasSubstr(token)));
    }
}

TEST(AServer, RefusesWhatIsTooLargeOrNoRequestAndServesOn) {
    Limits limits;
    limits.headerBytes = 2000;
    limits.bodyBytes = 1000;
    RunningServer const server(limits);
    std::string const start = "POST /" + token + "/api/set HTTP/1.1\r\nHost: " + server.host() + "\r\n";
    struct Row {
        char const* says;
        std::string bytes;
        unsigned status;
    };
    Row const rows[] = {
        {"a header without end", start + "X: " + std::string(100000, 'x'), 431},
        {"many headers",
         start +
             [] {
                 std::string lines;
                 for (int i = 0; i < 1000; ++i)
                     lines += "X: y\r\n";
                 return lines;
             }() +
             "\r\n",
         431},
        {"a long address", "GET /" + std::string(5000, 'x') + " HTTP/1.1\r\n\r\n", 431},
        {"an announced body", start + "Content-Length: 1001\r\n\r\n", 413},
        {"a body of any length", start + "Content-Length: 18446744073709551615\r\n\r\n", 413},
        {"a body in pieces",
         start + "Transfer-Encoding: chunked\r\n\r\n500\r\n" + std::string(0x500, 'x'),
         413},
        {"two lengths", start + "Content-Length: 1\r\nContent-Length: 2\r\n\r\nxx", 400},
        {"a negative length", start + "Content-Length: -1\r\n\r\n", 400},
        {"no HTTP", "\x16\x03\x01\x02\r\n\r\n", 400},
        {"another version", "GET / HTTP/9.9\r\n\r\n", 400},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.says);
        Client client(server.server.port());
        client.send(row.bytes);
        EXPECT_EQ(client.receive().result_int(), row.status);
        EXPECT_TRUE(client.isClosed());
    }
    EXPECT_EQ(Client(server.server.port()).get("").result_int(), 200U);
}

TEST(AServer, EndsRequestsThatTakeTooLong) {
    Limits limits;
    limits.request = milliseconds(1000);
    limits.idle = milliseconds(1000);
    RunningServer const server(limits);
    {
        SCOPED_TRACE("one that stays away");
        EXPECT_TRUE(Client(server.server.port()).isClosed());
    }
    {
        SCOPED_TRACE("one that stops in its header");
        Client client(server.server.port());
        client.send("GET /" + token + "/ HTTP/1.1\r\nHost: ");
        EXPECT_EQ(client.receive().result_int(), 408U);
        EXPECT_TRUE(client.isClosed());
    }
    {
        SCOPED_TRACE("one that stops in its body");
        Client client(server.server.port());
        client.send("POST /" + token + "/api/set HTTP/1.1\r\nHost: " + server.host() +
                    "\r\nContent-Length: 100\r\n\r\n{");
        EXPECT_EQ(client.receive().result_int(), 408U);
        EXPECT_TRUE(client.isClosed());
    }
    {
        SCOPED_TRACE("one that sends a byte now and then");
        Client client(server.server.port());
        client.send("GET ");
        for (int i = 0; i < 30; ++i) {
            std::this_thread::sleep_for(milliseconds(50));
            client.send("/");
        }
        EXPECT_EQ(client.receive().result_int(), 408U);
    }
    {
        SCOPED_TRACE("one that is done and stays");
        Client client(server.server.port());
        EXPECT_EQ(client.get("").result_int(), 200U);
        EXPECT_TRUE(client.isClosed());
    }
}

TEST(AServer, KeepsAnsweringWhileTwoHundredConnectionsDoNothing) {
    RunningServer const server;
    Client stream(server.server.port());
    EXPECT_THAT(stream.openStream(0), HasSubstr("200 OK"));
    std::deque<Client> idle;
    for (int i = 0; i < 200; ++i)
        idle.emplace_back(server.server.port());
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(Client(server.server.port()).get("").result_int(), 200U);
    EXPECT_THAT(stream.nextEvent(), HasSubstr("data: "));
    EXPECT_THAT(stream.nextEvent(), HasSubstr("data: "));
    // They had to make room.
    EXPECT_TRUE(idle.front().isClosed());
}

std::deque<Client> openTwoStreams(RunningServer const& server) {
    std::deque<Client> pages;
    for (int i = 0; i < 2; ++i) {
        pages.emplace_back(server.server.port());
        EXPECT_THAT(pages.back().openStream(0), HasSubstr("200 OK"));
    }
    return pages;
}

TEST(AServer, RefusesConnectionsAndStreamsThatAreTooMany) {
    Limits limits;
    limits.connections = 4;
    limits.streams = 2;
    RunningServer const server(limits);
    std::deque<Client> pages = openTwoStreams(server);
    for (int i = 0; i < 2; ++i) {
        pages.emplace_back(server.server.port());
        Answer const answer = pages.back().get("api/events?since=0");
        EXPECT_EQ(answer.result_int(), 503U);
        EXPECT_EQ(answer.body(), "inspector: Too many pages are open.\n");
    }
    // Of those that know the token, one that rests makes room; a page that is followed does not.
    pages.emplace_back(server.server.port());
    EXPECT_EQ(pages.back().get("").result_int(), 200U);
    EXPECT_TRUE(pages[2].isClosed());
    EXPECT_EQ(pages[3].get("").result_int(), 200U);
    EXPECT_THAT(pages.front().nextEvent(), HasSubstr("data: "));
}

TEST(AServer, RefusesAConnectionWhenAllOthersAreNeeded) {
    Limits limits;
    limits.connections = 2;
    limits.streams = 2;
    RunningServer const server(limits);
    std::deque<Client> pages = openTwoStreams(server);
    EXPECT_EQ(Client(server.server.port()).receive().result_int(), 503U);
    for (Client& page : pages)
        EXPECT_THAT(page.nextEvent(), HasSubstr("data: "));
}

TEST(AServer, AnswersTwoHundredKeptConnectionsOfThoseWhoKnowTheToken) {
    RunningServer const server;
    std::deque<Client> pages;
    for (int i = 0; i < 200; ++i) {
        pages.emplace_back(server.server.port());
        EXPECT_EQ(pages.back().get("").result_int(), 200U);
    }
    EXPECT_TRUE(pages.front().isClosed());
}

#if defined(__linux__)
TEST(AServer, KeepsItsSocketsFromTheProcessesThatTheHostStarts) {
    RunningServer const server;
    Client client(server.server.port());  // its own socket is inherited, so there is one of the three
    EXPECT_EQ(client.get("").result_int(), 200U);
    int sockets = 0;
    int inherited = 0;
    for (int file = 0; file < 1024; ++file) {
        sockaddr_in name{};
        socklen_t size = sizeof name;
        if (::getsockname(file, reinterpret_cast<sockaddr*>(&name), &size) != 0) continue;
        if (name.sin_family != AF_INET) continue;
        ++sockets;
        if ((::fcntl(file, F_GETFD) & FD_CLOEXEC) == 0) ++inherited;
    }
    EXPECT_EQ(sockets, 3);
    EXPECT_EQ(inherited, 1);
}
#endif

TEST(AStream, BringsWhatChangesAndNothingElse) {
    addAlpha(3);
    management::registerFeature(Scope::PROCESS, "Beta", 0, "Off", "", "", 1, "", "module");
    Limits limits;
    limits.batch = milliseconds(5);
    RunningServer const server(limits);
    Client client(server.server.port());
    std::string const list = client.post("api/list").body();
    EXPECT_THAT(list, HasSubstr(R"("version":1,)"));
    EXPECT_THAT(list, HasSubstr(R"("generation":1,)"));

    Client stream(server.server.port());
    EXPECT_THAT(stream.openStream(1), HasSubstr("Content-Type: text/event-stream\r\n"));
    EXPECT_THAT(stream.nextEvent(), HasSubstr(R"("rows":[]})"));

    auto const alpha = management::getFeature("Alpha");
    alpha->set(5);
    std::string event;
    while (event.find("\"rows\":[]") != event.npos || event.empty())
        event = stream.nextEvent();
    EXPECT_THAT(event, testing::StartsWith("id: 2\ndata: "));
    EXPECT_THAT(event, testing::EndsWith(",[5],[0],[1]]]}\n\n"));
    EXPECT_THAT(stream.nextEvent(), HasSubstr(R"("rows":[]})"));

    // One that comes back brings what it has missed.
    Client again(server.server.port());
    again.openStream(1);
    EXPECT_THAT(again.nextEvent(), HasSubstr("[5],[0],[1]"));
    Client resumed(server.server.port());
    resumed.send("GET /" + token + "/api/events?since=0 HTTP/1.1\r\nHost: " + server.host() +
                 "\r\nLast-Event-ID: 2\r\n\r\n");
    resumed.readUntil("\r\n\r\n");
    EXPECT_THAT(resumed.nextEvent(), HasSubstr(R"("rows":[]})"));
}

TEST(AStream, NeedsAVersionToBeginWith) {
    RunningServer const server;
    Client client(server.server.port());
    for (char const* path :
         {"api/events", "api/events?since=", "api/events?since=-1", "api/events?since=1x"}) {
        SCOPED_TRACE(path);
        EXPECT_EQ(client.get(path).result_int(), 400U);
    }
}

TEST(AServer, StopsAtOnceWithConnectionsOfEveryKind) {
    auto server = std::make_unique<RunningServer>();
    std::uint16_t const port = server->server.port();
    std::deque<Client> streams;
    for (int i = 0; i < 3; ++i) {
        streams.emplace_back(port);
        streams.back().openStream(0);
    }
    Client idle(port);
    Client slow(port);
    slow.send("POST /" + token + "/api/set HTTP/1.1\r\nContent-Length: 100\r\n\r\n{");
    Client kept(port);
    kept.get("");
    auto const begin = std::chrono::steady_clock::now();
    server.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_TRUE(idle.isClosed());
    EXPECT_TRUE(slow.isClosed());
    EXPECT_TRUE(streams.front().isClosed());
}

TEST(AServer, ClosesTheConnectionAfterAnAnswerThatTheOtherSideExpectsNoBodyOf) {
    RunningServer const server;
    Client client(server.server.port());
    client.send("HEAD /" + token + "/ HTTP/1.1\r\nHost: " + server.host() + "\r\n\r\n");
    EXPECT_THAT(client.readUntil("\r\n\r\n"), HasSubstr("405 Method Not Allowed\r\n"));
    EXPECT_TRUE(client.isClosed());
}

TEST(AServer, AnswersSeveralRequestsOnOneConnection) {
    RunningServer const server;
    Client client(server.server.port());
    std::string const request = "GET /" + token + "/page.css HTTP/1.1\r\nHost: " + server.host() + "\r\n\r\n";
    client.send(request + request + request);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(client.receive().result_int(), 200U);
}

}  // namespace
}  // namespace foundation::feature::inspector::test
