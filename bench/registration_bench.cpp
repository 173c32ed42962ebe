// Registration, and what a registered feature occupies. Each runs in a process of its own.

#include "BareRegistry.hpp"
#include "measure.hpp"

#include <foundation/feature/management.hpp>

#include <cmath>
#include <string>
#include <utility>
#include <vector>

namespace bench {
namespace {

using foundation::feature::Scope;
namespace management = foundation::feature::management;

/// Calls `add` with what registers the features 0 to `count` - 1, half of them in each scope; the time of one.
template <class Add>
double timeOfAdding(std::size_t count, Add const& add) {
    std::vector<std::string> names;
    for (std::size_t number = 0; number < count; ++number)
        names.push_back(featureName(number));
    double const time = timeOf([&] {
        for (std::size_t number = 0; number < count; ++number) {
            add(number % 2 == 0 ? Scope::PROCESS : Scope::ZOR,
                std::move(names[number]),
                1,
                "Beta",
                "viewer/meshing",
                "viewer/meshing/source/AdaptiveRefinement.cpp",
                42,
                "Meshing",
                "meshing");
        }
    });
    return time / static_cast<double>(count);
}

/// Calls `add` with what registers process-wide features; the bytes that one of them has allocated.
template <class Add>
double bytesOfAdding(Add const& add) {
    constexpr std::size_t count = 100'000;
    double const before = allocatedBytes();
    for (std::size_t number = 0; number < count; ++number) {
        add(Scope::PROCESS,
            featureName(number),
            1,
            "Beta",
            "viewer/meshing",
            "viewer/meshing/source/AdaptiveRefinement.cpp",
            42,
            "Meshing",
            "meshing");
    }
    return std::round((allocatedBytes() - before) / static_cast<double>(count));
}

}  // namespace

void addRegistration() {
    for (std::size_t const count : {100'000, 1'000'000}) {
        std::string const row = "registerFeature_" + std::to_string(count);
        addScenario(row + "/ours", [count] { return timeOfAdding(count, management::registerFeature); });
        addScenario(row + "/bare", [count] {
            auto& registry = *new BareRegistry;  // not destroyed: nor is its destruction measured
            return timeOfAdding(count, [&](auto&&... arguments) {
                registry.add(std::forward<decltype(arguments)>(arguments)...);
            });
        });
    }
    addScenario("memory_process/ours", [] { return bytesOfAdding(management::registerFeature); });
    addScenario("memory_process/bare", [] {
        BareRegistry registry;
        return bytesOfAdding(
            [&](auto&&... arguments) { registry.add(std::forward<decltype(arguments)>(arguments)...); });
    });
}

}  // namespace bench
