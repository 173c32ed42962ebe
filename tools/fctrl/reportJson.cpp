#include "JsonWriter.hpp"
#include "report.hpp"

#include <algorithm>
#include <ostream>

namespace fctrl {
namespace {

void writePlace(JsonWriter& writer, Where const& where) {
    writer.text("file", where.document->name());
    if (where.isWholeFile) return;
    Document::Place const begin = where.document->place(where.range.begin);
    Document::Place const end = where.document->place(where.range.end);
    writer.number("line", begin.line);
    writer.number("column", begin.column);
    writer.number("endLine", end.line);
    writer.number("endColumn", end.column);
}

void writeFinding(JsonWriter& writer, Finding const& finding) {
    RuleText const& rule = ruleText(finding.rule);
    writer.beginObject();
    writePlace(writer, finding.where);
    writer.text("level", rule.isError ? "error" : "warning");
    writer.text("rule", rule.id);
    writer.text("message", finding.text);
    writer.beginArray("notes");
    for (Note const& note : finding.notes) {
        writer.beginObject();
        writePlace(writer, note.where);
        writer.text("message", note.text);
        writer.endObject();
    }
    writer.endArray();
    writer.endObject();
}

}  // namespace

void writeJson(std::ostream& out, CheckResult const& result) {
    auto const errors = std::count_if(result.findings.begin(),
                                      result.findings.end(),
                                      [](Finding const& finding) { return ruleText(finding.rule).isError; });
    {
        JsonWriter writer(out);
        writer.beginObject();
        writer.number("files", result.files);
        writer.number("descriptors", result.descriptors);
        writer.number("errors", static_cast<std::size_t>(errors));
        writer.number("warnings", result.findings.size() - static_cast<std::size_t>(errors));
        writer.beginArray("unreadable");
        for (std::string const& text : result.unreadable)
            writer.text(text);
        writer.endArray();
        writer.beginArray("findings");
        for (Finding const& finding : result.findings)
            writeFinding(writer, finding);
        writer.endArray();
        writer.endObject();
    }
    out << '\n';
}

}  // namespace fctrl
