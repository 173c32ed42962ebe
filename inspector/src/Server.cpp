#include "Server.hpp"

#include "Session.hpp"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/asio/ip/address_v4.hpp>
#include <boost/asio/socket_base.hpp>

#include <stdexcept>
#include <utility>

#if !defined(_WIN32)
#include <fcntl.h>
#endif

namespace foundation::feature::inspector {
namespace {

namespace asio = boost::asio;
using asio::ip::tcp;
using boost::system::error_code;

/// Has the processes that the host starts not inherit a socket: they would keep the port, and connections, for as long
/// as they run.
void keepFromChildren(tcp::socket::native_handle_type socket) {
#if defined(_WIN32)
    SOCKET const plain = socket;
    ::SetHandleInformation(reinterpret_cast<HANDLE>(plain), HANDLE_FLAG_INHERIT, 0);
#else
    ::fcntl(socket, F_SETFD, FD_CLOEXEC);
#endif
}

/// An acceptor that listens on 127.0.0.1.
tcp::acceptor listen(asio::io_context& context, std::uint16_t port) {
    tcp::endpoint const endpoint(asio::ip::address_v4::loopback(), port);
    try {
        tcp::acceptor acceptor(context, endpoint.protocol());
        keepFromChildren(acceptor.native_handle());
#if defined(_WIN32)
        // There, another process could otherwise listen on the same port as well, and learn tokens.
        BOOL const yes = TRUE;
        ::setsockopt(acceptor.native_handle(),
                     SOL_SOCKET,
                     SO_EXCLUSIVEADDRUSE,
                     reinterpret_cast<char const*>(&yes),
                     sizeof yes);
#else
        // A port that the host has chosen must not be lost for minutes after each run.
        acceptor.set_option(tcp::acceptor::reuse_address(true));
#endif
        acceptor.bind(endpoint);
        acceptor.listen();
        return acceptor;
    } catch (boost::system::system_error const& error) {
        throw std::runtime_error("inspector: 127.0.0.1:" + std::to_string(port) +
                                 " cannot be listened on: " + error.code().message());
    }
}

}  // namespace

Server::Server(std::shared_ptr<InstanceTable> table,
               std::uint16_t port,
               std::string token,
               bool isWritable,
               Limits const& limits)
    : limits_(limits), catalogue_(std::move(table)), acceptor_(listen(context_, port)), batchTimer_(context_),
      acceptTimer_(context_), port_(acceptor_.local_endpoint().port()),
      api_(catalogue_, std::move(token), port_, isWritable) {}

Server::~Server() = default;

void Server::run() {
    while (!context_.stopped()) {
        try {
            // What an exception has interrupted begins again.
            if (!isAccepting_) accept();
            awaitNextBatch();
            context_.run();
        } catch (...) {
            // Out of memory, or what the host's code has thrown: it may cost a connection, which ends with what it
            // waited for, but not the host.
        }
    }
}

void Server::stop() {
    context_.stop();
}

std::int64_t Server::time() const {
    auto const passed = std::chrono::steady_clock::now() - start_;
    return std::chrono::duration_cast<std::chrono::milliseconds>(passed).count();
}

void Server::accept() {
    isAccepting_ = false;  // should the next line fail
    acceptor_.async_accept([this](error_code error, tcp::socket socket) {
        isAccepting_ = false;
        if (error == asio::error::operation_aborted) return;
        if (error) {
            // Such as no more file descriptors: trying again at once would find the same.
            acceptTimer_.expires_after(std::chrono::milliseconds(100));
            acceptTimer_.async_wait([this](error_code) { accept(); });
            isAccepting_ = true;
            return;
        }
        accept();
        keepFromChildren(socket.native_handle());
        if (makeRoom()) {
            std::make_shared<Session>(*this, std::move(socket))->read();
        } else {
            // One that is refused costs nothing further: what does not fit at once is not sent.
            constexpr std::string_view answer = "HTTP/1.1 503 Service Unavailable\r\nConnection: close\r\n"
                                                "Content-Type: text/plain\r\nContent-Length: 33\r\n\r\n"
                                                "inspector: too many connections.\n";
            error_code ignored;
            socket.non_blocking(true, ignored);
            socket.write_some(asio::buffer(answer), ignored);
            socket.shutdown(tcp::socket::shutdown_send, ignored);
        }
    });
    isAccepting_ = true;
}

/// When there are as many connections as there may be, closes the oldest one that has not shown the token: those who
/// do not know it cannot keep out those who do. When there is none, the oldest one that rests between two requests.
/// @return  whether there is room for one more.
bool Server::makeRoom() {
    if (sessions_.size() < limits_.connections) return true;
    Session* resting = nullptr;
    for (Session* const session : sessions_) {
        if (!session->isOpen()) continue;  // it is about to end
        if (!session->isTrusted()) {
            session->close();
            return true;
        }
        if (resting == nullptr && session->isResting()) resting = session;
    }
    if (resting == nullptr) return false;
    resting->close();
    return true;
}

void Server::awaitNextBatch() {
    if (isBatchAwaited_ || streamCount_ == 0) return;
    batchTimer_.expires_after(limits_.batch);
    batchTimer_.async_wait([this](error_code error) {
        isBatchAwaited_ = false;
        if (error) return;
        awaitNextBatch();
        sendBatch();
    });
    isBatchAwaited_ = true;
}

void Server::sendBatch() {
    if (streamCount_ == 0) return;
    catalogue_.look();
    // A session that cannot be sent to may take itself out.
    for (auto next = sessions_.begin(); next != sessions_.end();) {
        Session& session = **next++;
        if (session.isStream()) session.sendBatch();
    }
}

}  // namespace foundation::feature::inspector
