#include "JsonWriter.hpp"
#include "report.hpp"

#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>

namespace fctrl {
namespace {

bool staysInUri(char character) {
    constexpr std::string_view others = "-._~/!$&'()*+,;=:@";
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
           (character >= '0' && character <= '9') || others.find(character) != std::string_view::npos;
}

/// A relative reference for a relative path, else a file URI.
std::string uriOf(std::string const& file) {
    static constexpr std::string_view digits = "0123456789ABCDEF";
    std::filesystem::path const path = toPath(file);
    std::string uri = path.is_absolute() ? (path.has_root_name() ? "file:///" : "file://") : "";
    bool isFirstSegment = !path.is_absolute();
    std::u8string const generic = path.generic_u8string();
    for (char8_t const unit : generic) {
        char const character = static_cast<char>(unit);
        auto const byte = static_cast<unsigned char>(character);
        // In the first segment of a relative reference a colon would end a scheme.
        bool const isPlain = staysInUri(character) && !(isFirstSegment && character == ':');
        if (isPlain) {
            uri += character;
        } else {
            uri += {'%', digits[byte / 16], digits[byte % 16]};
        }
        isFirstSegment = isFirstSegment && character != '/';
    }
    return uri;
}

void writeMessage(JsonWriter& writer, std::string_view name, std::string_view text) {
    writer.beginObject(name);
    writer.text("text", text);
    writer.endObject();
}

void writePhysicalLocation(JsonWriter& writer, Where const& where) {
    writer.beginObject("physicalLocation");
    writer.beginObject("artifactLocation");
    writer.text("uri", uriOf(where.document->name()));
    writer.endObject();
    if (!where.isWholeFile) {
        Document::Place const begin = where.document->place(where.range.begin);
        Document::Place const end = where.document->place(where.range.end);
        writer.beginObject("region");
        writer.number("startLine", begin.line);
        writer.number("startColumn", begin.column);
        writer.number("endLine", end.line);
        writer.number("endColumn", end.column);
        writer.endObject();
    }
    writer.endObject();
}

void writeRules(JsonWriter& writer) {
    writer.beginArray("rules");
    for (RuleText const& rule : ruleTable()) {
        writer.beginObject();
        writer.text("id", rule.id);
        writeMessage(writer, "shortDescription", rule.says);
        writer.beginObject("defaultConfiguration");
        writer.text("level", rule.isError ? "error" : "warning");
        writer.endObject();
        writer.endObject();
    }
    writer.endArray();
}

void writeResult(JsonWriter& writer, Finding const& finding) {
    RuleText const& rule = ruleText(finding.rule);
    writer.beginObject();
    writer.text("ruleId", rule.id);
    writer.number("ruleIndex", static_cast<int>(finding.rule));
    writer.text("level", rule.isError ? "error" : "warning");
    writeMessage(writer, "message", finding.text);
    writer.beginArray("locations");
    writer.beginObject();
    writePhysicalLocation(writer, finding.where);
    writer.endObject();
    writer.endArray();
    if (!finding.notes.empty()) {
        writer.beginArray("relatedLocations");
        for (Note const& note : finding.notes) {
            writer.beginObject();
            writePhysicalLocation(writer, note.where);
            writeMessage(writer, "message", note.text);
            writer.endObject();
        }
        writer.endArray();
    }
    writer.endObject();
}

void writeInvocation(JsonWriter& writer, CheckResult const& result) {
    writer.beginArray("invocations");
    writer.beginObject();
    writer.truth("executionSuccessful", result.unreadable.empty());
    writer.beginArray("toolExecutionNotifications");
    for (std::string const& text : result.unreadable) {
        writer.beginObject();
        writer.text("level", "error");
        writeMessage(writer, "message", text);
        writer.endObject();
    }
    writer.endArray();
    writer.endObject();
    writer.endArray();
}

}  // namespace

void writeSarif(std::ostream& out, CheckResult const& result) {
    {
        JsonWriter writer(out);
        writer.beginObject();
        writer.text("$schema", "https://json.schemastore.org/sarif-2.1.0.json");
        writer.text("version", "2.1.0");
        writer.beginArray("runs");
        writer.beginObject();
        writer.beginObject("tool");
        writer.beginObject("driver");
        writer.text("name", "fctrl");
        writer.text("version", FCTRL_VERSION);
        writeRules(writer);
        writer.endObject();
        writer.endObject();
        writeInvocation(writer, result);
        writer.text("columnKind", "unicodeCodePoints");
        writer.beginArray("results");
        for (Finding const& finding : result.findings)
            writeResult(writer, finding);
        writer.endArray();
        writer.endObject();
        writer.endArray();
        writer.endObject();
    }
    out << '\n';
}

}  // namespace fctrl
