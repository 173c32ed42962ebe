#include <foundation/feature/convert.hpp>

#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <type_traits>
#include <typeindex>
#include <unordered_map>
#include <utility>

#include <foundation/json/parse.hpp>

#include "JsonReader.hpp"

namespace foundation::feature {
namespace {

using ::cppmicroservices::Any;
using ::cppmicroservices::AnyMap;

json::Value convertAny(Any const& value, std::size_t depth);

/// Turns a value of one type into JSON; `depth` is how many values it stands in.
/// @throws ::cppmicroservices::BadAnyCastException  the value holds another type.
using Converter = json::Value (*)(Any const& value, std::size_t depth);

/// @throws std::runtime_error  a value at `depth` may not contain others.
void checkDepth(std::size_t depth) {
    if (depth == management::deepestNesting)
        throw std::runtime_error("value not converted: it is nested more than 512 levels deep");
}

json::Value convertNothing(Any const&, std::size_t) {
    return json::Null();
}

/// A character's code is sign-extended even where plain char is unsigned.
template <class Number>
using Signed = std::conditional_t<std::is_same_v<Number, char>, signed char, Number>;

template <class Held, class Kind>
json::Value convertNumber(Any const& value, std::size_t) {
    return static_cast<Kind>(static_cast<Signed<Held>>(::cppmicroservices::ref_any_cast<Held>(value)));
}

template <class Element, class Kind>
json::Value convertNumbers(Any const& value, std::size_t depth) {
    auto const& elements = ::cppmicroservices::ref_any_cast<std::vector<Element>>(value);
    checkDepth(depth);
    std::vector<json::Value> result;
    result.reserve(elements.size());
    for (Element const element : elements)
        result.emplace_back(static_cast<Kind>(static_cast<Signed<Element>>(element)));
    return result;
}

// GCOVR_EXCL_START: no way is known to make one value hold another directly; should the framework get one, this is
// what it means.
json::Value convertInnerAny(Any const& value, std::size_t depth) {
    checkDepth(depth);
    return convertAny(::cppmicroservices::ref_any_cast<Any>(value), depth + 1);
}
// GCOVR_EXCL_STOP

std::vector<json::Value> convertElements(std::vector<Any> const& values, std::size_t depth) {
    checkDepth(depth);
    std::vector<json::Value> result;
    result.reserve(values.size());
    for (Any const& value : values)
        result.push_back(convertAny(value, depth + 1));
    return result;
}

json::Value convertVector(Any const& value, std::size_t depth) {
    return convertElements(::cppmicroservices::ref_any_cast<std::vector<Any>>(value), depth);
}

std::map<std::string, json::Value> convertMembers(AnyMap const& values, std::size_t depth) {
    checkDepth(depth);
    std::map<std::string, json::Value> result;
    for (auto const& [key, value] : values)
        result.emplace(key, convertAny(value, depth + 1));
    return result;
}

json::Value convertMap(Any const& value, std::size_t depth) {
    return convertMembers(::cppmicroservices::ref_any_cast<AnyMap>(value), depth);
}

std::unordered_map<std::type_index, Converter> const& converters() {
    using Int64 = std::int64_t;
    using UInt64 = std::uint64_t;
    // A type that stands twice keeps its first entry. Never destroyed, like the catalogue.
    static auto const& table = *new std::unordered_map<std::type_index, Converter>{
        {typeid(void), convertNothing},
        {typeid(signed char), convertNumber<signed char, Int64>},
        {typeid(short), convertNumber<short, Int64>},
        {typeid(int), convertNumber<int, Int64>},
        {typeid(long long), convertNumber<long long, Int64>},
        {typeid(unsigned char), convertNumber<unsigned char, UInt64>},
        {typeid(unsigned short), convertNumber<unsigned short, UInt64>},
        {typeid(unsigned int), convertNumber<unsigned int, UInt64>},
        {typeid(unsigned long long), convertNumber<unsigned long long, UInt64>},
        {typeid(unsigned long long), convertNumber<unsigned long long, UInt64>},
        {typeid(bool), convertNumber<bool, bool>},
        {typeid(char), convertNumber<char, Int64>},
        {typeid(short), convertNumber<short, Int64>},
        {typeid(int), convertNumber<int, Int64>},
        {typeid(long), convertNumber<long, Int64>},
        {typeid(float), convertNumber<float, double>},
        {typeid(double), convertNumber<double, double>},
        {typeid(std::vector<signed char>), convertNumbers<signed char, Int64>},
        {typeid(std::vector<short>), convertNumbers<short, Int64>},
        {typeid(std::vector<int>), convertNumbers<int, Int64>},
        {typeid(std::vector<long long>), convertNumbers<long long, Int64>},
        {typeid(std::vector<char>), convertNumbers<char, Int64>},
        {typeid(std::vector<long>), convertNumbers<long, Int64>},
        {typeid(std::vector<unsigned char>), convertNumbers<unsigned char, UInt64>},
        {typeid(std::vector<unsigned short>), convertNumbers<unsigned short, UInt64>},
        {typeid(std::vector<unsigned int>), convertNumbers<unsigned int, UInt64>},
        {typeid(std::vector<unsigned long long>), convertNumbers<unsigned long long, UInt64>},
        {typeid(std::vector<bool>), convertNumbers<bool, bool>},
        // Not a slip: vectors of floating-point numbers are refused, by the cast that this converter makes.
        {typeid(std::vector<float>), convertNumbers<long, Int64>},
        {typeid(std::vector<double>), convertNumbers<long, Int64>},
        {typeid(Any), convertInnerAny},
        {typeid(std::vector<Any>), convertVector},
        {typeid(AnyMap), convertMap},
    };
    return table;
}

/// Reads the text that the framework makes of a value that stands in `depth` others.
json::Value convertText(std::string const& text, std::size_t depth) {
    json::Value value;
    std::size_t used = 0;
    json::ParseResult const result = management::readJson(text, value, used, depth);
    if (result != json::ParseResult::success) {
        throw json::ParserException(result, json::get_parse_result_description(result), text, used);
    }
    if (used < text.size()) {
        throw json::ParserException(json::ParseResult::success, "Parse incomplete", text, used);
    }
    return value;
}

json::Value convertAny(Any const& value, std::size_t depth) {
    auto const converter = converters().find(value.Type());
    return converter != converters().end() ? converter->second(value, depth)
                                           : convertText(value.ToJSON(false), depth);
}

}  // namespace

json::Value convert(Any const& value) {
    return convertAny(value, 0);
}

std::vector<json::Value> convert(std::vector<Any> const& values) {
    return convertElements(values, 0);
}

std::map<std::string, json::Value> convert(AnyMap const& values) {
    return convertMembers(values, 0);
}

}  // namespace foundation::feature
