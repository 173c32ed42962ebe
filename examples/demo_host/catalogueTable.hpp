#pragma once

#include <foundation/feature/Scope.hpp>
#include <foundation/usm.hpp>

#include "options.hpp"

#include <cstddef>
#include <deque>
#include <iosfwd>
#include <string>
#include <vector>

namespace demo {

/// The engine instances of the process, in the order of their numbers. A deque, because they do not move.
using EngineInstances = std::deque<foundation::usm::EngineInstance>;

/// What the catalogue says of one feature.
struct CatalogueRow {
    std::string name;
    foundation::feature::Scope scope;
    std::string state;
    int defaultValue;
    int value;  ///< what this thread sees: of a per-instance feature, in the instance current on it
    std::vector<int> engineValues;  ///< one for each engine instance; empty for a per-process feature
    std::size_t reads;              ///< over all instances, without those of collecting this row
    std::size_t writes;
    std::string component;
    std::string module;
    std::string file;
    int line;  ///< -1: not known

    /// Whether the value differs from the default, in the process or in any instance.
    bool isChanged() const;
};

/// All features, ordered by name. Reads each value once.
/// @threads  No other thread changes features meanwhile, or the rows show a mixture of times.
std::vector<CatalogueRow> collectCatalogue(EngineInstances& engines);

/// The rows that the options ask for.
std::vector<CatalogueRow> select(std::vector<CatalogueRow> rows, Options const& options);

/// Prints the rows under one line of titles, a line each, columns as wide as their content.
void printTable(std::ostream& out, std::vector<CatalogueRow> const& rows, std::size_t engineCount);

/// Prints the rows as a JSON array with one object a line.
void printJson(std::ostream& out, std::vector<CatalogueRow> const& rows);

}  // namespace demo
