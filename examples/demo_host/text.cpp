#include "text.hpp"

#include <fl/i18n.hpp>

#include <algorithm>
#include <stdexcept>

namespace demo {
namespace {

bool isUtf8(std::string_view text) {
    try {
        fl::i18n::utf8_to_ustring(std::string(text));
        return true;
    } catch (std::range_error const&) {
        return false;
    }
}

}  // namespace

std::string printable(std::string_view text) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    bool const keepsNonAscii = isUtf8(text);
    std::string result;
    for (char const character : text) {
        auto const byte = static_cast<unsigned char>(character);
        if (byte < 0x20 || byte == 0x7F || (byte >= 0x80 && !keepsNonAscii)) {
            result += {'\\', 'x', digits[byte / 16], digits[byte % 16]};
        } else {
            result += character;
        }
    }
    return result;
}

std::string oneLine(std::string_view text) {
    std::string result;
    for (;;) {
        std::size_t const end = std::min(text.find('\n'), text.size());
        result += printable(text.substr(0, end));
        if (end == text.size()) return result;
        result += ": ";
        text.remove_prefix(end + 1);
    }
}

std::size_t width(std::string_view text) {
    auto const startsCharacter = [](char byte) { return (static_cast<unsigned char>(byte) & 0xC0) != 0x80; };
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), startsCharacter));
}

}  // namespace demo
