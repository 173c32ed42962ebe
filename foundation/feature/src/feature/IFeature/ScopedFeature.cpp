#include <foundation/feature/ScopedFeature.hpp>

#include <utility>

#include <foundation/feature/management.hpp>

namespace foundation::feature {

ScopedFeature::ScopedFeature(std::unique_ptr<IFeature>&& handle, int value) : feature(std::move(handle)) {
    begin(value);
}

ScopedFeature::ScopedFeature(std::string const& name, int value) : feature(management::getFeature(name)) {
    begin(value);
}

ScopedFeature::ScopedFeature(Feature<Scope::ZOR> handle, int value)
    : feature(std::make_unique<Feature<Scope::ZOR>>(handle)) {
    begin(value);
}

ScopedFeature::ScopedFeature(Feature<Scope::PROCESS> handle, int value)
    : feature(std::make_unique<Feature<Scope::PROCESS>>(handle)) {
    begin(value);
}

ScopedFeature::ScopedFeature(ScopedFeature&& other) noexcept
    : feature(std::move(other.feature)), previousValue(other.previousValue) {}

// The handle that this object owned goes without a restore, on purpose: its override stays in force.
ScopedFeature& ScopedFeature::operator=(ScopedFeature&& other) noexcept {
    if (this != &other) feature = std::move(other.feature);
    previousValue = other.previousValue;
    return *this;
}

ScopedFeature::~ScopedFeature() {
    if (feature) feature->set(previousValue);
}

void ScopedFeature::begin(int value) {
    if (!feature) return;
    previousValue = feature->get();
    feature->set(value);
}

}  // namespace foundation::feature
