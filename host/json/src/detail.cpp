#include <foundation/json/parse.hpp>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <system_error>

#if !defined(__cpp_lib_to_chars)
#include <locale.h>
#include <stdlib.h>
#endif

namespace foundation::json::detail {
namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// The parts of a JSON number.
struct Number {
    std::string_view whole;     // digits before the point
    std::string_view fraction;  // digits after it
    bool exponentIsNegative = false;
    std::string_view exponent;  // digits of the exponent
};

/// Takes the digits at the beginning of `text` off it.
std::string_view takeDigits(std::string_view& text) {
    auto const end = std::find_if_not(text.begin(), text.end(), isDigit);
    std::string_view const digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
    text.remove_prefix(digits.size());
    return digits;
}

bool take(std::string_view& text, char c) {
    if (!text.starts_with(c)) return false;
    text.remove_prefix(1);
    return true;
}

std::optional<Number> split(std::string_view text) {
    Number number;
    take(text, '-');
    number.whole = takeDigits(text);
    if (number.whole.empty() || (number.whole.size() > 1 && number.whole.front() == '0')) return std::nullopt;
    if (take(text, '.')) {
        number.fraction = takeDigits(text);
        if (number.fraction.empty()) return std::nullopt;
    }
    if (take(text, 'e') || take(text, 'E')) {
        number.exponentIsNegative = take(text, '-');
        if (!number.exponentIsNegative) take(text, '+');
        number.exponent = takeDigits(text);
        if (number.exponent.empty()) return std::nullopt;
    }
    if (!text.empty()) return std::nullopt;
    return number;
}

/// Whether a number that is not in the range of double is too small rather than too big, that is, below 1.
bool isBelowOne(Number const& number) {
    std::size_t const firstDigit = number.whole.find_first_not_of('0');
    std::size_t const firstFractionDigit = number.fraction.find_first_not_of('0');
    // Decimal digits before the point, negative for zeros after it; the exponent left aside.
    long long digits = 0;
    if (firstDigit != std::string_view::npos) {
        digits = static_cast<long long>(number.whole.size() - firstDigit);
    } else if (firstFractionDigit != std::string_view::npos) {
        digits = -static_cast<long long>(firstFractionDigit);
    } else {
        return true;
    }
    // An exponent that does not fit is larger than any text is long.
    constexpr long long huge = std::numeric_limits<long long>::max() / 2;
    long long exponent = 0;
    char const* const end = number.exponent.data() + number.exponent.size();
    std::errc const error = std::from_chars(number.exponent.data(), end, exponent).ec;
    if (error == std::errc::result_out_of_range || exponent > huge) exponent = huge;
    return digits + (number.exponentIsNegative ? -exponent : exponent) <= 0;
}

/// The double nearest to a JSON number; empty when the number is too big, and possibly when it is too small.
std::optional<double> nearest(std::string_view number) {
    double value = 0.0;
#if defined(__cpp_lib_to_chars)
    std::errc const error = std::from_chars(number.data(), number.data() + number.size(), value).ec;
    if (error != std::errc{}) return std::nullopt;
#else
    // A standard library that converts integers only.
    static locale_t const plain = newlocale(LC_ALL_MASK, "C", nullptr);
    value = strtod_l(std::string(number).c_str(), nullptr, plain);
#endif
    return std::isfinite(value) ? std::optional(value) : std::nullopt;
}

/// A number without fraction and exponent, and with so few digits that a double holds it exactly: the most frequent.
std::optional<double> smallWhole(std::string_view text) {
    constexpr std::size_t mostDigits = std::numeric_limits<double>::digits10;
    std::string_view digits = text;
    bool const isNegative = take(digits, '-');
    if (digits.empty() || digits.size() > mostDigits || (digits.size() > 1 && digits.front() == '0')) {
        return std::nullopt;
    }
    std::int64_t number = 0;
    for (char const digit : digits) {
        if (!isDigit(digit)) return std::nullopt;
        number = 10 * number + (digit - '0');
    }
    auto const value = static_cast<double>(number);
    return isNegative ? -value : value;
}

}  // namespace

std::optional<double> string_to_double(std::string_view text) {
    if (auto const value = smallWhole(text)) return value;
    std::optional<Number> const number = split(text);
    if (!number) return std::nullopt;
    if (auto const value = nearest(text)) return value;
    if (isBelowOne(*number)) return text.front() == '-' ? -0.0 : 0.0;
    return std::nullopt;
}

std::string u16_to_u8(std::u16string_view text) {
    std::string result;
    result.reserve(text.size());
    auto const put = [&result](char32_t bits) { result.push_back(static_cast<char>(bits)); };
    for (std::size_t i = 0; i < text.size(); ++i) {
        char32_t c = text[i];
        if (c >= 0xD800 && c <= 0xDFFF) {
            bool const paired =
                c <= 0xDBFF && i + 1 < text.size() && text[i + 1] >= 0xDC00 && text[i + 1] <= 0xDFFF;
            if (!paired) {
                throw std::range_error("ill-formed UTF-16 at offset " + std::to_string(i) +
                                       ": surrogate without its partner");
            }
            c = 0x10000 + ((c - 0xD800) << 10) + (char32_t{text[++i]} - 0xDC00);
        }
        if (c < 0x80) {
            put(c);
        } else if (c < 0x800) {
            put(0xC0 | c >> 6);
            put(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            put(0xE0 | c >> 12);
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        } else {
            put(0xF0 | c >> 18);
            put(0x80 | (c >> 12 & 0x3F));
            put(0x80 | (c >> 6 & 0x3F));
            put(0x80 | (c & 0x3F));
        }
    }
    return result;
}

}  // namespace foundation::json::detail
