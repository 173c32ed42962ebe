#include "cppmicroservices/Any.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <ios>
#include <locale>
#include <sstream>
#include <stdexcept>
#include <string_view>

#if __has_include(<cxxabi.h>)
#include <cxxabi.h>
#endif

namespace cppmicroservices {

namespace {

constexpr std::string_view exceptionName = "cppmicroservices::BadAnyCastException: ";

std::ostringstream makeStream() {
    std::ostringstream out;
    out.imbue(std::locale::classic());      // The process's locale must not group digits.
    out.exceptions(std::ios_base::badbit);  // Else a text that memory runs out in is cut off in silence.
    return out;
}

}  // namespace

BadAnyCastException::BadAnyCastException(std::string const& message)
    : text_(std::make_shared<std::string const>(
          message.empty() ? std::string(exceptionName) + "failed conversion using cppmicroservices::any_cast"
                          : message)) {}

BadAnyCastException::~BadAnyCastException() = default;

char const* BadAnyCastException::what() const noexcept {
    return text_->c_str();
}

namespace detail {

AnyContent::~AnyContent() = default;

std::string demangledName(std::type_info const& type) {
#if __has_include(<cxxabi.h>)
    int status = 0;
    std::unique_ptr<char, void (*)(void*)> const name(
        abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), &std::free);
    return status == 0 ? std::string(name.get()) : std::string(type.name());
#else
    // The names are readable as they are, but say "class" or "struct" in front.
    std::string name = type.name();
    for (std::string const keyword : {"class ", "struct "}) {
        for (auto at = name.find(keyword); at != std::string::npos; at = name.find(keyword)) {
            name.erase(at, keyword.size());
        }
    }
    return name;
#endif
}

void throwBadAnyCast(char const* operation, std::type_info const& from, std::type_info const& to) {
    throw BadAnyCastException(std::string(exceptionName) + operation +
                              ": Failed to convert from cppmicroservices::Any type " + demangledName(from) +
                              " to target type " + demangledName(to));
}

void AnyWriter::write(std::ostream& out, Any const& value, TextStyle style) {
    if (value.content_) {
        value.content_->write(out, style);
    } else if (style.json) {
        out << "null";
    } else {
        throw std::logic_error("empty any");
    }
}

namespace {

void writeEscape(std::ostream& out, char c) {
    constexpr std::string_view meanings = "\"\\\b\f\n\r\t";
    constexpr std::string_view letters = "\"\\bfnrt";
    auto const known = meanings.find(c);
    if (known != std::string_view::npos) {
        out << '\\' << letters[known];
        return;
    }
    constexpr std::string_view digits = "0123456789abcdef";
    auto const code = static_cast<unsigned char>(c);
    out << "\\u00" << digits[code >> 4] << digits[code & 15];
}

}  // namespace

void writeString(std::ostream& out, std::string_view text, TextStyle style) {
    if (!style.json) {
        out << text;
        return;
    }
    out << '"';
    while (!text.empty()) {
        auto const isPlain = [](char c) {
            return static_cast<unsigned char>(c) >= 0x20 && c != '"' && c != '\\';
        };
        auto const plain = std::find_if_not(text.begin(), text.end(), isPlain) - text.begin();
        out.write(text.data(), plain);
        text.remove_prefix(static_cast<std::size_t>(plain));
        if (text.empty()) break;
        writeEscape(out, text.front());
        text.remove_prefix(1);
    }
    out << '"';
}

void breakLine(std::ostream& out, TextStyle style) {
    if (style.increment == 0) return;
    out << '\n';
    if (style.indent > 0) out << std::string(static_cast<std::size_t>(style.indent), ' ');
}

void writeKey(std::ostream& out, std::function<void(std::ostream&)> const& key, TextStyle style) {
    std::ostringstream text = makeStream();
    key(text);
    writeString(out, text.str(), style);
}

}  // namespace detail

namespace {

std::string textOf(Any const& any, detail::TextStyle style) {
    std::ostringstream out = makeStream();
    detail::AnyWriter::write(out, any, style);
    return out.str();
}

}  // namespace

std::string Any::ToString() const {
    return textOf(*this, {});
}

std::string Any::ToStringNoExcept() const {
    try {
        return ToString();
    } catch (std::exception const&) {
        return {};  // Asked for by the caller.
    }
}

std::string Any::ToJSON(bool prettyPrint) const {
    return prettyPrint ? ToJSON(4, 4) : ToJSON(0, 0);
}

std::string Any::ToJSON(std::uint8_t increment, std::int32_t indent) const {
    return textOf(*this, {.json = true, .increment = increment, .indent = indent});
}

}  // namespace cppmicroservices
