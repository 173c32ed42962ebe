#include "Api.hpp"

#include "Assets.hpp"
#include "json.hpp"

#include <charconv>
#include <exception>
#include <system_error>
#include <utility>

namespace foundation::feature::inspector {
namespace {

constexpr std::string_view jsonType = "application/json";

/// Whether `text` begins with `secret`. Takes as long wherever they begin to differ, so that nobody can find the
/// secret out byte by byte.
bool beginsWithSecret(std::string_view text, std::string_view secret) {
    if (text.size() < secret.size()) return false;
    unsigned difference = 0;
    for (std::size_t i = 0; i < secret.size(); ++i)
        difference |= static_cast<unsigned char>(text[i]) ^ static_cast<unsigned char>(secret[i]);
    return difference == 0;
}

std::optional<std::uint64_t> parseNumber(std::string_view text) {
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

Reply jsonReply(std::string body) {
    return {200, jsonType, std::move(body), true, std::nullopt, ""};
}

/// How a browser calls a server of this machine: without the port that an address without one means.
std::string hostOf(std::string const& name, std::uint16_t port) {
    return port == 80 ? name : name + ":" + std::to_string(port);
}

Reply methodReply(std::string_view allow) {
    Reply reply = textReply(405, "This address takes " + std::string(allow) + " only.");
    reply.allow = allow;
    return reply;
}

}  // namespace

Reply textReply(unsigned status, std::string text) {
    return {
        status, "text/plain; charset=utf-8", "inspector: " + std::move(text) + "\n", false, std::nullopt, ""};
}

Api::Api(Catalogue& catalogue, std::string token, std::uint16_t port, bool isWritable)
    : catalogue_(catalogue), root_("/" + std::move(token) + "/"), host_(hostOf("127.0.0.1", port)),
      otherHost_(hostOf("localhost", port)), isWritable_(isWritable) {}

Reply Api::answer(Request const& request, std::int64_t time) {
    if (std::optional<Reply> refusal = refuse(request)) return std::move(*refusal);
    Reply reply;
    try {
        reply = answerTrusted(request, request.target.substr(root_.size()), time);
    } catch (std::exception const& error) {
        reply = textReply(500, std::string("The request failed: ") + error.what());
    } catch (...) {
        // An extension's code may throw anything, and the host must not end for it.
        reply = textReply(500, "The request failed.");
    }
    reply.isTrusted = true;
    return reply;
}

std::optional<Reply> Api::refuse(Request const& request) const {
    // A name of another site may be made to lead here; the browser then tells it as the host.
    if (request.hosts.size() != 1) return textReply(400, "A request needs exactly one Host header.");
    std::string_view const host = request.hosts.front();
    if (host != host_ && host != otherHost_)
        return textReply(403, "This server answers requests to " + host_ + " only.");
    if (request.origins.size() > 1) return textReply(400, "A request has one Origin header at most.");
    if (!request.origins.empty() && request.origins.front() != "http://" + std::string(host))
        return textReply(403, "Requests of other sites' pages are refused.");
    if (!request.target.starts_with('/')) return textReply(400, "The request's target must be a path.");
    if (!beginsWithSecret(request.target, root_))
        return textReply(403,
                         "The address lacks the token. Open the whole address that the program has given.");
    return std::nullopt;
}

Reply Api::answerTrusted(Request const& request, std::string_view path, std::int64_t time) {
    if (path == "api/list" || path == "api/set") {
        return request.method == "POST" ? post(request, path, time) : methodReply("POST");
    }
    std::size_t const question = path.find('?');
    std::string_view const query = question != path.npos ? path.substr(question + 1) : "";
    std::string_view const name = path.substr(0, question);
    Asset const* const asset = findAsset(path);
    bool const isEvents = name == "api/events";
    if (asset == nullptr && !isEvents && path != "api/catalogue")
        return textReply(404, "There is no such page.");
    if (request.method != "GET") return methodReply("GET");

    if (asset != nullptr)
        return {200, asset->contentType, std::string(asset->content), true, std::nullopt, ""};
    if (!isEvents) return wholeCatalogue(time);
    // A browser that connects again says which event it has had.
    std::string_view const since = !request.lastEventId.empty()  ? request.lastEventId
                                   : query.starts_with("since=") ? query.substr(6)
                                                                 : "";
    std::optional<std::uint64_t> const version = parseNumber(since);
    if (!version) return textReply(400, "Events need the version to begin with: api/events?since=<number>.");
    return {200, "text/event-stream", "", true, version, ""};
}

Reply Api::post(Request const& request, std::string_view path, std::int64_t time) {
    // Other sites' pages can send neither without being asked first, and are refused then.
    if (!request.hasMark) return textReply(403, "The header X-Inspector: 1 is missing.");
    if (request.contentType != jsonType) return textReply(415, "The body must be application/json.");
    if (path == "api/list") {
        catalogue_.list();
        return wholeCatalogue(time);
    }
    if (!isWritable_) return textReply(403, "The host has not allowed features to be changed here.");
    return change(request.body);
}

Reply Api::change(std::string_view body) {
    std::optional<ChangeRequest> const wanted = parseChangeRequest(body);
    if (!wanted)
        return textReply(
            400,
            "The body must be {\"name\": text, \"instance\": number, \"value\": 32-bit integer}, "
            "and \"expected\": 32-bit integer if wanted.");
    Change const change = catalogue_.set(wanted->name, wanted->instance, wanted->value, wanted->expected);
    switch (change.outcome) {
    case Change::NoSuchFeature:
        return textReply(404, "There is no such feature in the list.");
    case Change::NoSuchInstance:
        return textReply(
            404, "There is no such engine instance any more, or the feature has one value in the process.");
    case Change::OtherValue:
        return textReply(409, "The value is " + std::to_string(change.before) + " by now, and is left so.");
    case Change::Done:
        break;
    }
    return jsonReply(changeJson(change));
}

Reply Api::wholeCatalogue(std::int64_t time) {
    if (!catalogue_.isListed()) catalogue_.list();
    catalogue_.look();
    return jsonReply(catalogueJson(catalogue_, isWritable_, time));
}

}  // namespace foundation::feature::inspector
