#pragma once

#include "Catalogue.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace foundation::feature::inspector {

/// Everything in the catalogue, for the page.
/// @param time  in milliseconds since the server's start.
std::string catalogueJson(Catalogue const& catalogue, bool isWritable, std::int64_t time);

/// What has changed since a version of the catalogue, as an event for the page: of each such row its number and, for
/// each place, value, reads and writes.
std::string changesEvent(Catalogue const& catalogue, std::uint64_t since, std::int64_t time);

/// The answer to a request to change a feature.
std::string changeJson(Change const& change);

/// What the page asks for: to set a feature.
struct ChangeRequest {
    std::string name;
    std::uint64_t instance;
    int value;
    std::optional<int> expected;
};

/// Reads {"name": text, "instance": number, "value": int} and, if it is there, "expected": int.
/// @return  empty when the text is anything else, an unknown key included.
std::optional<ChangeRequest> parseChangeRequest(std::string_view text);

}  // namespace foundation::feature::inspector
