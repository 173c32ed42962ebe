// Per-instance features: reads, an engine instance's first access, and growing together with the catalogue.

#include "BareRegistry.hpp"
#include "measure.hpp"

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/usm.hpp>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <deque>
#include <memory>
#include <string>
#include <vector>

namespace bench {
namespace {

using benchmark::DoNotOptimize;
using benchmark::RegisterBenchmark;
using foundation::feature::IFeature;
using foundation::feature::Scope;
using foundation::usm::CurrentEngineInstance;
using foundation::usm::EngineInstance;
using Record = foundation::feature::detail::State;
namespace management = foundation::feature::management;

constexpr std::size_t templateCount = 20'000;

IFeature& feature() {
    static std::unique_ptr<IFeature> const handle = [] {
        management::registerFeature(
            Scope::ZOR, "PerInstance", 1, "Beta", "client", "file", 1, "component", "module");
        return management::getFeature("PerInstance");
    }();
    return *handle;
}

void readPerInstance(benchmark::State& state) {
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    IFeature* read = &feature();
    DoNotOptimize(read);
    read->get();
    for ([[maybe_unused]] auto const step : state)
        DoNotOptimize(read->get());
}

/// An instance with its slots, one of them holding the table of records.
struct BareInstance {
    std::vector<void*> slots;
};

thread_local BareInstance* bareInstance = nullptr;

void readBare(benchmark::State& state) {
    std::deque<Record> table;
    table.emplace_back(1, nullptr, "component", "module", "Beta", "client", "file", 1);
    BareInstance instance{{nullptr, &table}};
    bareInstance = &instance;
    std::size_t slot = 1;
    std::size_t index = 0;
    for ([[maybe_unused]] auto const step : state) {
        DoNotOptimize(slot);
        DoNotOptimize(index);
        Record& record = (*static_cast<std::deque<Record>*>(bareInstance->slots[slot]))[index];
        ++record.readCount;
        int const value = record.value;
        DoNotOptimize(value);
        benchmark::ClobberMemory();
    }
}

template <class Add>
void addTemplates(Add const& add) {
    for (std::size_t number = 0; number < templateCount; ++number) {
        add(Scope::ZOR,
            featureName(number),
            1,
            "Beta",
            "viewer/meshing",
            "viewer/meshing/source/AdaptiveRefinement.cpp",
            42,
            "Meshing",
            "meshing");
    }
}

/// The least of the times that `firstAccess` gives.
template <class FirstAccess>
double leastTime(FirstAccess const& firstAccess) {
    double least = firstAccess();
    for (int round = 1; round < 10; ++round)
        least = std::min(least, firstAccess());
    return least;
}

double timeOfFirstAccess() {
    addTemplates(management::registerFeature);
    return leastTime([] {
        EngineInstance engine;
        CurrentEngineInstance const current(engine);
        return timeOf([] { DoNotOptimize(management::zor::getDataPtr(0)); });
    });
}

/// Copies what `addTemplates` has filed; calls `use` with the copies.
template <class Use>
double copyTemplates(Use const& use) {
    BareRegistry registry;
    addTemplates([&](auto&&... arguments) { registry.add(std::forward<decltype(arguments)>(arguments)...); });
    std::vector<Record const*> const originals = registry.templates();
    return use([&](std::deque<Record>& copies) {
        for (Record const* const original : originals)
            copies.emplace_back(*original);
    });
}

double timeOfCopying() {
    return copyTemplates([](auto const& copyInto) {
        return leastTime([&] {
            std::deque<Record> copies;
            return timeOf([&] { copyInto(copies); });
        });
    });
}

double bytesOfCopy(double before) {
    return std::round((allocatedBytes() - before) / static_cast<double>(templateCount));
}

double bytesOfInstance() {
    addTemplates(management::registerFeature);
    EngineInstance engine;
    CurrentEngineInstance const current(engine);
    double const before = allocatedBytes();
    management::zor::getDataPtr(0);
    return bytesOfCopy(before);
}

double bytesOfCopies() {
    return copyTemplates([](auto const& copyInto) {
        double const before = allocatedBytes();
        std::deque<Record> copies;
        copyInto(copies);
        return bytesOfCopy(before);
    });
}

double timeOfGrowingTogether(std::size_t count) {
    return timeOf([&] {
        for (std::size_t number = 0; number < count; ++number) {
            management::registerFeature(
                Scope::ZOR, featureName(number), 1, "Beta", "viewer", "viewer.cpp", 1, "Viewer", "viewer");
            DoNotOptimize(management::zor::getDataPtr(number)->value.load());
        }
    });
}

}  // namespace

void addPerInstance() {
    RegisterBenchmark("get_per_instance/ours", readPerInstance);
    RegisterBenchmark("get_per_instance/bare", readBare);
    RegisterBenchmark("get_per_instance/two", readPerInstance)->Threads(2);
    addScenario("first_access/ours", timeOfFirstAccess);
    addScenario("first_access/bare", timeOfCopying);
    addScenario("growing/20000", [] { return timeOfGrowingTogether(20'000); });
    addScenario("growing/10000", [] { return timeOfGrowingTogether(10'000); });
    addScenario("memory_instance/ours", bytesOfInstance);
    addScenario("memory_instance/bare", bytesOfCopies);
}

}  // namespace bench
