#pragma once

#include <cstddef>
#include <optional>
#include <string_view>

namespace foundation::feature::detail {

/// What stands at the beginning of a text, read as a decimal number.
struct LeadingInt {
    int value;         ///< the number, or the nearest `int` when it does not fit one
    bool isInRange;    ///< whether the number fits an `int`
    std::size_t used;  ///< bytes read, the white space before the number included
};

/// Reads white space (blank, tab, line feed, vertical tab, form feed, carriage return), one optional sign and
/// decimal digits, whatever the locale. Empty when there are no digits.
std::optional<LeadingInt> parseLeadingInt(std::string_view text) noexcept;

}  // namespace foundation::feature::detail
