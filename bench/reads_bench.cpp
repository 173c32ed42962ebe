// Reads of process-wide features, whose handles have found their records.

#include "BareHandle.hpp"
#include "measure.hpp"

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>

#include <absl/flags/flag.h>
#include <benchmark/benchmark.h>
#include <gflags/gflags.h>

#include <array>
#include <memory>
#include <ostream>

ABSL_FLAG(int, abseilFlag, 1, "read and written");
DEFINE_int32(gflag, 1, "read");

namespace bench {
namespace {

using benchmark::DoNotOptimize;
using benchmark::RegisterBenchmark;
using benchmark::State;
using foundation::feature::Feature;
using foundation::feature::IFeature;
using foundation::feature::Scope;
namespace management = foundation::feature::management;
using Logger = foundation::log::basic_diagnostic_logger<char>;

/// Handles of two features that were registered one after the other.
std::array<std::unique_ptr<IFeature>, 2> const& handles() {
    static auto const found = [] {
        std::array<std::unique_ptr<IFeature>, 2> result;
        for (char const* const name : {"ReadOne", "ReadOther"})
            management::registerFeature(
                Scope::PROCESS, name, 1, "Beta", "client", "file", 1, "component", "module");
        result[0] = management::getFeature("ReadOne");
        result[1] = management::getFeature("ReadOther");
        return result;
    }();
    return found;
}

void readThroughInterface(State& state) {
    IFeature* feature = handles()[static_cast<std::size_t>(state.thread_index())].get();
    DoNotOptimize(feature);
    for ([[maybe_unused]] auto const step : state)
        DoNotOptimize(feature->get());
}

void readThroughVirtualCall(State& state) {
    BareRecord record;
    std::unique_ptr<BareHandle> const handle(makeBareHandle(record));
    for ([[maybe_unused]] auto const step : state)
        DoNotOptimize(handle->get());
}

void readTyped(State& state) {
    handles();
    Feature<Scope::PROCESS> const feature("ReadOne");
    feature.get();
    for ([[maybe_unused]] auto const step : state)
        DoNotOptimize(feature.get());
}

void readRecord(State& state) {
    BareRecord record;
    DoNotOptimize(&record);
    for ([[maybe_unused]] auto const step : state)
        DoNotOptimize(record.read());
}

void readAbseil(State& state) {
    for ([[maybe_unused]] auto const step : state)
        DoNotOptimize(absl::GetFlag(FLAGS_abseilFlag));
}

void readGflag(State& state) {
    for ([[maybe_unused]] auto const step : state) {
        DoNotOptimize(FLAGS_gflag);
        benchmark::ClobberMemory();
    }
}

constexpr foundation::log::SourceLocation location{"file", "function", 1};

void writeDisabledRecord(State& state) {
    Logger logger("bench");
    for ([[maybe_unused]] auto const step : state) {
        logger.write(16, location, [&](std::ostream& out) { out << state.thread_index(); });
        benchmark::ClobberMemory();
    }
}

void traceDisabled(State& state) {
    Logger logger("bench");
    for ([[maybe_unused]] auto const step : state) {
        Logger::FunctionTrace const trace(logger, location);
        benchmark::ClobberMemory();
    }
}

void doNothing(State& state) {
    for ([[maybe_unused]] auto const step : state)
        benchmark::ClobberMemory();
}

}  // namespace

void addReads() {
    RegisterBenchmark("get/ours", readThroughInterface);
    RegisterBenchmark("get/bare", readThroughVirtualCall);
    RegisterBenchmark("get/abseil", readAbseil);
    RegisterBenchmark("get/gflags", readGflag);
    RegisterBenchmark("get/two", readThroughInterface)->Threads(2);
    RegisterBenchmark("get_typed/ours", readTyped);
    RegisterBenchmark("get_typed/bare", readRecord);
    RegisterBenchmark("disabled_record/ours", writeDisabledRecord);
    RegisterBenchmark("disabled_trace/ours", traceDisabled);
    RegisterBenchmark("disabled/bare", doNothing);
}

}  // namespace bench
