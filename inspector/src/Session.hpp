#pragma once

#include "Api.hpp"

#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/message.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/string_body.hpp>

#include <array>
#include <chrono>
#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>

namespace foundation::feature::inspector {

class Server;

/// One connection. Whatever it waits for keeps it alive; once it waits for nothing it ends.
/// @threads  That of Server::run().
class Session : public std::enable_shared_from_this<Session> {
public:
    Session(Server& server, boost::asio::ip::tcp::socket socket);
    ~Session();
    Session(Session const&) = delete;
    Session& operator=(Session const&) = delete;

    /// Waits for a request.
    void read();

    /// Whether a request on it has known the token.
    bool isTrusted() const { return isTrusted_; }

    bool isOpen() const { return socket_.is_open(); }

    /// Whether it has been answered, and waits for a further request of which nothing is there yet.
    bool isResting() const { return isResting_ && buffer_.size() == 0 && !parser_->got_some(); }

    /// Whether events are sent on it.
    bool isStream() const { return isStream_; }

    /// Sends what has changed since the last batch, unless the browser has not yet taken that one.
    void sendBatch();

    void close();

private:
    using Message = boost::beast::http::response<boost::beast::http::string_body>;

    void allow(std::chrono::milliseconds time, void (Session::*expired)());
    void stopClock();
    void expireRead();
    void finishRead(boost::beast::error_code error);
    Reply answerFor(boost::beast::http::request<boost::beast::http::string_body> const& request);
    void write(Reply reply, bool keepsAlive);
    void beginStream(std::uint64_t since);
    void discardUntilEnd();

    Server& server_;
    boost::asio::ip::tcp::socket socket_;
    boost::asio::steady_timer deadline_;
    std::uint64_t deadlineNumber_ = 0;
    boost::beast::flat_buffer buffer_;
    std::optional<boost::beast::http::request_parser<boost::beast::http::string_body>> parser_;
    std::shared_ptr<Message> message_;
    std::string batch_;
    std::array<char, 64> ignored_{};
    std::uint64_t sentVersion_ = 0;
    bool hasExpired_ = false;
    bool isTrusted_ = false;
    bool isResting_ = false;
    bool isStream_ = false;
    bool isSending_ = false;
    std::list<Session*>::iterator const
        position_;  // the last member: once it is in the list, nothing can fail
};

}  // namespace foundation::feature::inspector
