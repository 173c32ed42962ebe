#pragma once

#include "InstanceTable.hpp"
#include "environment.hpp"

#include <foundation/feature/IFeature.hpp>
#include <foundation/feature/Scope.hpp>
#include <foundation/feature/State.hpp>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace foundation::feature::inspector {

/// What was seen last of a feature in one place: the process, or an engine instance.
struct Sight {
    detail::State const* record;
    int value;
    std::uint64_t reads;
    std::uint64_t writes;
};

/// A feature.
struct Row {
    std::unique_ptr<IFeature> feature;
    Scope scope;
    detail::State const* origin;     ///< where the texts are read: they are the same in every place
    std::optional<int> environment;  ///< the initial value that a variable gave it in place of the default
    std::string extension;  ///< the symbolic name of the bundle that it is from; empty when from none
    std::vector<Sight>
        sights;             ///< the process or the main instance, and then those of Catalogue::instances()
    std::uint64_t version;  ///< the catalogue's, when something of it was last seen to be another one
};

/// A variable that overrides nothing.
struct StrayVariable {
    Variable variable;
    bool namesAFeature;  ///< then its text is not an integer
};

/// What came of a change that the page asked for.
struct Change {
    enum Outcome { Done, NoSuchFeature, NoSuchInstance, OtherValue };
    Outcome outcome;
    int before;           ///< the value that was there, unless there is no such feature or instance
    std::string failure;  ///< what a watcher threw; the value is changed all the same
};

/// The features of the process, and what was seen of them last.
///
/// Looks at the records, not through the handles' `get`: what is seen here is no counted read.
/// @threads  One, that of the server.
class Catalogue {
public:
    explicit Catalogue(std::shared_ptr<InstanceTable> table) : table_(std::move(table)) {}

    /// Asks every extension to register its features, and takes in those that are new. The first time also what the
    /// environment overrides.
    /// @throws  what an extension's code throws that the library does not catch.
    void list();

    /// Looks at every value and counter again.
    void look();

    /// Sets a feature; its watchers run on this thread.
    /// @param instance  a NamedInstance's id or 0, which is the process or the main instance.
    /// @param expected  when given, another value is left as it is.
    Change set(std::string_view name, std::uint64_t instance, int value, std::optional<int> expected);

    bool isListed() const { return isListed_; }
    /// Grows with every look that saw something new. A row that differs since then has a greater version.
    std::uint64_t version() const { return version_; }
    /// Grows when there are other features or other instances, so that rows are no more what they were.
    std::uint64_t generation() const { return generation_; }
    std::vector<Row> const& rows() const { return rows_; }
    InstanceTable::Instances const& instances() const { return instances_; }
    std::vector<StrayVariable> const& strayVariables() const { return strayVariables_; }

private:
    void takeIn(std::vector<std::unique_ptr<IFeature>> features);
    void lookForOverrides(std::size_t firstRow);
    void findRecords();

    std::shared_ptr<InstanceTable> const table_;
    std::uint64_t tableGeneration_ = 0;
    InstanceTable::Instances instances_;
    std::vector<Row> rows_;
    std::unordered_map<std::string_view, std::size_t> positions_;  // in rows_; the names are the registry's
    std::vector<StrayVariable> strayVariables_;
    std::uint64_t version_ = 0;
    std::uint64_t generation_ = 0;
    bool isListed_ = false;
};

}  // namespace foundation::feature::inspector
