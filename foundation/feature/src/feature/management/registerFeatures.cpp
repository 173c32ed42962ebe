#include <foundation/feature/management.hpp>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <limits>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fl/i18n.hpp>

#include "../detail/parseInt.hpp"

namespace foundation::feature::management {
namespace {

using Descriptor = std::map<std::string, json::Value>;

/// The kind of a value that is no number and no text.
std::string kindName(json::Value const& value) {
    if (value.is<json::Null>()) return json::traits<json::Null>::name;
    if (value.is<std::vector<json::Value>>()) return json::traits<std::vector<json::Value>>::name;
    if (value.is<Descriptor>()) return json::traits<Descriptor>::name;
    return json::traits<json::Undefined>::name;
}

/// As printf's "%f", but with a dot whatever the locale.
std::string toFixedText(double number) {
    constexpr int decimals = 6;
    std::array<char, std::numeric_limits<double>::max_exponent10 + decimals + 8> buffer;
    auto const end = std::to_chars(
        buffer.data(), buffer.data() + buffer.size(), number, std::chars_format::fixed, decimals);
    return std::string(buffer.data(), end.ptr);
}

std::string toText(json::Value const& value) {
    if (value.is<bool>()) return value.get<bool>() ? "1" : "0";  // digits on purpose, not words
    if (value.is<double>()) return toFixedText(value.get<double>());
    if (value.is<float>()) return toFixedText(value.get<float>());
    if (value.is<std::int64_t>()) return std::to_string(value.get<std::int64_t>());
    if (value.is<std::uint64_t>()) return std::to_string(value.get<std::uint64_t>());
    return value.get<std::string>();  // refuses every other kind
}

std::int32_t low32Bits(std::uint64_t number) {
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
}

/// Truncated toward zero; 0 for what does not fit 64 bits, not-a-number included.
std::int32_t low32Bits(double number) {
    constexpr double limit = 9223372036854775808.0;  // 2^63
    if (!(number >= -limit && number < limit)) return 0;
    return low32Bits(static_cast<std::uint64_t>(static_cast<std::int64_t>(number)));
}

std::int32_t toInt32(json::Value const& value) {
    if (value.is<bool>()) return value.get<bool>() ? 1 : 0;
    if (value.is<double>()) return low32Bits(value.get<double>());
    if (value.is<float>()) return low32Bits(static_cast<double>(value.get<float>()));
    if (value.is<std::int64_t>()) return low32Bits(static_cast<std::uint64_t>(value.get<std::int64_t>()));
    if (value.is<std::uint64_t>()) return low32Bits(value.get<std::uint64_t>());
    if (value.is<std::string>()) {
        // As atoi; what that leaves undefined, a number beyond int, becomes the nearest one.
        auto const number = detail::parseLeadingInt(value.get<std::string>());
        return number ? number->value : 0;
    }
    throw std::runtime_error("invalid conversion: " + kindName(value) + " to " +
                             json::traits<std::int32_t>::name);
}

/// Reads one property of a descriptor; one without `fallback` is required.
template <class T>
T readProperty(Descriptor const& descriptor,
               std::string const& key,
               T (*convert)(json::Value const&),
               std::optional<T> const& fallback = std::nullopt) {
    auto const property = descriptor.find(key);
    if (property == descriptor.end()) {
        if (fallback) return *fallback;
        throw std::out_of_range("property not specified: \"" + key + "\"");
    }
    try {
        return convert(property->second);
    } catch (std::exception const& error) {
        throw std::runtime_error("property value unsupported: \"" + key + "\"\n" + error.what());
    }
}

std::string readState(Descriptor const& descriptor) {
    try {
        return readProperty(descriptor, "FCtrlState", toText);
    } catch (std::exception const&) {
        // Both spellings of the key are in use; whatever is wrong with the first, the second one counts.
        return readProperty(descriptor, "FctrlState", toText);
    }
}

Scope parseScope(std::string const& text) {
    constexpr std::pair<std::string_view, Scope> scopes[] = {
        {"perZOR", Scope::ZOR},
        {"ZOR", Scope::ZOR},
        {"foundation::feature::Scope::ZOR", Scope::ZOR},
        {"perPROCESS", Scope::PROCESS},
        {"PROCESS", Scope::PROCESS},
        {"foundation::feature::Scope::PROCESS", Scope::PROCESS},
    };
    auto const scope = std::find_if(
        std::begin(scopes), std::end(scopes), [&](auto const& known) { return known.first == text; });
    if (scope == std::end(scopes)) {
        // Names the two documented forms only, on purpose, though six are accepted.
        throw std::logic_error("illegal value of fctrl type: \"" + text +
                               R"(".  Legal values: "perZOR", "perPROCESS")");
    }
    return scope->second;
}

}  // namespace

void registerFeatures(std::vector<json::Value> const& features,
                      fl::filesystem::path const& file,
                      std::optional<std::string> const& component,
                      std::optional<std::string> const& module,
                      std::optional<std::string> const& clientdir) {
    std::optional<std::string> const defaultFile = fl::i18n::to_string(file.ustring());
    std::optional<std::string> const defaultType = "perZOR";
    std::optional<std::int32_t> const defaultLine = -1;

    for (json::Value const& feature : features) {
        // The order of these reads is that in which errors are found.
        Descriptor const& descriptor = feature.get<Descriptor>();
        std::string name = readProperty(descriptor, "name", toText);
        std::string state = readState(descriptor);
        Scope const scope = parseScope(readProperty(descriptor, "type", toText, defaultType));
        std::int32_t const defaultValue = readProperty(descriptor, "defaultValue", toInt32);
        std::string filename = readProperty(descriptor, "file", toText, defaultFile);
        std::int32_t const line = readProperty(descriptor, "line", toInt32, defaultLine);
        registerFeature(scope,
                        std::move(name),
                        defaultValue,
                        std::move(state),
                        clientdir.value_or(""),
                        std::move(filename),
                        line,
                        component.value_or(""),
                        module.value_or(""));
    }
}

}  // namespace foundation::feature::management
