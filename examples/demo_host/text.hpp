#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace demo {

/// `text` fit for one line of a terminal: control characters, and bytes that are no UTF-8, become "\x" and
/// two hexadecimal digits.
std::string printable(std::string_view text);

/// As `printable`, but line feeds become ": ": the library's messages put the reason on a line of its own.
std::string oneLine(std::string_view text);

/// The number of characters of a UTF-8 text.
std::size_t width(std::string_view text);

}  // namespace demo
