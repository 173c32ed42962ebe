#include "text.hpp"

#include <algorithm>
#include <array>
#include <utility>

namespace fctrl {
namespace {

using Range = std::pair<char32_t, char32_t>;

constexpr std::array<Range, 7> combining = {{{0x300, 0x36F},
                                             {0x1AB0, 0x1AFF},
                                             {0x1DC0, 0x1DFF},
                                             {0x200B, 0x200F},
                                             {0x20D0, 0x20FF},
                                             {0xFE00, 0xFE0F},
                                             {0xFE20, 0xFE2F}}};
constexpr std::array<Range, 11> wide = {{{0x1100, 0x115F},
                                         {0x2E80, 0x303E},
                                         {0x3041, 0xA4CF},
                                         {0xAC00, 0xD7A3},
                                         {0xF900, 0xFAFF},
                                         {0xFE30, 0xFE6F},
                                         {0xFF00, 0xFF60},
                                         {0xFFE0, 0xFFE6},
                                         {0x1F300, 0x1F64F},
                                         {0x1F900, 0x1F9FF},
                                         {0x20000, 0x3FFFD}}};

template <std::size_t N>
bool isIn(std::array<Range, N> const& ranges, char32_t code) {
    return std::any_of(ranges.begin(), ranges.end(), [code](Range range) {
        return code >= range.first && code <= range.second;
    });
}

bool isControl(char32_t code) {
    // The second block of control characters, too: terminals obey some of them.
    return code < 0x20 || (code >= 0x7F && code < 0xA0);
}

/// The bytes as "\x" and two digits each.
std::string escaped(std::string_view bytes) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::string result;
    for (char const character : bytes) {
        auto const byte = static_cast<unsigned char>(character);
        result += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
    }
    return result;
}

}  // namespace

Character firstCharacter(std::string_view text) {
    auto const byte = [&](std::size_t index) -> char32_t {
        return index < text.size() ? static_cast<unsigned char>(text[index]) : 0;
    };
    char32_t const first = byte(0);
    if (first < 0x80) return {1, first, true};
    std::size_t const size = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    Character const none{1, first, false};
    if (first < 0xC2 || first > 0xF4) return none;
    char32_t code = first & (0xFFU >> (size + 1));
    for (std::size_t i = 1; i < size; ++i) {
        if ((byte(i) & 0xC0U) != 0x80) return none;
        code = code << 6U | (byte(i) & 0x3FU);
    }
    bool const isOverlong = (size == 3 && code < 0x800) || (size == 4 && code < 0x10000);
    bool const isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return isOverlong || isSurrogate || code > 0x10FFFF ? none : Character{size, code, true};
}

std::size_t displayWidth(std::string_view text) {
    std::size_t width = 0;
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        if (!isIn(combining, character.code)) width += isIn(wide, character.code) ? 2 : 1;
        text.remove_prefix(character.size);
    }
    return width;
}

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        std::string_view const bytes = text.substr(0, character.size);
        if (character.isValid && !isControl(character.code)) {
            result += bytes;
        } else {
            result += escaped(bytes);
        }
        text.remove_prefix(character.size);
    }
    return result;
}

std::string oneLine(std::string_view text) {
    std::string result;
    for (;;) {
        // A line feed anywhere else is a part of a name or a value, which is shown in quotation marks.
        std::size_t end = text.find("\"\n");
        while (end != std::string_view::npos && (end + 2 == text.size() || text[end + 2] == '"'))
            end = text.find("\"\n", end + 2);
        result += printable(text.substr(0, end == std::string_view::npos ? end : end + 1));
        if (end == std::string_view::npos) return result;
        result += ": ";
        text.remove_prefix(end + 2);
    }
}

std::string wellFormed(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        Character const character = firstCharacter(text);
        result += character.isValid ? text.substr(0, character.size) : std::string_view("\xEF\xBF\xBD");
        text.remove_prefix(character.size);
    }
    return result;
}

std::string smallLetters(std::string_view text) {
    std::string result(text);
    for (char& letter : result) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return result;
}

std::string grouped(std::size_t number) {
    std::string const digits = std::to_string(number);
    std::string result;
    for (std::size_t i = 0; i < digits.size(); ++i) {
        if (i != 0 && (digits.size() - i) % 3 == 0) result += ',';
        result += digits[i];
    }
    return result;
}

std::string counted(std::size_t number, std::string const& noun) {
    return grouped(number) + ' ' + noun + (number == 1 ? "" : "s");
}

}  // namespace fctrl
