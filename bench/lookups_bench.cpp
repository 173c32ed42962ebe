// Look-ups by name. Each runs in a process of its own, whose catalogue has the size that the row names.

#include "BareRegistry.hpp"
#include "measure.hpp"
#include "peers.hpp"

#include <foundation/feature/management.hpp>

#include <foundation/cppmicroservices.hpp>

#include <benchmark/benchmark.h>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

namespace bench {
namespace {

using benchmark::DoNotOptimize;
using foundation::feature::Scope;
namespace management = foundation::feature::management;

Scope scopeOf(std::size_t number) {
    return number % 2 == 0 ? Scope::PROCESS : Scope::ZOR;
}

void registerOurs(std::size_t count) {
    for (std::size_t number = 0; number < count; ++number) {
        management::registerFeature(
            scopeOf(number), featureName(number), 0, "Beta", "viewer", "viewer.cpp", 1, "Viewer", "viewer");
    }
}

void registerBare(BareRegistry& registry, std::size_t count) {
    for (std::size_t number = 0; number < count; ++number) {
        registry.add(
            scopeOf(number), featureName(number), 0, "Beta", "viewer", "viewer.cpp", 1, "Viewer", "viewer");
    }
}

/// Looks each of the names up, over and over; the time of one look-up.
template <class Find>
double timeOfFinding(std::vector<std::string> const& names, Find const& find) {
    std::size_t const count = names.size();
    std::size_t const rounds = 400'000 / count;
    auto const findAll = [&] {
        for (std::string const& name : names)
            DoNotOptimize(find(name));
    };
    findAll();
    double const time = timeOf([&] {
        for (std::size_t round = 0; round < rounds; ++round)
            findAll();
    });
    return time / static_cast<double>(rounds * count);
}

template <class Find>
double timeOfMissing(Find const& find) {
    constexpr int rounds = 20'000;
    std::string const name = "NobodyRegistersThisName";
    find(name);
    double const time = timeOf([&] {
        for (int round = 0; round < rounds; ++round)
            DoNotOptimize(find(name));
    });
    return time / rounds;
}

double timeOfMissingOurs(std::size_t count) {
    registerOurs(count);
    return timeOfMissing([](std::string const& name) { return management::getFeature(name); });
}

/// With a framework that runs, and the bundles that lie beside the benchmark.
double timeOfMissingWithBundles(std::size_t count) {
    auto const framework =
        std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework());
    framework->Start();
    foundation::cppmicroservices::setFramework(framework);
    foundation::cppmicroservices::setInstallationRoot(
        fl::filesystem::path(std::filesystem::path(INSTALLATION_ROOT).u16string()));
    double const time = timeOfMissingOurs(count);
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero());
    return time;
}

double timeOfMissingBare(std::size_t count) {
    BareRegistry registry;
    registerBare(registry, count);
    return 2 * timeOfMissing([&](std::string const& name) { return registry.find(name); });
}

}  // namespace

void addLookups() {
    for (std::size_t const count : {10'000, 100'000}) {
        std::string const row = "getFeature_" + std::to_string(count);
        // The names come first: they lie together, however the tables have left the heap.
        addScenario(row + "/ours", [count] {
            std::vector<std::string> const names = shuffledNames(count);
            registerOurs(count);
            return timeOfFinding(names, [](std::string const& name) { return management::getFeature(name); });
        });
        addScenario(row + "/bare", [count] {
            std::vector<std::string> const names = shuffledNames(count);
            BareRegistry registry;
            registerBare(registry, count);
            return timeOfFinding(names, [&](std::string const& name) { return registry.find(name); });
        });
        addScenario(row + "/abseil", [count] {
            std::vector<std::string> const names = shuffledNames(count);
            registerPeerFlags(count);
            return timeOfFinding(names, isAbseilFlag);
        });
        addScenario(row + "/gflags", [count] {
            std::vector<std::string> const names = shuffledNames(count);
            registerPeerFlags(count);
            return timeOfFinding(names, isGflag);
        });
    }
    constexpr std::size_t known = 10'000;
    addScenario("missing/ours", [] { return timeOfMissingOurs(known); });
    addScenario("missing/bundles", [] { return timeOfMissingWithBundles(known); });
    addScenario("missing/bare", [] { return timeOfMissingBare(known); });
}

}  // namespace bench
