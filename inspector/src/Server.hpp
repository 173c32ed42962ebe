#pragma once

#include "Api.hpp"
#include "Catalogue.hpp"

#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/asio/steady_timer.hpp>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>

namespace foundation::feature::inspector {

class Session;

/// What one process's page may cost.
struct Limits {
    std::size_t connections = 64;
    std::size_t streams = 16;          ///< of them, those that events are sent on
    std::uint32_t headerBytes = 8192;  ///< of a request
    std::uint64_t bodyBytes = 16384;   ///< the same
    std::chrono::milliseconds request =
        std::chrono::seconds(10);  ///< until a request is there, or an answer gone
    std::chrono::milliseconds idle = std::chrono::seconds(30);  ///< until the next request begins
    std::chrono::milliseconds batch{250};                       ///< between two events
};

/// The server of one inspector.
/// @threads  That of run(), but for the constructor, stop() and port().
class Server {
public:
    /// Listens.
    /// @throws  std::runtime_error  see Inspector.
    Server(std::shared_ptr<InstanceTable> table,
           std::uint16_t port,
           std::string token,
           bool isWritable,
           Limits const& limits = {});
    ~Server();
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    /// Serves until stopped.
    void run();

    /// Has run() return as soon as what it just does is done. From any thread.
    void stop();

    std::uint16_t port() const { return port_; }

private:
    friend class Session;

    void accept();
    bool makeRoom();
    void awaitNextBatch();
    void sendBatch();
    std::int64_t time() const;

    Limits const limits_;
    std::chrono::steady_clock::time_point const start_ = std::chrono::steady_clock::now();
    Catalogue catalogue_;
    std::list<Session*> sessions_;  // the oldest first; each one takes itself out at its end
    std::size_t streamCount_ = 0;
    bool isBatchAwaited_ = false;
    bool isAccepting_ = false;  // or waiting to do so again
    // From here on in this order: what ends with the context looks at what stands above.
    boost::asio::io_context context_{1};
    boost::asio::ip::tcp::acceptor acceptor_;
    boost::asio::steady_timer batchTimer_;  // runs only while there are streams
    boost::asio::steady_timer acceptTimer_;
    std::uint16_t const port_;
    Api api_;
};

}  // namespace foundation::feature::inspector
