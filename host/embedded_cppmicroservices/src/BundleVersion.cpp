#include "cppmicroservices/BundleVersion.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <stdexcept>
#include <string_view>
#include <system_error>

namespace cppmicroservices {

namespace {

[[noreturn]] void throwInvalidFormat() {
    throw std::invalid_argument("The version identifier is invalid: invalid format");
}

unsigned readNumber(std::string_view text) {
    unsigned number = 0;
    auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) throwInvalidFormat();
    return number;
}

bool isQualifierCharacter(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' || c == '-';
}

}  // namespace

BundleVersion::BundleVersion(std::string const& text) {
    if (text.empty()) return;
    std::string_view rest = text;
    std::array<unsigned*, 3> const numbers = {&major_, &minor_, &micro_};
    for (unsigned* const number : numbers) {
        auto const dot = rest.find('.');
        *number = readNumber(rest.substr(0, dot));
        if (dot == std::string_view::npos) return;
        rest.remove_prefix(dot + 1);
    }
    if (rest.empty() || rest.find('.') != std::string_view::npos) throwInvalidFormat();
    if (!std::all_of(rest.begin(), rest.end(), isQualifierCharacter)) {
        throw std::invalid_argument("The version identifier is invalid: invalid qualifier: " +
                                    std::string(rest));
    }
    qualifier_ = rest;
}

std::string BundleVersion::ToString() const {
    std::string text = std::to_string(major_) + '.' + std::to_string(minor_) + '.' + std::to_string(micro_);
    if (!qualifier_.empty()) text += '.' + qualifier_;
    return text;
}

}  // namespace cppmicroservices
