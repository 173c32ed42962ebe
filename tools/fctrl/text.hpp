#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace fctrl {

/// A character of UTF-8, or one byte that begins none.
struct Character {
    std::size_t size;  ///< in bytes
    char32_t code;     ///< of a byte that begins no character, the byte
    bool isValid;
};

/// @param text  not empty.
Character firstCharacter(std::string_view text);

/// The columns of a terminal that a text takes: none for combining characters, two for wide ones.
std::size_t displayWidth(std::string_view text);

/// `text` fit for a terminal: control characters, and bytes that are no UTF-8, become "\x" and two hexadecimal digits.
std::string printable(std::string_view text);

/// As `printable`, in one line: where a message of the library goes on with the reason on a line of its own, after a
/// quotation mark, ": " takes the line feed's place.
std::string oneLine(std::string_view text);

/// `text` with U+FFFD in place of each byte that is no UTF-8.
std::string wellFormed(std::string_view text);

/// `text` with A to Z as a to z.
std::string smallLetters(std::string_view text);

/// The number in English, with commas: "100,000".
std::string grouped(std::size_t number);

/// "1 error", "2 errors".
std::string counted(std::size_t number, std::string const& noun);

}  // namespace fctrl
