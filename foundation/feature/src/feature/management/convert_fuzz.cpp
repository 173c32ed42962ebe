// Reads what the service framework writes as JSON back by the JSON parser, and compares that, and what convert() makes
// of the value directly, with the value.

#include <foundation/feature/convert.hpp>
#include <foundation/json/parse.hpp>

#include <support/fuzzing.hpp>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

namespace {

using cppmicroservices::Any;
using cppmicroservices::AnyMap;
using foundation::json::Null;
using foundation::json::Value;
using foundation::test::Input;
using foundation::test::require;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

/// A value of the framework, with what it must become.
struct Sample {
    Any any;
    Value converted;
    Value read;  // from the framework's text
};

/// Whether text is UTF-8, as the parser sees it.
bool isUtf8(std::string const& text) {
    std::string quoted = "\"";
    for (char const c : text)
        quoted += static_cast<unsigned char>(c) < 0x80 ? 'x' : c;
    try {
        foundation::json::parse(quoted + '"');
        return true;
    } catch (foundation::json::ParserException const&) {
        return false;
    }
}

/// A text from the input: one that is not UTF-8 as the numbers of its bytes.
std::string makeText(Input& input) {
    std::string text = input.text();
    if (isUtf8(text)) return text;
    std::string numbers;
    for (char const c : text)
        numbers += std::to_string(static_cast<unsigned char>(c)) + ' ';
    return numbers;
}

/// As the framework writes floating-point numbers: twelve digits; what is no number as null.
Value rounded(double number) {
    if (!std::isfinite(number)) return Null();
    std::array<char, 64> buffer = {};
    std::snprintf(buffer.data(), buffer.size(), "%.12g", number);
    return std::strtod(buffer.data(), nullptr);
}

template <class Number, class Kind>
Sample makeNumber(std::uint64_t bits) {
    auto const number = static_cast<Number>(bits);
    return {Any(number), static_cast<Kind>(number), static_cast<Kind>(number)};
}

Sample makeSample(Input& input, int depth);

Sample makeList(Input& input, int depth) {
    std::vector<Any> list;
    Array converted;
    Array read;
    for (int count = input.byte() % 8; count > 0 && !input.isEmpty(); --count) {
        Sample sample = makeSample(input, depth + 1);
        list.push_back(std::move(sample.any));
        converted.push_back(std::move(sample.converted));
        read.push_back(std::move(sample.read));
    }
    return {Any(std::move(list)), std::move(converted), std::move(read)};
}

Sample makeMap(Input& input, int depth) {
    AnyMap map(input.byte() % 2 == 0 ? AnyMap::ORDERED_MAP : AnyMap::UNORDERED_MAP);
    Object converted;
    Object read;
    for (int count = input.byte() % 8; count > 0 && !input.isEmpty(); --count) {
        std::string const key = makeText(input);
        Sample sample = makeSample(input, depth + 1);
        map.emplace(key, std::move(sample.any));
        converted.emplace(key, std::move(sample.converted));
        read.emplace(key, std::move(sample.read));
    }
    return {Any(std::move(map)), std::move(converted), std::move(read)};
}

Sample makeTexts(Input& input) {
    std::vector<std::string> texts;
    Array read;
    for (int count = input.byte() % 8; count > 0; --count) {
        texts.push_back(makeText(input));
        read.emplace_back(texts.back());
    }
    return {Any(texts), read, read};
}

Sample makeSample(Input& input, int depth) {
    constexpr int deepest = 64;
    switch (input.byte() % (depth < deepest ? 16 : 12)) {
    case 0:
        return {Any(), Null(), Null()};
    case 1: {
        bool const truth = input.byte() % 2 != 0;
        return {Any(truth), truth, truth};
    }
    case 2:
        return makeNumber<int, std::int64_t>(input.number());
    case 3:
        return makeNumber<long long, std::int64_t>(input.number());
    case 4:
        return makeNumber<unsigned long long, std::uint64_t>(input.number());
    case 5:
        return makeNumber<short, std::int64_t>(input.number());
    case 6:
        return makeNumber<unsigned, std::uint64_t>(input.number());
    case 7: {
        auto const number = std::bit_cast<double>(input.number());
        return {Any(number), number, rounded(number)};
    }
    case 8: {
        auto const number = std::bit_cast<float>(static_cast<std::uint32_t>(input.number()));
        return {Any(number), static_cast<double>(number), rounded(static_cast<double>(number))};
    }
    case 9:
        return makeTexts(input);
    case 10:
    case 11: {
        std::string const text = makeText(input);
        return {Any(text), text, text};
    }
    case 12:
    case 13:
        return makeList(input, depth);
    default:
        return makeMap(input, depth);
    }
}

/// As a number of JSON text, of which the parser keeps the whole ones apart.
std::optional<double> toDouble(Value const& value) {
    if (value.is<double>()) return value.get<double>();
    if (value.is<std::int64_t>()) return static_cast<double>(value.get<std::int64_t>());
    if (value.is<std::uint64_t>()) return static_cast<double>(value.get<std::uint64_t>());
    return std::nullopt;
}

bool isSame(Value const& left, Value const& right) {
    if (auto const number = toDouble(left)) {
        auto const other = toDouble(right);
        bool const isWhole = !left.is<double>() && !right.is<double>();
        if (isWhole && left.kindName() == right.kindName()) return left == right;
        return other && (*number == *other || (std::isnan(*number) && std::isnan(*other)));
    }
    if (left.is<Array>() && right.is<Array>()) {
        return std::equal(left.get<Array>().begin(),
                          left.get<Array>().end(),
                          right.get<Array>().begin(),
                          right.get<Array>().end(),
                          isSame);
    }
    if (left.is<Object>() && right.is<Object>()) {
        return std::equal(
            left.get<Object>().begin(),
            left.get<Object>().end(),
            right.get<Object>().begin(),
            right.get<Object>().end(),
            [](auto const& a, auto const& b) { return a.first == b.first && isSame(a.second, b.second); });
    }
    return left == right;
}

}  // namespace

/// What to make: see makeSample().
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    Input input(data, size);
    Sample const sample = makeSample(input, 0);
    require(isSame(foundation::json::parse(sample.any.ToJSON()), sample.read));
    require(isSame(foundation::json::parse(sample.any.ToJSON(true)), sample.read));
    require(isSame(foundation::feature::convert(sample.any), sample.converted));
    return 0;
}
