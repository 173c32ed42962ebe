#include "Catalogue.hpp"

#include "bundles.hpp"

#include <foundation/feature/management.hpp>

#include <exception>
#include <utility>

namespace foundation::feature::inspector {
namespace {

/// Looks at a record again.
/// @return  whether it is another sight.
bool renew(Sight& sight) {
    int const value = sight.record->value;
    std::uint64_t const reads = sight.record->readCount;
    std::uint64_t const writes = sight.record->writeCount;
    if (value == sight.value && reads == sight.reads && writes == sight.writes) return false;
    sight.value = value;
    sight.reads = reads;
    sight.writes = writes;
    return true;
}

Sight sightOf(detail::State const& record) {
    return {&record, record.value, record.readCount, record.writeCount};
}

/// Sets a feature in the place that is current on this thread.
Change setHere(IFeature& feature, int value, std::optional<int> expected) {
    Change change{Change::Done, feature.getState()->value, ""};
    if (expected && *expected != change.before) {
        change.outcome = Change::OtherValue;
        return change;
    }
    try {
        feature.set(value);
    } catch (std::exception const& error) {
        change.failure = error.what();
    } catch (...) {
        change.failure = "an exception of no known kind";
    }
    return change;
}

}  // namespace

void Catalogue::list() {
    takeIn(management::getAllFeatures());
    isListed_ = true;
    findRecords();
}

void Catalogue::takeIn(std::vector<std::unique_ptr<IFeature>> features) {
    std::size_t const firstNew = rows_.size();
    ExtensionNames const extensions = ExtensionNames::read();
    for (std::unique_ptr<IFeature>& feature : features) {
        auto const [position, isNew] = positions_.try_emplace(feature->getName(), rows_.size());
        if (!isNew) continue;
        try {
            detail::State const* const record = feature->getState();
            Scope const scope = feature->getScope();
            std::string extension(extensions.ownerOf(feature->getName(), record->module));
            rows_.push_back({std::move(feature), scope, record, std::nullopt, std::move(extension), {}, 0});
        } catch (...) {
            positions_.erase(position);
            throw;
        }
    }
    lookForOverrides(firstNew);
}

void Catalogue::lookForOverrides(std::size_t firstRow) {
    std::unordered_map<std::string, Row*> rowsByVariable;
    for (Row& row : rows_)
        rowsByVariable.try_emplace(
            variableKey(std::string(overridePrefix) + std::string(row.feature->getName())), &row);
    strayVariables_.clear();
    for (Variable& variable : overrideVariables()) {
        auto const named = rowsByVariable.find(variableKey(variable.name));
        std::optional<int> const value = overrideValue(variable.text);
        if (named == rowsByVariable.end() || !value) {
            strayVariables_.push_back({std::move(variable), named != rowsByVariable.end()});
            continue;
        }
        Row& row = *named->second;
        // Only the environment that the feature found when it was registered matters: the first look is the nearest.
        bool const isNew = &row - rows_.data() >= static_cast<std::ptrdiff_t>(firstRow);
        if (isNew && *value != row.origin->defaultValue) row.environment = value;
    }
}

void Catalogue::findRecords() {
    std::uint64_t tableGeneration = 0;
    InstanceTable::Instances instances;
    std::vector<std::vector<Sight>> sights;
    sights.reserve(rows_.size());
    for (Row const& row : rows_)
        sights.push_back({sightOf(*row.feature->getState())});
    for (std::shared_ptr<NamedInstance> const& instance : table_->all(tableGeneration)) {
        bool const isThere = instance->with([&] {
            for (std::size_t i = 0; i < rows_.size(); ++i) {
                if (rows_[i].scope == Scope::ZOR) sights[i].push_back(sightOf(*rows_[i].feature->getState()));
            }
        });
        if (isThere) instances.push_back(instance);
    }
    // From here on nothing fails: the rows and the instances always fit each other.
    tableGeneration_ = tableGeneration;
    instances_ = std::move(instances);
    ++version_;
    ++generation_;
    for (std::size_t i = 0; i < rows_.size(); ++i) {
        rows_[i].sights = std::move(sights[i]);
        rows_[i].version = version_;
    }
}

void Catalogue::look() {
    if (table_->generation() != tableGeneration_) {
        findRecords();
        return;
    }
    std::uint64_t const next = version_ + 1;
    auto const lookAt = [&](std::size_t sight) {
        for (Row& row : rows_) {
            if (sight < row.sights.size() && renew(row.sights[sight])) row.version = version_ = next;
        }
    };
    lookAt(0);
    for (std::size_t i = 0; i < instances_.size(); ++i) {
        // The lock keeps the instance, and with it the records. One that has ended keeps its last sight until the
        // next look, which sees another table.
        instances_[i]->with([&] { lookAt(i + 1); });
    }
}

Change Catalogue::set(std::string_view name, std::uint64_t instance, int value, std::optional<int> expected) {
    auto const position = positions_.find(name);
    if (position == positions_.end()) return {Change::NoSuchFeature, 0, ""};
    IFeature& feature = *rows_[position->second].feature;
    if (instance == 0) return setHere(feature, value, expected);

    Change change{Change::NoSuchInstance, 0, ""};
    if (feature.getScope() != Scope::ZOR) return change;
    std::uint64_t generation = 0;
    for (std::shared_ptr<NamedInstance> const& named : table_->all(generation)) {
        if (named->id == instance) named->with([&] { change = setHere(feature, value, expected); });
    }
    return change;
}

}  // namespace foundation::feature::inspector
