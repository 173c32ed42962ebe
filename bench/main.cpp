// What the library's operations cost, beside the bare work that they are obliged to do and beside other libraries. Run it
// by `./dev bench`; the rows are explained in docs/performance.md.

#include "measure.hpp"

#include <benchmark/benchmark.h>

#include <string_view>

int main(int argumentCount, char* arguments[]) {
    bench::addReads();
    bench::addWrites();
    bench::addLookups();
    bench::addRegistration();
    bench::addPerInstance();
    bench::addJson();

    constexpr std::string_view scenario = "--scenario=";
    std::string_view const first = argumentCount == 2 ? arguments[1] : "";
    if (first.starts_with(scenario)) {
        return bench::runScenario(std::string(first.substr(scenario.size()))) ? 0 : 2;
    }
    benchmark::Initialize(&argumentCount, arguments);
    if (benchmark::ReportUnrecognizedArguments(argumentCount, arguments)) return 2;
    benchmark::RunSpecifiedBenchmarks();
}
