#include "parseInt.hpp"

#include <algorithm>
#include <charconv>
#include <limits>
#include <system_error>

namespace foundation::feature::detail {

std::optional<LeadingInt> parseLeadingInt(std::string_view text) noexcept {
    std::size_t const number = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
    bool const isNegative = number < text.size() && text[number] == '-';
    bool const isSigned = isNegative || (number < text.size() && text[number] == '+');
    std::size_t const digits = number + (isSigned ? 1 : 0);
    if (digits == text.size() || text[digits] < '0' || text[digits] > '9') return std::nullopt;

    // from_chars knows "-" but not "+".
    int value = 0;
    auto const [end, error] =
        std::from_chars(text.data() + (isNegative ? number : digits), text.data() + text.size(), value);
    bool const isInRange = error == std::errc();
    if (!isInRange) value = isNegative ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
    return LeadingInt{value, isInRange, static_cast<std::size_t>(end - text.data())};
}

}  // namespace foundation::feature::detail
