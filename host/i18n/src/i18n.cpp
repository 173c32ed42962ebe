#include <fl/i18n.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

#if defined(_WIN32)
#include <windows.h>

#include <system_error>
#endif

namespace fl::i18n {
namespace {

constexpr char32_t firstSupplementary = 0x10000;
constexpr char32_t lastCodePoint = 0x10FFFF;

constexpr bool isHighSurrogate(char32_t unit) {
    return unit >= 0xD800 && unit <= 0xDBFF;
}
constexpr bool isLowSurrogate(char32_t unit) {
    return unit >= 0xDC00 && unit <= 0xDFFF;
}

[[noreturn]] void refuse(char const* encoding, std::size_t offset, char const* what) {
    throw std::range_error(std::string("ill-formed ") + encoding + " at offset " + std::to_string(offset) +
                           ": " + what);
}

/// The code point that starts at `position`, which is moved behind it.
char32_t decodeUtf8(std::string_view text, std::size_t& position) {
    std::size_t const start = position;
    auto const refuseHere = [start](char const* what) { refuse("UTF-8", start, what); };

    auto const lead = static_cast<unsigned char>(text[position++]);
    if (lead < 0x80) return lead;
    if (lead < 0xC0) refuseHere("continuation byte without a lead byte");
    if (lead > 0xF7) refuseHere("byte that UTF-8 never uses");

    std::size_t const continuations = lead < 0xE0 ? 1 : lead < 0xF0 ? 2 : 3;
    char32_t code = lead & (0x3Fu >> continuations);
    for (std::size_t i = 0; i < continuations; ++i, ++position) {
        auto const next = position < text.size() ? static_cast<unsigned char>(text[position]) : 0u;
        if ((next & 0xC0u) != 0x80u) refuseHere("sequence cut short");
        code = (code << 6) | (next & 0x3Fu);
    }

    constexpr char32_t smallest[] = {0x80, 0x800, firstSupplementary};
    if (code < smallest[continuations - 1]) refuseHere("overlong form");
    if (isHighSurrogate(code) || isLowSurrogate(code)) refuseHere("surrogate");
    if (code > lastCodePoint) refuseHere("number above U+10FFFF");
    return code;
}

/// The code point that starts at `position`, which is moved behind it.
char32_t decodeUtf16(std::u16string_view text, std::size_t& position) {
    std::size_t const start = position;
    char32_t const unit = text[position++];
    if (isLowSurrogate(unit)) refuse("UTF-16", start, "low surrogate without a high one before it");
    if (!isHighSurrogate(unit)) return unit;
    if (position == text.size() || !isLowSurrogate(text[position])) {
        refuse("UTF-16", start, "high surrogate without a low one after it");
    }
    return firstSupplementary + ((unit - 0xD800) << 10) + (text[position++] - char32_t{0xDC00});
}

void appendUtf8(std::string& out, char32_t code) {
    auto const append = [&out](char32_t byte) { out += static_cast<char>(byte); };
    auto const appendContinuation = [&](unsigned shift) { append(0x80 | ((code >> shift) & 0x3F)); };
    if (code < 0x80) {
        append(code);
    } else if (code < 0x800) {
        append(0xC0 | (code >> 6));
        appendContinuation(0);
    } else if (code < firstSupplementary) {
        append(0xE0 | (code >> 12));
        appendContinuation(6);
        appendContinuation(0);
    } else {
        append(0xF0 | (code >> 18));
        appendContinuation(12);
        appendContinuation(6);
        appendContinuation(0);
    }
}

void appendUtf16(std::u16string& out, char32_t code) {
    if (code < firstSupplementary) {
        out += static_cast<char16_t>(code);
        return;
    }
    out += static_cast<char16_t>(0xD800 + ((code - firstSupplementary) >> 10));
    out += static_cast<char16_t>(0xDC00 + ((code - firstSupplementary) & 0x3FF));
}

#if defined(_WIN32)

std::u16string readVariable(std::string const& name, std::u16string const& wideName) {
    static_assert(sizeof(wchar_t) == sizeof(char16_t));
    std::wstring const systemName(wideName.begin(), wideName.end());
    std::wstring value;
    // Another thread may set a longer value between two calls: ask again until the value fits.
    for (;;) {
        ::SetLastError(ERROR_SUCCESS);  // An empty value gives 0, as an unset one does, but sets no error.
        DWORD const length =
            ::GetEnvironmentVariableW(systemName.c_str(), value.data(), static_cast<DWORD>(value.size()));
        if (length == 0) {
            DWORD const error = ::GetLastError();
            if (error == ERROR_SUCCESS || error == ERROR_ENVVAR_NOT_FOUND) return {};
            throw std::system_error(
                static_cast<int>(error), std::system_category(), "environment variable \"" + name + "\"");
        }
        if (length < value.size()) {
            value.resize(length);
            return {value.begin(), value.end()};
        }
        value.resize(length);
    }
}

#else

std::u16string readVariable(std::string const& name, std::u16string const& /*wideName*/) {
    // NOLINTNEXTLINE(concurrency-mt-unsafe): only a change at the same time is unsafe; that is up to the host
    char const* const value = std::getenv(name.c_str());
    if (value == nullptr) return {};
    try {
        return utf8_to_ustring(value);
    } catch (std::range_error const& error) {
        throw std::range_error("environment variable \"" + name + "\": " + error.what());
    }
}

#endif

}  // namespace

std::u16string getenv(std::string const& name) {
    std::u16string const wideName = utf8_to_ustring(name);
    auto const contains = [&name](char character) { return name.find(character) != std::string::npos; };
    if (name.empty() || contains('=') || contains('\0')) return {};
    return readVariable(name, wideName);
}

std::string to_string(std::u16string const& text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t position = 0; position < text.size();)
        appendUtf8(out, decodeUtf16(text, position));
    return out;
}

std::u16string utf8_to_ustring(std::string const& text) {
    // ASCII, mostly all of the text, goes over as it is.
    auto const firstOther = std::find_if(
        text.begin(), text.end(), [](char byte) { return static_cast<unsigned char>(byte) >= 0x80; });
    std::u16string out;
    out.reserve(text.size());
    out.assign(text.begin(), firstOther);
    for (auto position = static_cast<std::size_t>(firstOther - text.begin()); position < text.size();)
        appendUtf16(out, decodeUtf8(text, position));
    return out;
}

}  // namespace fl::i18n
