#include "Manifest.h"

#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

namespace cppmicroservices::detail {

namespace {

/// Levels of nesting that are read. Reading, copying and destroying go as deep as the manifest does, so that
/// a hostile one could use up the stack.
constexpr std::size_t deepestLevel = 2048;

/// Builds the manifest from what the JSON reader meets.
class Builder {
public:
    bool Null() { return true; }
    bool Bool(bool value) { return add(value); }
    bool Int(int value) { return add(value); }
    bool Uint(unsigned value) { return Uint64(value); }
    bool Int64(std::int64_t value) { return add(static_cast<long long>(value)); }
    bool Uint64(std::uint64_t value) {
        if (value <= static_cast<std::uint64_t>(std::numeric_limits<int>::max()))
            return add(static_cast<int>(value));
        if (value <= static_cast<std::uint64_t>(std::numeric_limits<long long>::max())) {
            return add(static_cast<long long>(value));
        }
        return add(static_cast<unsigned long long>(value));
    }
    bool Double(double value) { return add(value); }
    bool RawNumber(char const*, rapidjson::SizeType, bool) { return false; }  // Asked for by no flag.
    bool String(char const* text, rapidjson::SizeType size, bool) {
        std::string value = untilNul(text, size);
        if (value.starts_with('%')) value.erase(0, 1);
        return add(std::move(value));
    }

    bool StartObject() { return enter(false); }
    bool Key(char const* text, rapidjson::SizeType size, bool) {
        levels_.back().key = untilNul(text, size);
        return true;
    }
    bool EndObject(rapidjson::SizeType) {
        Level level = leave();
        return add(std::move(level.map));
    }
    bool StartArray() { return enter(true); }
    bool EndArray(rapidjson::SizeType) {
        Level level = leave();
        return add(std::move(level.list));
    }

    AnyMap takeManifest() {
        auto* const manifest = any_cast<AnyMap>(&root_);
        if (manifest == nullptr) throw std::runtime_error("The Json root element must be an object.");
        return std::move(*manifest);
    }

private:
    struct Level {
        bool isList = false;
        AnyMap map;
        std::vector<Any> list;
        std::string key;  // Of the member that is being read.
    };

    static std::string untilNul(char const* text, rapidjson::SizeType size) {
        std::string value(text, size);
        return value.substr(0, value.find('\0'));
    }

    bool enter(bool isList) {
        if (levels_.size() == deepestLevel) return false;
        levels_.emplace_back().isList = isList;
        return true;
    }

    Level leave() {
        Level level = std::move(levels_.back());
        levels_.pop_back();
        return level;
    }

    template <class T>
    bool add(T value) {
        if (levels_.empty()) {
            root_ = std::move(value);
        } else if (levels_.back().isList) {
            levels_.back().list.emplace_back(std::move(value));
        } else {
            levels_.back().map.emplace(levels_.back().key, std::move(value));
        }
        return true;
    }

    std::vector<Level> levels_;
    Any root_;
};

}  // namespace

AnyMap parseManifest(std::string_view json) {
    rapidjson::MemoryStream stream(json.data(), json.size());
    rapidjson::Reader reader;
    Builder builder;
    auto const result = reader.Parse(stream, builder);
    if (result.Code() == rapidjson::kParseErrorTermination) {
        throw std::runtime_error("More than " + std::to_string(deepestLevel) + " levels of nesting.");
    }
    if (!result.IsError()) return builder.takeManifest();
    auto code = result.Code();
    // Some versions of the reader take a bare control character for an escape; a real one is reported at its
    // backslash.
    if (code == rapidjson::kParseErrorStringEscapeInvalid && json[result.Offset()] != '\\') {
        code = rapidjson::kParseErrorStringInvalidEncoding;
    }
    throw std::runtime_error(rapidjson::GetParseError_En(code));
}

}  // namespace cppmicroservices::detail
