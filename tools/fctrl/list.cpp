#include "list.hpp"

#include "catalogueJson.hpp"
#include "environment.hpp"
#include "nearest.hpp"
#include "terminal.hpp"
#include "text.hpp"

#include <algorithm>
#include <array>
#include <ostream>

namespace fctrl {
namespace {

constexpr std::size_t columnCount = 9;
using Cells = std::array<std::string, columnCount>;

constexpr std::size_t defaultColumn = 3;
constexpr std::size_t valueColumn = 4;

std::string textCell(std::string const& text) {
    return text.empty() ? "-" : printable(text);
}

Cells cellsOf(Feature const& feature) {
    // The blank keeps the numbers of a column below one another.
    return {printable(feature.name),
            scopeText(feature.scope),
            feature.state,
            std::to_string(feature.defaultValue),
            std::to_string(feature.value) + (feature.isChanged() ? '*' : ' '),
            sourceText(feature.source),
            textCell(feature.component),
            textCell(feature.module),
            textCell(placeText(feature))};
}

}  // namespace

bool matches(std::string_view text, std::string_view pattern) {
    std::string const letters = smallLetters(text);
    std::string const wanted = smallLetters(pattern);
    std::size_t at = 0;
    std::size_t next = 0;
    std::size_t lastStar = std::string::npos;
    std::size_t afterStar = 0;  // where the text of the last star ends
    while (at < letters.size()) {
        if (next < wanted.size() && wanted[next] == '*') {
            lastStar = next++;
            afterStar = at;
        } else if (next < wanted.size() && (wanted[next] == '?' || wanted[next] == letters[at])) {
            ++next;
            ++at;
        } else if (lastStar != std::string::npos) {
            next = lastStar + 1;
            at = ++afterStar;
        } else {
            return false;
        }
    }
    return wanted.find_first_not_of('*', next) == std::string::npos;
}

std::vector<Feature> select(std::vector<Feature> const& features, Options const& options) {
    auto const allows = [](std::string const& wanted, std::string_view text) {
        return wanted.empty() || wanted == text;
    };
    std::vector<Feature> selected;
    std::copy_if(features.begin(), features.end(), std::back_inserter(selected), [&](Feature const& feature) {
        return (options.name.empty() || matches(feature.name, options.name)) &&
               allows(options.state, feature.state) && allows(options.scope, scopeText(feature.scope)) &&
               allows(options.component, feature.component) && allows(options.module, feature.module) &&
               (!options.isChangedOnly || feature.isChanged());
    });
    return selected;
}

std::vector<std::string> remarks(Catalogue const& catalogue, bool withProblems) {
    std::vector<std::string> texts = catalogue.unreadable;
    if (withProblems) texts.insert(texts.end(), catalogue.problems.begin(), catalogue.problems.end());
    for (StrayVariable const& variable : catalogue.strayVariables) {
        std::vector<std::string> names;
        for (std::string const& name : variable.nearest)
            names.push_back(std::string(variablePrefix) + name);
        texts.push_back("the variable " + variable.name + " names no feature" + suggestion(names));
    }
    return texts;
}

void writeTable(std::ostream& out, std::vector<Feature> const& features, bool isColoured) {
    std::vector<Cells> lines = {
        {"name", "scope", "state", "default", "value ", "source", "component", "module", "file:line"}};
    for (Feature const& feature : features)
        lines.push_back(cellsOf(feature));
    std::array<std::size_t, columnCount> widths{};
    for (Cells const& cells : lines) {
        for (std::size_t i = 0; i < columnCount; ++i)
            widths[i] = std::max(widths[i], displayWidth(cells[i]));
    }
    for (Cells const& cells : lines) {
        std::string line;
        for (std::size_t i = 0; i < columnCount; ++i) {
            std::string const padding(widths[i] - displayWidth(cells[i]), ' ');
            bool const isNumber = i == defaultColumn || i == valueColumn;
            line += (i == 0 ? "" : "  ") + (isNumber ? padding + cells[i] : cells[i] + padding);
        }
        line.erase(line.find_last_not_of(' ') + 1);
        bool const isTitle = &cells == &lines.front();
        bool const isChanged = !isTitle && cells[valueColumn].ends_with('*');
        out << (isTitle ? coloured(line, Colour::bold, isColoured)
                        : coloured(line, Colour::magenta, isColoured && isChanged))
            << '\n';
    }
}

void writeListJson(std::ostream& out, std::vector<Feature> const& features, Catalogue const& catalogue) {
    {
        JsonWriter writer(out);
        writer.beginObject();
        writer.beginArray("features");
        for (Feature const& feature : features)
            writeFeature(writer, feature);
        writer.endArray();
        writeRemarks(writer, catalogue);
        writer.endObject();
    }
    out << '\n';
}

}  // namespace fctrl
