#include "catalogueTable.hpp"

#include <foundation/feature/IFeature.hpp>
#include <foundation/feature/management.hpp>

#include "text.hpp"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <memory>
#include <ostream>
#include <utility>

namespace demo {
namespace {

using foundation::feature::IFeature;
using foundation::feature::Scope;

char const* scopeText(Scope scope) {
    return scope == Scope::PROCESS ? "perPROCESS" : "perZOR";
}

/// Adds the counters of the record that is current on this thread to the row and reads its value: in this
/// order, since the reading is itself counted.
int takeValue(CatalogueRow& row, IFeature const& feature) {
    row.reads += feature.getReadCount();
    row.writes += feature.getWriteCount();
    return feature.get();
}

CatalogueRow makeRow(IFeature const& feature, EngineInstances& engines) {
    CatalogueRow row{.name = std::string(feature.getName()),
                     .scope = feature.getScope(),
                     .state = feature.getFCtrlState(),
                     .defaultValue = feature.getDefaultValue(),
                     .value = 0,
                     .engineValues = {},
                     .reads = 0,
                     .writes = 0,
                     .component = feature.getComponent(),
                     .module = feature.getModule(),
                     .file = feature.getFilename(),
                     .line = feature.getLine()};
    row.value = takeValue(row, feature);
    if (row.scope == Scope::PROCESS) return row;
    for (foundation::usm::EngineInstance& engine : engines) {
        // The same handle speaks of another record as soon as another instance is current.
        foundation::usm::CurrentEngineInstance const current(engine);
        row.engineValues.push_back(takeValue(row, feature));
    }
    return row;
}

using Cells = std::vector<std::string>;

std::string valueCell(int value, CatalogueRow const& row) {
    // The blank keeps the numbers of a column below one another.
    return std::to_string(value) + (value != row.defaultValue ? '*' : ' ');
}

std::string textCell(std::string const& text) {
    return text.empty() ? "-" : printable(text);
}

Cells titles(std::size_t engineCount) {
    Cells cells = {"name", "scope", "state", "default", "value"};
    for (std::size_t i = 1; i <= engineCount; ++i)
        cells.push_back("zor " + std::to_string(i));
    cells.insert(cells.end(), {"reads", "writes", "component", "module", "file:line"});
    return cells;
}

Cells makeCells(CatalogueRow const& row, std::size_t engineCount) {
    Cells cells = {printable(row.name),
                   scopeText(row.scope),
                   row.state,
                   std::to_string(row.defaultValue),
                   valueCell(row.value, row)};
    for (std::size_t i = 0; i < engineCount; ++i) {
        cells.push_back(i < row.engineValues.size() ? valueCell(row.engineValues[i], row) : "- ");
    }
    cells.push_back(std::to_string(row.reads));
    cells.push_back(std::to_string(row.writes));
    cells.push_back(textCell(row.component));
    cells.push_back(textCell(row.module));
    cells.push_back(textCell(row.file) + (row.line >= 0 ? ":" + std::to_string(row.line) : ""));
    return cells;
}

void printCells(std::ostream& out, Cells const& cells, std::vector<std::size_t> const& widths) {
    constexpr std::size_t firstNumber = 3;            // "default"
    std::size_t const lastNumber = cells.size() - 4;  // "writes"
    std::string line;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        std::string const padding(widths[i] - width(cells[i]), ' ');
        bool const isNumber = i >= firstNumber && i <= lastNumber;
        line += (i == 0 ? "" : "  ") + (isNumber ? padding + cells[i] : cells[i] + padding);
    }
    line.erase(line.find_last_not_of(' ') + 1);
    out << line << '\n';
}

void writeObject(rapidjson::Writer<rapidjson::StringBuffer>& writer, CatalogueRow const& row) {
    auto const writeText = [&](char const* key, std::string const& text) {
        writer.Key(key);
        writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
    };
    auto const writeInt = [&](char const* key, int number) {
        writer.Key(key);
        writer.Int(number);
    };
    auto const writeCount = [&](char const* key, std::size_t number) {
        writer.Key(key);
        writer.Uint64(number);
    };
    writer.StartObject();
    writeText("name", row.name);
    writeText("scope", scopeText(row.scope));
    writeText("state", row.state);
    writeInt("default", row.defaultValue);
    writeInt("value", row.value);
    writer.Key("engineValues");
    writer.StartArray();
    for (int const value : row.engineValues)
        writer.Int(value);
    writer.EndArray();
    writer.Key("changed");
    writer.Bool(row.isChanged());
    writeCount("reads", row.reads);
    writeCount("writes", row.writes);
    writeText("component", row.component);
    writeText("module", row.module);
    writeText("file", row.file);
    writeInt("line", row.line);
    writer.EndObject();
}

}  // namespace

bool CatalogueRow::isChanged() const {
    auto const differs = [this](int other) { return other != defaultValue; };
    return differs(value) || std::any_of(engineValues.begin(), engineValues.end(), differs);
}

std::vector<CatalogueRow> collectCatalogue(EngineInstances& engines) {
    std::vector<CatalogueRow> rows;
    for (std::unique_ptr<IFeature> const& feature : foundation::feature::management::getAllFeatures())
        rows.push_back(makeRow(*feature, engines));
    std::sort(
        rows.begin(), rows.end(), [](auto const& left, auto const& right) { return left.name < right.name; });
    return rows;
}

std::vector<CatalogueRow> select(std::vector<CatalogueRow> rows, Options const& options) {
    std::erase_if(rows, [&](CatalogueRow const& row) {
        return row.name.find(options.only) == std::string::npos ||
               (!options.state.empty() && row.state != options.state) ||
               (options.changed && !row.isChanged());
    });
    return rows;
}

void printTable(std::ostream& out, std::vector<CatalogueRow> const& rows, std::size_t engineCount) {
    std::vector<Cells> lines = {titles(engineCount)};
    for (CatalogueRow const& row : rows)
        lines.push_back(makeCells(row, engineCount));

    std::vector<std::size_t> widths(lines.front().size());
    for (Cells const& cells : lines) {
        for (std::size_t i = 0; i < cells.size(); ++i)
            widths[i] = std::max(widths[i], width(cells[i]));
    }
    for (Cells const& cells : lines)
        printCells(out, cells, widths);
}

void printJson(std::ostream& out, std::vector<CatalogueRow> const& rows) {
    out << '[';
    for (CatalogueRow const& row : rows) {
        rapidjson::StringBuffer text;
        rapidjson::Writer<rapidjson::StringBuffer> writer(text);
        writeObject(writer, row);
        out << (&row == &rows.front() ? "\n  " : ",\n  ") << text.GetString();
    }
    out << (rows.empty() ? "]\n" : "\n]\n");
}

}  // namespace demo
