#include <foundation/feature/Feature.hpp>

#include <string>

#include <foundation/feature/management.hpp>

namespace foundation::feature {
namespace {

// The view's length is left out on purpose: the name is the text up to the NUL that follows it.
std::string nameUpToNul(IFeature const& feature) {
    char const* const text = feature.getName().data();
    return text != nullptr ? std::string(text) : std::string();
}

}  // namespace

Feature<Scope::PROCESS>& Feature<Scope::PROCESS>::operator=(Feature const& other) {
    IFeature::operator=(other);
    cachedState.exchange(other.cachedState);
    return *this;
}

Feature<Scope::PROCESS>::~Feature() = default;

Scope Feature<Scope::PROCESS>::getScope() const {
    return Scope::PROCESS;
}

detail::State* Feature<Scope::PROCESS>::resolve() const {
    detail::State* const state = management::process::getDataPtr(nameUpToNul(*this));
    cachedState.exchange(state);
    return state;
}

Feature<Scope::ZOR>& Feature<Scope::ZOR>::operator=(Feature const& other) {
    IFeature::operator=(other);
    cachedIndex.exchange(other.cachedIndex);
    return *this;
}

Feature<Scope::ZOR>::~Feature() = default;

Scope Feature<Scope::ZOR>::getScope() const {
    return Scope::ZOR;
}

detail::State* Feature<Scope::ZOR>::getState() const {
    std::uint64_t const index = cachedIndex.load(std::memory_order_acquire);
    return management::zor::getDataPtr(index != unresolved ? index : resolve());
}

std::uint64_t Feature<Scope::ZOR>::resolve() const {
    std::uint64_t const index = management::zor::getDataIndex(nameUpToNul(*this));
    cachedIndex.exchange(index);
    return index;
}

}  // namespace foundation::feature
