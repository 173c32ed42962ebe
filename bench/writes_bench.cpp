// Writes of a process-wide feature, not logged.

#include "measure.hpp"

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>
#include <foundation/feature/management.hpp>

#include <absl/flags/declare.h>
#include <absl/flags/flag.h>
#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

ABSL_DECLARE_FLAG(int, abseilFlag);

namespace bench {
namespace {

using benchmark::DoNotOptimize;
using benchmark::RegisterBenchmark;
using benchmark::State;
using boost::signals2::scoped_connection;
using foundation::feature::Feature;
using foundation::feature::IFeature;
using foundation::feature::Scope;
using foundation::feature::ScopedFeature;
using Record = foundation::feature::detail::State;
namespace management = foundation::feature::management;

IFeature& feature() {
    static std::unique_ptr<IFeature> const handle = [] {
        management::registerFeature(
            Scope::PROCESS, "Written", 0, "Beta", "client", "file", 1, "component", "module");
        return management::getFeature("Written");
    }();
    return *handle;
}

auto countInto(int& calls) {
    return [&calls](IFeature const&) { ++calls; };
}

void set(State& state, int watcherCount) {
    IFeature& written = feature();
    int calls = 0;
    std::vector<scoped_connection> watchers;
    for (int watcher = 0; watcher < watcherCount; ++watcher)
        watchers.emplace_back(written.addCallback(countInto(calls)));
    int value = written.get();
    for ([[maybe_unused]] auto const step : state)
        written.set(value ^= 1);
    DoNotOptimize(calls);
}

void fire(State& state, int slotCount) {
    Record::Signal signal;
    int calls = 0;
    for (int slot = 0; slot < slotCount; ++slot)
        signal.connect(countInto(calls), boost::signals2::at_back);
    for ([[maybe_unused]] auto const step : state)
        signal(feature());
    DoNotOptimize(calls);
}

void exchangeCountAndFire(State& state) {
    Record record(0, nullptr, "", "", "", "", "", 0);
    int value = 0;
    for ([[maybe_unused]] auto const step : state) {
        record.value.exchange(value ^= 1);
        ++record.writeCount;
        record.signal(feature());
    }
}

void setAbseil(State& state) {
    int value = absl::GetFlag(FLAGS_abseilFlag);
    for ([[maybe_unused]] auto const step : state)
        absl::SetFlag(&FLAGS_abseilFlag, value ^= 1);
}

void overrideForAScope(State& state) {
    feature().set(0);
    Feature<Scope::PROCESS> const handle("Written");
    handle.getState();
    for ([[maybe_unused]] auto const step : state)
        ScopedFeature const scoped(handle, 1);
}

void getAndSetTwice(State& state) {
    IFeature& written = feature();
    written.set(0);
    for ([[maybe_unused]] auto const step : state) {
        int const earlier = written.get();
        written.set(1);
        written.set(earlier);
    }
}

}  // namespace

void addWrites() {
    RegisterBenchmark("set/ours", set, 0);
    RegisterBenchmark("set/bare", exchangeCountAndFire);
    RegisterBenchmark("set/abseil", setAbseil);
    RegisterBenchmark("set_1_watcher/ours", set, 1);
    RegisterBenchmark("set_1_watcher/bare", fire, 1);
    RegisterBenchmark("set_10_watchers/ours", set, 10);
    RegisterBenchmark("set_10_watchers/bare", fire, 10);
    RegisterBenchmark("scoped/ours", overrideForAScope);
    RegisterBenchmark("scoped/bare", getAndSetTwice);
}

}  // namespace bench
