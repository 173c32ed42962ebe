#pragma once

#include <foundation/feature/Scope.hpp>
#include <foundation/feature/State.hpp>

#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace bench {

/// What a lookup gives: as large as a handle, and destroyed in the same way.
class BareFound {
public:
    explicit BareFound(std::string_view name) : name_(name) {}
    virtual ~BareFound();

private:
    std::string_view name_;
    void* cache_ = nullptr;
};

/// The tables of the catalogue, filled and looked at without anything around it: nothing is checked, logged,
/// traced, read from the environment or undone.
class BareRegistry {
public:
    struct ZorEntry {
        template <class... Arguments>
        explicit ZorEntry(std::size_t index_, Arguments&&... arguments)
            : state(std::forward<Arguments>(arguments)...), index(index_) {}

        foundation::feature::detail::State state;
        std::size_t index;
    };

    void add(foundation::feature::Scope scope,
             std::string name,
             int defaultValue,
             std::string wip,
             std::string clientdir,
             std::string filename,
             int line,
             std::string component,
             std::string module);

    std::unique_ptr<BareFound> find(std::string const& name) const;

    /// The templates in the order of their indices.
    std::vector<foundation::feature::detail::State const*> templates() const;

private:
    mutable std::mutex mutex_;
    std::unordered_map<std::string, std::string> lowerCaseNames_;
    std::unordered_map<std::string, std::string> modules_;
    std::unordered_map<std::string, foundation::feature::detail::State> processFeatures_;
    std::unordered_map<std::string, ZorEntry> zorFeatures_;
};

}  // namespace bench
