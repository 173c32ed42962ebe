// For tests that speak with a server as a browser, or somebody worse, would.
#pragma once

#include "Server.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/asio/connect.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/read_until.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/string_body.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

namespace foundation::feature::inspector::test {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using boost::system::error_code;

inline std::string const token = "0123456789abcdef0123456789abcdef01234567";

/// A server that runs.
class RunningServer {
public:
    explicit RunningServer(Limits const& limits = {}, bool isWritable = true)
        : server(instances, 0, token, isWritable, limits), thread_([this] { server.run(); }) {}

    ~RunningServer() {
        server.stop();
        thread_.join();
    }

    RunningServer(RunningServer const&) = delete;
    RunningServer& operator=(RunningServer const&) = delete;

    std::string host() const { return "127.0.0.1:" + std::to_string(server.port()); }

    std::shared_ptr<InstanceTable> const instances = std::make_shared<InstanceTable>();
    Server server;

private:
    std::thread thread_;
};

using Answer = http::response<http::string_body>;

/// One connection. What the server does not do in time, the test's own limit of time reports.
class Client {
public:
    explicit Client(std::uint16_t port) : port_(port), socket_(context_) {
        socket_.connect({asio::ip::address_v4::loopback(), port});
    }

    /// Sends these bytes; that the other side may have closed meanwhile is no matter.
    void send(std::string_view bytes) {
        error_code ignored;
        asio::write(socket_, asio::buffer(bytes), ignored);
    }

    /// The next answer; one with result 0 when the connection has been closed instead.
    Answer receive() {
        Answer answer;
        error_code error;
        http::read(socket_, buffer_, answer, error);
        if (error) answer.result(0U);
        return answer;
    }

    /// Sends a request with these further header lines, each ended by "\r\n", and a body.
    Answer request(std::string_view method,
                   std::string_view target,
                   std::string_view headers = "",
                   std::string_view body = "") {
        std::string text(method);
        text.append(" ").append(target).append(" HTTP/1.1\r\nHost: 127.0.0.1:");
        text.append(std::to_string(port_)).append("\r\n").append(headers);
        text.append("Content-Length: ").append(std::to_string(body.size())).append("\r\n\r\n").append(body);
        send(text);
        return receive();
    }

    /// As the page itself posts.
    Answer post(std::string_view path, std::string_view body = "") {
        return request("POST",
                       "/" + token + "/" + std::string(path),
                       "Origin: http://127.0.0.1:" + std::to_string(port_) +
                           "\r\nX-Inspector: 1\r\nContent-Type: application/json\r\n",
                       body);
    }

    Answer get(std::string_view path) { return request("GET", "/" + token + "/" + std::string(path)); }

    /// Begins a stream of events and reads its header.
    std::string openStream(std::uint64_t since) {
        send("GET /" + token + "/api/events?since=" + std::to_string(since) +
             " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port_) + "\r\n\r\n");
        return readUntil("\r\n\r\n");
    }

    std::string nextEvent() { return readUntil("\n\n"); }

    /// What comes up to the end of `mark`; empty when the connection is closed before.
    std::string readUntil(std::string_view mark) {
        error_code error;
        std::size_t const size =
            asio::read_until(socket_, asio::dynamic_buffer(text_), std::string(mark), error);
        std::string read = error ? "" : text_.substr(0, size);
        text_.erase(0, read.size());
        return read;
    }

    /// Whether the other side closes the connection, after whatever it may still send.
    bool isClosed() {
        error_code error;
        char byte = 0;
        while (!error)
            socket_.read_some(asio::buffer(&byte, 1), error);
        return true;
    }

private:
    std::uint16_t const port_;
    asio::io_context context_;
    asio::ip::tcp::socket socket_;
    boost::beast::flat_buffer buffer_;
    std::string text_;
};

}  // namespace foundation::feature::inspector::test
