#pragma once

#include <cmath>
#include <concepts>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <ostream>
#include <set>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

class Any;
class any_map;

namespace detail {

/// How a value is written: as plain text, or as JSON with or without line breaks.
struct TextStyle {
    bool json = false;
    std::uint8_t increment = 0;  ///< Blanks that each level adds; 0 writes everything on one line.
    std::int32_t indent = 0;     ///< Blanks before the elements of the outermost container.

    [[nodiscard]] TextStyle deeper() const { return {json, increment, indent + increment}; }
    [[nodiscard]] TextStyle outer() const { return {json, increment, indent - increment}; }
};

/// Writes an Any as what it holds. @throws std::logic_error  "empty any", for an empty one as plain text.
struct AnyWriter {
    static US_Framework_EXPORT void write(std::ostream& out, Any const& value, TextStyle style);
};
US_Framework_EXPORT void writeString(std::ostream& out, std::string_view text, TextStyle style);
US_Framework_EXPORT void breakLine(std::ostream& out, TextStyle style);
/// Writes a map's key, in quotes when the style is JSON. Keys that are no strings go through their
/// operator<<.
US_Framework_EXPORT void
writeKey(std::ostream& out, std::function<void(std::ostream&)> const& key, TextStyle style);

template <class T>
inline constexpr bool isFunction = false;
template <class Signature>
inline constexpr bool isFunction<std::function<Signature>> = true;

template <class T>
inline constexpr bool isList = false;
template <class T, class A>
inline constexpr bool isList<std::vector<T, A>> = true;
template <class T, class A>
inline constexpr bool isList<std::list<T, A>> = true;
template <class T, class C, class A>
inline constexpr bool isList<std::set<T, C, A>> = true;

template <class T>
inline constexpr bool isMap = std::is_base_of_v<any_map, T>;
template <class K, class V, class C, class A>
inline constexpr bool isMap<std::map<K, V, C, A>> = true;

template <class T>
concept Streamable = requires(std::ostream& out, T const& value) {
    out << value;
};

template <class T>
void writeValue(std::ostream& out, T const& value, TextStyle style);

template <class List>
void writeList(std::ostream& out, List const& list, TextStyle style) {
    if (list.empty()) {
        out << "[]";
        return;
    }
    char const* opening = "[";
    for (auto const& element : list) {
        out << opening;
        breakLine(out, style);
        writeValue<typename List::value_type>(out, element, style.deeper());
        opening = ",";
    }
    breakLine(out, style.outer());
    out << ']';
}

template <class Map>
void writeMap(std::ostream& out, Map const& map, TextStyle style) {
    if (map.empty()) {
        out << "{}";
        return;
    }
    char const* opening = "{";
    for (auto const& [key, mapped] : map) {
        out << opening;
        breakLine(out, style);
        auto const& name = key;
        writeKey(
            out, [&name](std::ostream& keyOut) { keyOut << name; }, style);
        out << " : ";
        if constexpr (std::is_same_v<typename Map::mapped_type, Any>) {
            AnyWriter::write(out, mapped, style.deeper());
        } else {
            out << mapped;
        }
        opening = ", ";
    }
    breakLine(out, style.outer());
    out << '}';
}

template <std::floating_point T>
void writeFloating(std::ostream& out, T value, TextStyle style) {
    if (style.json && !std::isfinite(value)) {
        out << "null";  // JSON has no word for these.
        return;
    }
    std::streamsize const before = out.precision(12);
    out << value;
    out.precision(before);
}

/// Writes a held value. One rule per kind of type; every other type is written by its own operator<<.
template <class T>
void writeValue(std::ostream& out, T const& value, TextStyle style) {
    if constexpr (std::is_same_v<T, Any>) {
        AnyWriter::write(out, value, style);
    } else if constexpr (std::is_same_v<T, std::string>) {
        writeString(out, value, style);
    } else if constexpr (std::is_same_v<T, bool>) {
        out << (style.json ? (value ? "true" : "false") : (value ? "1" : "0"));
    } else if constexpr (std::is_floating_point_v<T>) {
        writeFloating(out, value, style);
    } else if constexpr (isList<T>) {
        writeList(out, value, style);
    } else if constexpr (isMap<T>) {
        writeMap(out, value, style);
    } else if constexpr (!isFunction<T>) {
        static_assert(Streamable<T>, "a cppmicroservices::Any holds only types that have an operator<<");
        out << value;
    }
}

}  // namespace detail
}  // namespace cppmicroservices
