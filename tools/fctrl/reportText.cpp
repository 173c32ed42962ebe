#include "report.hpp"
#include "terminal.hpp"
#include "text.hpp"

#include <algorithm>
#include <ostream>
#include <set>
#include <string>
#include <string_view>

namespace fctrl {
namespace {

/// The part of a line that is shown, with the place in it.
struct Excerpt {
    std::string before;
    std::string marked;
    std::string after;
    std::string blanks;  ///< as wide as what stands before the mark, tabs kept
};

/// Characters of a line that are shown on either side of the place.
constexpr std::size_t mostBefore = 60;
constexpr std::size_t mostMarked = 60;
constexpr std::size_t mostAfter = 60;

/// As `printable`, but tabs stay, so that the mark below can follow them.
std::string shown(std::string_view text) {
    std::string result;
    for (;;) {
        std::size_t const end = std::min(text.find('\t'), text.size());
        result += printable(text.substr(0, end));
        if (end == text.size()) return result;
        result += '\t';
        text.remove_prefix(end + 1);
    }
}

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80;
}

/// No more than `most` bytes of the beginning, not ending in the midst of a character.
std::string_view beginning(std::string_view text, std::size_t most) {
    if (text.size() <= most) return text;
    while (most > 0 && continues(text[most]))
        --most;
    return text.substr(0, most);
}

std::string_view ending(std::string_view text, std::size_t most) {
    if (text.size() <= most) return text;
    std::size_t start = text.size() - most;
    while (start < text.size() && continues(text[start]))
        ++start;
    return text.substr(start);
}

std::string blanksFor(std::string_view text) {
    std::string blanks;
    for (;;) {
        std::size_t const end = std::min(text.find('\t'), text.size());
        blanks.append(displayWidth(text.substr(0, end)), ' ');
        if (end == text.size()) return blanks;
        blanks += '\t';
        text.remove_prefix(end + 1);
    }
}

Excerpt excerptOf(Where const& where) {
    std::string_view const text = where.document->text();
    Range const line = where.document->line(where.range.begin);
    std::size_t const begin = std::min(where.range.begin, line.end);
    std::size_t const end = std::clamp(where.range.end, begin, line.end);
    std::string_view const before = text.substr(line.begin, begin - line.begin);
    std::string_view const marked = text.substr(begin, end - begin);
    std::string_view const after = text.substr(end, line.end - end);
    std::string_view const markedPart = beginning(marked, mostMarked);
    Excerpt excerpt{shown(ending(before, mostBefore)), shown(markedPart), "", ""};
    if (before.size() > mostBefore) excerpt.before.insert(0, "...");
    if (markedPart.size() == marked.size()) {
        excerpt.after = shown(beginning(after, mostAfter));
        if (after.size() > mostAfter) excerpt.after += "...";
    } else {
        excerpt.after = "...";
    }
    excerpt.blanks = blanksFor(excerpt.before);
    return excerpt;
}

std::string placeText(Where const& where) {
    std::string const name = printable(where.document->name());
    if (where.isWholeFile) return name + ": ";
    Document::Place const place = where.document->place(where.range.begin);
    return name + ':' + std::to_string(place.line) + ':' + std::to_string(place.column) + ": ";
}

void writeExcerpt(std::ostream& out, Where const& where, Colour colour, bool isColoured) {
    if (where.isWholeFile) return;
    Excerpt const excerpt = excerptOf(where);
    std::size_t const width = std::max<std::size_t>(1, displayWidth(excerpt.marked));
    out << "  " << excerpt.before << coloured(excerpt.marked, colour, isColoured && !excerpt.marked.empty())
        << excerpt.after << "\n  " << excerpt.blanks
        << coloured('^' + std::string(width - 1, '~'), colour, isColoured) << '\n';
}

}  // namespace

void writeText(std::ostream& out, CheckResult const& result, bool isColoured) {
    std::size_t errors = 0;
    std::set<std::string> files;
    for (Finding const& finding : result.findings) {
        bool const isError = ruleText(finding.rule).isError;
        errors += isError ? 1 : 0;
        files.insert(finding.where.document->name());
        Colour const colour = isError ? Colour::red : Colour::magenta;
        out << coloured(placeText(finding.where), Colour::bold, isColoured)
            << coloured(isError ? "error:" : "warning:", colour, isColoured) << ' ' << oneLine(finding.text)
            << '\n';
        writeExcerpt(out, finding.where, colour, isColoured);
        for (Note const& note : finding.notes) {
            out << coloured(placeText(note.where), Colour::bold, isColoured)
                << coloured("note:", Colour::cyan, isColoured) << ' ' << oneLine(note.text) << '\n';
            writeExcerpt(out, note.where, Colour::cyan, isColoured);
        }
    }
    if (result.findings.empty()) return;
    out << counted(errors, "error") << " and " << counted(result.findings.size() - errors, "warning")
        << " in " << counted(files.size(), "file") << '\n';
}

}  // namespace fctrl
