#include "BareRegistry.hpp"

namespace bench {

using foundation::feature::Scope;
using foundation::feature::detail::State;

BareFound::~BareFound() = default;

void BareRegistry::add(Scope scope,
                       std::string name,
                       int defaultValue,
                       std::string wip,
                       std::string clientdir,
                       std::string filename,
                       int line,
                       std::string component,
                       std::string module) {
    std::string lowerCase = name;
    for (char& character : lowerCase) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + ('a' - 'A'));
    }
    std::lock_guard const lock(mutex_);
    lowerCaseNames_.try_emplace(std::move(lowerCase), name);
    modules_.try_emplace(name, module);
    // The record is built where it stays.
    auto const addTo = [&](auto& table, auto... index) {
        table.try_emplace(std::move(name),
                          index...,
                          defaultValue,
                          nullptr,
                          std::move(component),
                          std::move(module),
                          std::move(wip),
                          std::move(clientdir),
                          std::move(filename),
                          line);
    };
    if (scope == Scope::PROCESS) {
        addTo(processFeatures_);
    } else {
        addTo(zorFeatures_, zorFeatures_.size());
    }
}

std::unique_ptr<BareFound> BareRegistry::find(std::string const& name) const {
    std::lock_guard const lock(mutex_);
    auto const zor = zorFeatures_.find(name);
    if (zor != zorFeatures_.end()) return std::make_unique<BareFound>(zor->first);
    auto const process = processFeatures_.find(name);
    if (process != processFeatures_.end()) return std::make_unique<BareFound>(process->first);
    return nullptr;
}

std::vector<State const*> BareRegistry::templates() const {
    std::vector<State const*> inOrder(zorFeatures_.size());
    for (auto const& [name, entry] : zorFeatures_)
        inOrder[entry.index] = &entry.state;
    return inOrder;
}

}  // namespace bench
