#include "measure.hpp"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>
#include <utility>

#include <malloc.h>

namespace bench {
namespace {

std::map<std::string, std::function<double()>>& scenarios() {
    static std::map<std::string, std::function<double()>> table;
    return table;
}

double runInProcessOfItsOwn(std::string const& scenario) {
    std::string const program = std::filesystem::read_symlink("/proc/self/exe").string();
    std::string const command = "'" + program + "' --scenario=" + scenario;
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> const output(popen(command.c_str(), "r"), pclose);
    double figure = 0.0;
    if (!output || std::fscanf(output.get(), "%lf", &figure) != 1) {
        throw std::runtime_error("scenario gave no figure: " + scenario);
    }
    return figure;
}

}  // namespace

double allocatedBytes() {
    struct mallinfo2 const all = mallinfo2();
    return static_cast<double>(all.uordblks + all.hblkhd);
}

void addScenario(std::string const& name, std::function<double()> measure) {
    scenarios()[name] = std::move(measure);
    benchmark::RegisterBenchmark(name.c_str(),
                                 [name](benchmark::State& state) {
                                     for ([[maybe_unused]] auto const step : state)
                                         state.SetIterationTime(runInProcessOfItsOwn(name) * 1e-9);
                                 })
        ->Iterations(1)
        ->UseManualTime();
}

bool runScenario(std::string const& name) {
    auto const scenario = scenarios().find(name);
    if (scenario == scenarios().end()) return false;
    // Memory that is given back stays with the process: whether the kernel has to give it out again would depend on what
    // happens to lie at the end of the heap.
    mallopt(M_TRIM_THRESHOLD, std::numeric_limits<int>::max());
    mallopt(M_MMAP_MAX, 0);
    std::printf("%.17g\n", scenario->second());
    return true;
}

std::string featureName(std::size_t number) {
    std::string const digits = std::to_string(number);
    return "MeshRefinement" + std::string(7 - digits.size(), '0') + digits;
}

std::vector<std::string> shuffledNames(std::size_t count) {
    std::vector<std::string> names;
    for (std::size_t number = 0; number < count; ++number)
        names.push_back(featureName(number));
    std::shuffle(names.begin(), names.end(), std::mt19937_64(1));
    return names;
}

}  // namespace bench
