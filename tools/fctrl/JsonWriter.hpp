#pragma once

#include "text.hpp"

#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

namespace fctrl {

/// Writes one JSON document; what is no UTF-8 in texts becomes U+FFFD.
class JsonWriter {
public:
    explicit JsonWriter(std::ostream& out) : stream_(out), writer_(stream_) { writer_.SetIndent(' ', 2); }

    void beginObject() { writer_.StartObject(); }
    void beginObject(std::string_view name) { key(name), writer_.StartObject(); }
    void endObject() { writer_.EndObject(); }
    void beginArray(std::string_view name) { key(name), writer_.StartArray(); }
    void endArray() { writer_.EndArray(); }

    void text(std::string_view value) {
        std::string const utf8 = wellFormed(value);
        writer_.String(utf8.data(), static_cast<rapidjson::SizeType>(utf8.size()));
    }
    void text(std::string_view name, std::string_view value) { key(name), text(value); }
    void number(std::string_view name, std::int64_t value) { key(name), writer_.Int64(value); }
    void number(std::string_view name, std::size_t value) { key(name), writer_.Uint64(value); }
    void number(std::string_view name, int value) { key(name), writer_.Int(value); }
    void truth(std::string_view name, bool value) { key(name), writer_.Bool(value); }

private:
    void key(std::string_view name) {
        writer_.Key(name.data(), static_cast<rapidjson::SizeType>(name.size()));
    }

    rapidjson::OStreamWrapper stream_;
    rapidjson::PrettyWriter<rapidjson::OStreamWrapper> writer_;
};

}  // namespace fctrl
