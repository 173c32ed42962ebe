// Compares what manifests become with a list of what the JSON library meets in them, numbers as they are written.

#include "Manifest.h"

#include <support/fuzzing.hpp>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/AnyMap.h"

namespace {

using cppmicroservices::Any;
using cppmicroservices::any_cast;
using cppmicroservices::AnyMap;
using foundation::test::require;

struct Event {
    char kind;         // n(ull), t(rue), f(alse), 0 (a number), s(tring), k(ey), or a bracket
    std::string text;  // of a number, string or key
};

/// Writes down what a manifest consists of.
class Recorder : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, Recorder> {
public:
    bool Null() { return add('n'); }
    bool Bool(bool value) { return add(value ? 't' : 'f'); }
    bool RawNumber(char const* text, rapidjson::SizeType size, bool) { return add('0', {text, size}); }
    // Until the first NUL.
    bool String(char const* text, rapidjson::SizeType, bool) { return add('s', text); }
    bool Key(char const* text, rapidjson::SizeType, bool) { return add('k', text); }
    bool StartObject() { return open('{'); }
    bool EndObject(rapidjson::SizeType) { return close('}'); }
    bool StartArray() { return open('['); }
    bool EndArray(rapidjson::SizeType) { return close(']'); }

    std::vector<Event> events;
    std::size_t deepest = 0;

private:
    bool add(char kind, std::string text = {}) {
        events.push_back({kind, std::move(text)});
        return true;
    }
    bool open(char bracket) {
        deepest = std::max(deepest, ++depth_);
        return add(bracket);
    }
    bool close(char bracket) {
        --depth_;
        return add(bracket);
    }

    std::size_t depth_ = 0;
};

template <class T>
bool holds(Any const& any, T const& value) {
    T const* const held = any_cast<T>(&any);
    return held != nullptr && *held == value;
}

bool isNumber(Any const& any, std::string const& text) {
    errno = 0;
    if (text.find_first_of(".eE") == std::string::npos) {
        long long const number = std::strtoll(text.c_str(), nullptr, 10);
        if (errno == 0 && number >= INT_MIN && number <= INT_MAX) return holds(any, static_cast<int>(number));
        if (errno == 0) return holds(any, number);
        errno = 0;
        unsigned long long const larger = std::strtoull(text.c_str(), nullptr, 10);
        if (errno == 0 && text[0] != '-') return holds(any, larger);
    }
    // The library is not exact in the last digits, on purpose.
    double const* const held = any_cast<double>(&any);
    double const number = std::strtod(text.c_str(), nullptr);
    return held != nullptr && (*held == number || std::fabs(*held - number) <= std::fabs(number) * 1e-14 ||
                               std::fabs(number) < 1e-300);
}

using At = std::vector<Event>::const_iterator;

void skip(At& at) {
    int depth = 0;
    do {
        if (at->kind == '{' || at->kind == '[') ++depth;
        if (at->kind == '}' || at->kind == ']') --depth;
        ++at;
    } while (depth > 0);
}

void checkValue(Any const& any, At& at);

void checkList(Any const& any, At& at) {
    auto const* const list = any_cast<std::vector<Any>>(&any);
    require(list != nullptr);
    std::size_t index = 0;
    for (++at; at->kind != ']';) {
        if (at->kind == 'n') {
            ++at;
        } else {
            require(index < list->size());
            checkValue((*list)[index++], at);
        }
    }
    ++at;
    require(index == list->size());
}

void checkMap(AnyMap const& map, At& at) {
    require(map.GetType() == AnyMap::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    std::vector<std::string> taken;
    for (++at; at->kind != '}';) {
        std::string const& key = (at++)->text;
        auto const member = map.find(key);
        bool const isFirst =
            member != map.end() && std::find(taken.begin(), taken.end(), member->first) == taken.end();
        if (at->kind == 'n' || !isFirst) {
            // Left out: there is nothing, or another of the same name counts.
            require(at->kind == 'n' || member != map.end());
            skip(at);
        } else {
            require(member->first == key);
            taken.push_back(key);
            checkValue(member->second, at);
        }
    }
    ++at;
    require(taken.size() == map.size());
}

void checkValue(Any const& any, At& at) {
    switch (at->kind) {
    case '[':
        return checkList(any, at);
    case '{':
        require(any_cast<AnyMap>(&any) != nullptr);
        return checkMap(*any_cast<AnyMap>(&any), at);
    case '0':
        return require(isNumber(any, (at++)->text));
    case 's': {
        std::string const& text = (at++)->text;
        return require(holds(any, text.substr(text.starts_with('%') ? 1 : 0)));
    }
    default:
        return require(holds(any, (at++)->kind == 't'));
    }
}

/// Why a text is no manifest; empty when it is one.
std::string failure(rapidjson::ParseResult const& result, Recorder const& recorder) {
    if (recorder.deepest > 2048) return "More than 2048 levels of nesting.";
    if (result.IsError()) return rapidjson::GetParseError_En(result.Code());
    return recorder.events.at(0).kind == '{' ? "" : "The Json root element must be an object.";
}

}  // namespace

/// A manifest.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    std::string_view const json(reinterpret_cast<char const*>(data), size);
    Recorder recorder;
    rapidjson::MemoryStream stream(json.data(), json.size());
    auto const result = rapidjson::Reader().Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, recorder);
    std::string const expected = failure(result, recorder);
    try {
        AnyMap const manifest = cppmicroservices::detail::parseManifest(json);
        require(expected.empty());
        At at = recorder.events.begin();
        checkMap(manifest, at);
        require(at == recorder.events.end());
    } catch (std::runtime_error const& error) {
        // Nobody computed the numbers here; and some versions of the library call a control character an escape.
        std::string const text = error.what();
        require(text == expected || text == rapidjson::GetParseError_En(rapidjson::kParseErrorNumberTooBig) ||
                (result.Code() == rapidjson::kParseErrorStringEscapeInvalid &&
                 text == rapidjson::GetParseError_En(rapidjson::kParseErrorStringInvalidEncoding)));
    }
    return 0;
}
