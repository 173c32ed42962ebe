#include "Session.hpp"

#include "Server.hpp"
#include "json.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/write.hpp>
#include <boost/beast/http/error.hpp>
#include <boost/beast/http/field.hpp>
#include <boost/beast/http/read.hpp>
#include <boost/beast/http/verb.hpp>
#include <boost/beast/http/write.hpp>

#include <utility>

namespace foundation::feature::inspector {
namespace {

namespace asio = boost::asio;
namespace http = boost::beast::http;
using asio::ip::tcp;
using boost::system::error_code;

/// The page may load its own files and speak with this server, nothing else; nothing may embed it.
constexpr char const* contentPolicy =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "base-uri 'none'; form-action 'none'; frame-ancestors 'none'";

/// How long the other side has to close a connection after the last answer.
constexpr std::chrono::seconds lingering{1};

std::string_view view(boost::beast::string_view text) {
    return {text.data(), text.size()};
}

template <class Fields>
std::vector<std::string_view> all(Fields const& fields, http::field name) {
    std::vector<std::string_view> values;
    auto const [first, last] = fields.equal_range(name);
    for (auto field = first; field != last; ++field)
        values.push_back(view(field->value()));
    return values;
}

/// What to answer to bytes that are no request.
Reply refusalOf(error_code error) {
    if (error == http::error::header_limit || error == http::error::buffer_overflow)
        return textReply(431, "The request's header is too large.");
    if (error == http::error::body_limit) return textReply(413, "The request's body is too large.");
    return textReply(400, "This is no HTTP request: " + error.message() + ".");
}

void setCommonFields(http::fields& fields) {
    fields.set(http::field::cache_control, "no-store");
    fields.set("Content-Security-Policy", contentPolicy);
    fields.set("X-Content-Type-Options", "nosniff");
    fields.set("Referrer-Policy", "no-referrer");
    fields.set("Cross-Origin-Resource-Policy", "same-origin");
    fields.set("Cross-Origin-Opener-Policy", "same-origin");
}

}  // namespace

Session::Session(Server& server, tcp::socket socket)
    : server_(server), socket_(std::move(socket)), deadline_(server.context_),
      buffer_(server.limits_.headerBytes + server.limits_.bodyBytes),
      position_(server.sessions_.insert(server.sessions_.end(), this)) {
    error_code ignored;
    socket_.set_option(tcp::no_delay(true), ignored);
}

Session::~Session() {
    if (isStream_) --server_.streamCount_;
    server_.sessions_.erase(position_);
}

void Session::close() {
    error_code ignored;
    socket_.shutdown(tcp::socket::shutdown_both, ignored);
    socket_.close(ignored);
    stopClock();
}

/// Calls `expired` after that time, unless another time or none is allowed before.
void Session::allow(std::chrono::milliseconds time, void (Session::*expired)()) {
    deadline_.expires_after(time);
    deadline_.async_wait([self = shared_from_this(), expired, number = ++deadlineNumber_](error_code error) {
        if (!error && number == self->deadlineNumber_) (self.get()->*expired)();
    });
}

void Session::stopClock() {
    ++deadlineNumber_;  // for one that has just expired, and whose call is about to come
    deadline_.cancel();
}

void Session::read() {
    parser_.emplace();
    parser_->header_limit(server_.limits_.headerBytes);
    parser_->body_limit(server_.limits_.bodyBytes);
    // A kept connection may rest for a while; a new one is there because of a request.
    isResting_ = message_ != nullptr;
    allow(message_ == nullptr ? server_.limits_.request : server_.limits_.idle, &Session::expireRead);
    http::async_read(socket_, buffer_, *parser_, [self = shared_from_this()](error_code error, std::size_t) {
        self->finishRead(error);
    });
}

void Session::expireRead() {
    // Only the reading ends: the answer can still be sent.
    hasExpired_ = true;
    error_code ignored;
    socket_.cancel(ignored);
}

void Session::finishRead(error_code error) {
    stopClock();
    isResting_ = false;
    if (hasExpired_ && parser_->got_some()) {
        write(textReply(408, "The request took too long."), false);
    } else if (error.category() == http::make_error_code(http::error::bad_target).category() &&
               error != http::error::end_of_stream && !hasExpired_) {
        write(refusalOf(error), false);
    } else if (error || hasExpired_) {
        close();
    } else {
        Reply reply = answerFor(parser_->get());
        isTrusted_ = isTrusted_ || reply.isTrusted;
        if (reply.eventsSince) {
            beginStream(*reply.eventsSince);
        } else {
            // What asks for no body would take this one for the next answer.
            bool const wantsBody = parser_->get().method() != http::verb::head;
            write(std::move(reply), wantsBody && parser_->get().keep_alive());
        }
    }
}

Reply Session::answerFor(http::request<http::string_body> const& message) {
    Request request;
    request.method = view(message.method_string());
    request.target = view(message.target());
    request.hosts = all(message, http::field::host);
    request.origins = all(message, http::field::origin);
    request.contentType = view(message[http::field::content_type]);
    request.hasMark = message["X-Inspector"] == "1";
    request.lastEventId = view(message["Last-Event-ID"]);
    request.body = message.body();
    Reply reply = server_.api_.answer(request, server_.time());
    if (reply.eventsSince && server_.streamCount_ >= server_.limits_.streams) {
        reply = textReply(503, "Too many pages are open.");
        reply.isTrusted = true;
    }
    return reply;
}

void Session::write(Reply reply, bool keepsAlive) {
    message_ = std::make_shared<Message>();
    message_->version(11);
    message_->result(reply.status);
    setCommonFields(*message_);
    message_->set(http::field::content_type,
                  boost::beast::string_view(reply.contentType.data(), reply.contentType.size()));
    if (!reply.allow.empty())
        message_->set(http::field::allow, boost::beast::string_view(reply.allow.data(), reply.allow.size()));
    message_->keep_alive(keepsAlive);
    message_->body() = std::move(reply.body);
    message_->prepare_payload();
    allow(server_.limits_.request, &Session::close);
    http::async_write(
        socket_, *message_, [self = shared_from_this(), keepsAlive](error_code error, std::size_t) {
            self->stopClock();
            if (error) return self->close();
            if (keepsAlive) return self->read();
            // To close while bytes are on their way here would take the answer from the one who has sent them.
            error_code ignored;
            self->socket_.shutdown(tcp::socket::shutdown_send, ignored);
            self->allow(lingering, &Session::close);
            self->discardUntilEnd();
        });
}

void Session::beginStream(std::uint64_t since) {
    isStream_ = true;
    ++server_.streamCount_;
    sentVersion_ = since;
    message_ = std::make_shared<Message>();
    message_->version(11);
    message_->result(http::status::ok);
    setCommonFields(*message_);
    message_->set(http::field::content_type, "text/event-stream");
    message_->keep_alive(false);
    isSending_ = true;
    allow(server_.limits_.request, &Session::close);
    // Without a length: the events are the body, which ends with the connection.
    http::async_write(socket_, *message_, [self = shared_from_this()](error_code error, std::size_t) {
        self->stopClock();
        self->isSending_ = false;
        if (error) return self->close();
        self->discardUntilEnd();
        self->server_.awaitNextBatch();
    });
}

/// Waits until the other side closes the connection.
void Session::discardUntilEnd() {
    socket_.async_read_some(asio::buffer(ignored_),
                            [self = shared_from_this()](error_code error, std::size_t) {
                                if (error) {
                                    self->close();
                                } else {
                                    self->discardUntilEnd();
                                }
                            });
}

void Session::sendBatch() {
    if (isSending_ || !socket_.is_open()) return;
    batch_ = changesEvent(server_.catalogue_, sentVersion_, server_.time());
    allow(server_.limits_.request, &Session::close);
    sentVersion_ = server_.catalogue_.version();
    isSending_ = true;
    asio::async_write(
        socket_, asio::buffer(batch_), [self = shared_from_this()](error_code error, std::size_t) {
            self->stopClock();
            self->isSending_ = false;
            if (error) self->close();
        });
}

}  // namespace foundation::feature::inspector
