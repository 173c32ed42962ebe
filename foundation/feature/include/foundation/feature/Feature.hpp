#pragma once

#include <atomic>
#include <cstdint>
#include <string_view>

#include <foundation/feature/Export.hpp>
#include <foundation/feature/IFeature.hpp>

namespace foundation::feature {

/// A handle of known scope: `Feature<Scope::PROCESS>` or `Feature<Scope::ZOR>`. Copying one copies its name
/// view and what it has already found out; assigning through `IFeature` changes the name view alone.
template <int S>
class Feature;

/// A handle of a feature with one value in the process. Finds the record once and keeps its address.
template <>
class FOUNDATION_FEATURE_EXPORT Feature<Scope::PROCESS> final : public IFeature {
public:
    /// @param featureName  not copied: the text must outlive the handle, and is read up to its NUL.
    explicit Feature(std::string_view featureName) : IFeature(featureName), cachedState(nullptr) {}
    Feature(Feature const& other) : IFeature(other), cachedState(other.cachedState.load()) {}
    Feature& operator=(Feature const& other);
    ~Feature() override;

    Scope getScope() const override;
    detail::State* getState() const override {
        detail::State* const state = cachedState.load(std::memory_order_acquire);
        return state != nullptr ? state : resolve();
    }

private:
    detail::State* resolve() const;

    mutable std::atomic<detail::State*> cachedState;  // null: not resolved yet
};

/// A handle of a feature with one value in each engine instance. Finds the feature's index once; the record
/// is that of the engine instance which is current on the calling thread at each call.
template <>
class FOUNDATION_FEATURE_EXPORT Feature<Scope::ZOR> final : public IFeature {
public:
    /// @param featureName  not copied: the text must outlive the handle, and is read up to its NUL.
    explicit Feature(std::string_view featureName) : IFeature(featureName), cachedIndex(unresolved) {}
    Feature(Feature const& other) : IFeature(other), cachedIndex(other.cachedIndex.load()) {}
    Feature& operator=(Feature const& other);
    ~Feature() override;

    Scope getScope() const override;
    detail::State* getState() const override;

private:
    std::uint64_t resolve() const;

    static constexpr std::uint64_t unresolved = ~std::uint64_t{0};

    mutable std::atomic<std::uint64_t> cachedIndex;
};

}  // namespace foundation::feature
