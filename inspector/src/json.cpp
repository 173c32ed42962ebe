#include "json.hpp"

#include <fl/i18n.hpp>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <stdexcept>

namespace foundation::feature::inspector {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

bool isWellFormed(std::string const& text) {
    try {
        fl::i18n::utf8_to_ustring(text);
        return true;
    } catch (std::range_error const&) {
        return false;
    }
}

/// Writes a text that came from anywhere: if it is no UTF-8, what is not ASCII stands as "\x" and two digits.
void writeText(Writer& writer, std::string const& text) {
    std::string shown;
    if (isWellFormed(text)) {
        shown = text;
    } else {
        constexpr char const* digits = "0123456789abcdef";
        for (char const character : text) {
            auto const byte = static_cast<unsigned char>(character);
            if (byte < 0x80) {
                shown += character;
            } else {
                shown += {'\\', 'x', digits[byte >> 4U], digits[byte & 0xFU]};
            }
        }
    }
    writer.String(shown.data(), static_cast<rapidjson::SizeType>(shown.size()));
}

void writeKey(Writer& writer, std::string_view key) {
    writer.Key(key.data(), static_cast<rapidjson::SizeType>(key.size()));
}

void writeMember(Writer& writer, std::string_view key, std::string const& text) {
    writeKey(writer, key);
    writeText(writer, text);
}

void writeMember(Writer& writer, std::string_view key, std::int64_t number) {
    writeKey(writer, key);
    writer.Int64(number);
}

void writeMember(Writer& writer, std::string_view key, bool isTrue) {
    writeKey(writer, key);
    writer.Bool(isTrue);
}

void writeCount(Writer& writer, std::string_view key, std::uint64_t number) {
    writeKey(writer, key);
    writer.Uint64(number);
}

/// Three arrays: values, reads and writes, in each place.
void writeSights(Writer& writer, Row const& row, bool withKeys) {
    auto const write = [&](std::string_view key, auto const& one) {
        if (withKeys) writeKey(writer, key);
        writer.StartArray();
        for (Sight const& sight : row.sights)
            one(sight);
        writer.EndArray();
    };
    write("values", [&](Sight const& sight) { writer.Int(sight.value); });
    write("reads", [&](Sight const& sight) { writer.Uint64(sight.reads); });
    write("writes", [&](Sight const& sight) { writer.Uint64(sight.writes); });
}

void writeRow(Writer& writer, Row const& row) {
    writer.StartObject();
    writeMember(writer, "name", std::string(row.feature->getName()));
    writeMember(writer, "scope", std::string(row.scope == Scope::ZOR ? "perZOR" : "perPROCESS"));
    writeMember(writer, "state", row.origin->fctrlState);
    writeMember(writer, "default", std::int64_t{row.origin->defaultValue});
    writeKey(writer, "environment");
    if (row.environment) {
        writer.Int(*row.environment);
    } else {
        writer.Null();
    }
    writeMember(writer, "component", row.origin->component);
    writeMember(writer, "module", row.origin->module);
    writeMember(writer, "clientDir", row.origin->clientDir);
    writeMember(writer, "file", row.origin->filename);
    writeMember(writer, "line", std::int64_t{row.origin->line});
    writeMember(writer, "extension", row.extension);
    writeSights(writer, row, true);
    writer.EndObject();
}

void writeInstances(Writer& writer, Catalogue const& catalogue) {
    auto const write = [&](std::uint64_t id, std::string const& name) {
        writer.StartObject();
        writeCount(writer, "id", id);
        writeMember(writer, "name", name);
        writer.EndObject();
    };
    writeKey(writer, "instances");
    writer.StartArray();
    write(0, "main");
    for (std::shared_ptr<NamedInstance> const& instance : catalogue.instances())
        write(instance->id, instance->name);
    writer.EndArray();
}

void writeStrayVariables(Writer& writer, Catalogue const& catalogue) {
    writeKey(writer, "strayVariables");
    writer.StartArray();
    for (StrayVariable const& stray : catalogue.strayVariables()) {
        writer.StartObject();
        writeMember(writer, "name", stray.variable.name);
        writeMember(writer, "text", stray.variable.text);
        writeMember(writer, "namesAFeature", stray.namesAFeature);
        writer.EndObject();
    }
    writer.EndArray();
}

void writeMoment(Writer& writer, Catalogue const& catalogue, std::int64_t time) {
    writeCount(writer, "generation", catalogue.generation());
    writeCount(writer, "version", catalogue.version());
    writeMember(writer, "time", time);
}

std::string textOf(rapidjson::StringBuffer const& buffer) {
    return {buffer.GetString(), buffer.GetSize()};
}

}  // namespace

std::string catalogueJson(Catalogue const& catalogue, bool isWritable, std::int64_t time) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writeMoment(writer, catalogue, time);
    writeMember(writer, "isWritable", isWritable);
    writeInstances(writer, catalogue);
    writeStrayVariables(writer, catalogue);
    writeKey(writer, "features");
    writer.StartArray();
    for (Row const& row : catalogue.rows())
        writeRow(writer, row);
    writer.EndArray();
    writer.EndObject();
    return textOf(buffer);
}

std::string changesEvent(Catalogue const& catalogue, std::uint64_t since, std::int64_t time) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writeMoment(writer, catalogue, time);
    writeKey(writer, "rows");
    writer.StartArray();
    for (std::size_t i = 0; i < catalogue.rows().size(); ++i) {
        Row const& row = catalogue.rows()[i];
        if (row.version <= since) continue;
        writer.StartArray();
        writer.Uint64(i);
        writeSights(writer, row, false);
        writer.EndArray();
    }
    writer.EndArray();
    writer.EndObject();
    return "id: " + std::to_string(catalogue.version()) + "\ndata: " + textOf(buffer) + "\n\n";
}

std::string changeJson(Change const& change) {
    rapidjson::StringBuffer buffer;
    Writer writer(buffer);
    writer.StartObject();
    writeMember(writer, "before", std::int64_t{change.before});
    writeMember(writer, "failure", change.failure);
    writer.EndObject();
    return textOf(buffer);
}

std::optional<ChangeRequest> parseChangeRequest(std::string_view text) {
    rapidjson::Document document;
    // Nothing that a request needs is deep, and a deep one must not exhaust the stack.
    document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.data(),
                                                                                           text.size());
    if (document.HasParseError() || !document.IsObject()) return std::nullopt;
    auto const find = [&](char const* key) -> rapidjson::Value const* {
        return document.HasMember(key) ? &document[key] : nullptr;
    };
    rapidjson::Value const* const name = find("name");
    rapidjson::Value const* const instance = find("instance");
    rapidjson::Value const* const value = find("value");
    rapidjson::Value const* const expected = find("expected");
    if (name == nullptr || !name->IsString() || instance == nullptr || !instance->IsUint64())
        return std::nullopt;
    if (value == nullptr || !value->IsInt() || (expected != nullptr && !expected->IsInt()))
        return std::nullopt;
    if (document.MemberCount() != (expected != nullptr ? 4U : 3U)) return std::nullopt;
    return ChangeRequest{{name->GetString(), name->GetStringLength()},
                         instance->GetUint64(),
                         value->GetInt(),
                         expected != nullptr ? std::optional(expected->GetInt()) : std::nullopt};
}

}  // namespace foundation::feature::inspector
