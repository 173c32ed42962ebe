// Compares the reader with the host's JSON parser: both refuse the same texts, or read the same values.

#include "JsonReader.hpp"

#include <support/fuzzing.hpp>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using foundation::json::ParseResult;
using foundation::json::Value;
using foundation::test::require;
using Array = std::vector<Value>;
using Object = std::map<std::string, Value>;

/// What an object's "qzdata" is: 'i' for signed integers, 'u' for unsigned ones, 0 for ordinary JSON.
char typeOfData(Object const& object) {
    auto const type = object.find("qztype");
    if (type == object.end() || !type->second.is<std::string>()) return 0;
    std::string const& name = type->second.get<std::string>();
    for (char const* const size : {"int8", "int16", "int32", "int64"}) {
        if (name == size) return 'i';
        if (name == std::string("u") + size) return 'u';
    }
    return 0;
}

/// Whether members of typed numbers may stand in the text, be it in an object that a later member replaces.
bool mayHaveTypedData(std::string_view text) {
    return text.find("qz") != std::string_view::npos || text.find("\\u") != std::string_view::npos;
}

/// The double that the parser's number is; the parser keeps the kind of whole numbers.
std::optional<double> toDouble(Value const& number) {
    if (number.is<double>()) return number.get<double>();
    if (number.is<std::int64_t>()) return static_cast<double>(number.get<std::int64_t>());
    if (number.is<std::uint64_t>()) return static_cast<double>(number.get<std::uint64_t>());
    return std::nullopt;
}

bool fits(std::string const& type, Value const& number) {
    int const bits = std::stoi(type.substr(type.find_first_of("1368")));
    if (number.is<std::uint64_t>()) return bits == 64 || number.get<std::uint64_t>() >> bits == 0;
    std::int64_t const rest = number.get<std::int64_t>() >> (bits - 1);
    return rest == 0 || rest == -1;
}

/// Typed numbers against what the parser read: `std::int64_t`, above its range `std::uint64_t`.
void compareTyped(char kind, std::string const& type, Value const& read, Value const& expected) {
    Array const& items = read.get<Array>();
    Array const& expectedItems = expected.get<Array>();
    require(items.size() == expectedItems.size());
    for (std::size_t i = 0; i < items.size(); ++i) {
        require(kind == 'i' ? items[i].is<std::int64_t>() : items[i].is<std::uint64_t>());
        require(fits(type, items[i]));
        if (kind == 'i' || expectedItems[i].is<std::uint64_t>()) {
            require(items[i] == expectedItems[i]);
        } else {
            std::int64_t const number = expectedItems[i].get<std::int64_t>();
            require(number >= 0 && items[i].get<std::uint64_t>() == static_cast<std::uint64_t>(number));
        }
    }
}

void compare(Value const& read, Value const& expected) {
    if (expected.is<Array>()) {
        Array const& items = read.get<Array>();
        Array const& expectedItems = expected.get<Array>();
        require(items.size() == expectedItems.size());
        for (std::size_t i = 0; i < items.size(); ++i)
            compare(items[i], expectedItems[i]);
    } else if (expected.is<Object>()) {
        Object const& members = read.get<Object>();
        Object const& expectedMembers = expected.get<Object>();
        require(members.size() == expectedMembers.size());
        char const kind = typeOfData(members);
        for (auto const& [name, expectedMember] : expectedMembers) {
            Value const& member = members.at(name);
            if (kind != 0 && name == "qzdata") {
                compareTyped(kind, members.at("qztype").get<std::string>(), member, expectedMember);
            } else {
                compare(member, expectedMember);
            }
        }
    } else if (auto const number = toDouble(expected)) {
        require(read.is<double>() && read.get<double>() == *number);
        // The parser's whole numbers have no negative zero.
        require(!expected.is<double>() || std::signbit(read.get<double>()) == std::signbit(*number));
    } else {
        require(read == expected);
    }
}

bool isTypedResult(ParseResult result) {
    return result == ParseResult::typedArrayExpected || result == ParseResult::typedIntegerExpected ||
           result == ParseResult::typedIntegerOutOfRange ||
           result == ParseResult::typedCommaOrBracketExpected || result == ParseResult::typedArrayIncomplete;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const text(reinterpret_cast<char const*>(data), size);
    Value const untouched("untouched");
    Value read = untouched;
    std::size_t used = std::numeric_limits<std::size_t>::max();
    ParseResult const result = foundation::feature::management::readJson(text, read, used);
    require(used <= size);
    require(result == ParseResult::success || read == untouched);
    bool const accepted = result == ParseResult::success && used == size;
    try {
        Value const expected = foundation::json::parse(text);
        if (accepted) {
            compare(read, expected);
        } else {
            require(isTypedResult(result) && mayHaveTypedData(text));
        }
    } catch (foundation::json::ParserException const& error) {
        // The parser also refuses a few numbers that have too many digits or too large an exponent.
        require(!accepted || error.code() == ParseResult::numberTooBig);
    }
    return 0;
}
