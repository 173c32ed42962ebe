#pragma once

#include "Catalogue.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace foundation::feature::inspector {

/// What matters of an HTTP request.
struct Request {
    std::string_view method;
    std::string_view target;
    std::vector<std::string_view> hosts;  ///< every Host header, and so on
    std::vector<std::string_view> origins;
    std::string_view contentType;
    bool
        hasMark;  ///< whether it has the header `X-Inspector: 1`, which no other site's page can send unasked
    std::string_view lastEventId;
    std::string_view body;
};

/// What is answered.
struct Reply {
    unsigned status;
    std::string_view contentType;
    std::string body;
    bool isTrusted = false;                    ///< whether the request knew the token
    std::optional<std::uint64_t> eventsSince;  ///< events follow, from this version on
    std::string_view allow;                    ///< the methods that the address takes, for status 405
};

/// A refusal or another short text.
Reply textReply(unsigned status, std::string text);

/// Who may ask, and what is answered.
/// @threads  One, that of the server.
class Api {
public:
    Api(Catalogue& catalogue, std::string token, std::uint16_t port, bool isWritable);

    /// @param time  in milliseconds since the server's start.
    Reply answer(Request const& request, std::int64_t time);

private:
    std::optional<Reply> refuse(Request const& request) const;
    Reply answerTrusted(Request const& request, std::string_view path, std::int64_t time);
    Reply post(Request const& request, std::string_view path, std::int64_t time);
    Reply change(std::string_view body);
    Reply wholeCatalogue(std::int64_t time);

    Catalogue& catalogue_;
    std::string const root_;  // "/<token>/"
    std::string const host_;
    std::string const otherHost_;
    bool const isWritable_;
};

}  // namespace foundation::feature::inspector
