// A host to look at with the inspector: its engines read and change features on their own until it is interrupted.
//
//   inspected_host [--port <number>] [--read-only]

#include <foundation/feature/InspectedInstance.hpp>
#include <foundation/feature/Inspector.hpp>
#include <foundation/feature/ScopedFeature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/usm.hpp>

#include "RunningFramework.hpp"
#include "descriptorFile.hpp"
#include "logging.hpp"
#include "options.hpp"
#include "platform.hpp"
#include "text.hpp"

#include <charconv>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <stop_token>
#include <string>
#include <thread>
#include <vector>

namespace demo {
namespace {

namespace management = foundation::feature::management;
namespace usm = foundation::usm;
using foundation::feature::IFeature;
using foundation::feature::InspectedInstance;
using foundation::feature::Inspector;
using foundation::feature::InspectorOptions;
using foundation::feature::Scope;
using foundation::feature::ScopedFeature;

volatile std::sig_atomic_t isInterrupted = 0;

void interrupt(int) {
    isInterrupted = 1;
}

constexpr std::chrono::milliseconds stepTime{50};

void registerHostFeatures() {
    auto const add = [](Scope scope, char const* name, int defaultValue, char const* state, int line) {
        management::registerFeature(scope,
                                    name,
                                    defaultValue,
                                    state,
                                    "examples",
                                    "demo_host/inspected_host.cpp",
                                    line,
                                    "host",
                                    "inspected_host");
    };
    add(Scope::PROCESS, "InspectedEnginesRun", 1, "On", __LINE__);
    add(Scope::PROCESS, "InspectedRefreshRate", 60, "Beta", __LINE__);
    add(Scope::ZOR, "InspectedStep", 0, "DebugOrTest", __LINE__);
    add(Scope::ZOR, "InspectedTrace", 0, "DebugOrTest", __LINE__);
    // A stale switch, as the page's reports find them: no code reads it any more.
    add(Scope::PROCESS, "InspectedOldRenderer", 0, "Off", __LINE__);
}

/// Whether an engine uses the feature: of the others, some are forgotten by everybody.
bool isUsed(IFeature const& feature) {
    return feature.getName() != "InspectedOldRenderer" &&
           std::hash<std::string_view>()(feature.getName()) % 9 != 0;
}

/// One engine's work, until it is told to stop. "InspectedEnginesRun" halts it: a switch to try in the page.
void work(std::stop_token const& stop, std::size_t number, usm::EngineInstance& instance) {
    usm::CurrentEngineInstance const current(instance);
    std::vector<std::unique_ptr<IFeature>> features = management::getAllFeatures();
    std::erase_if(features, [](std::unique_ptr<IFeature> const& feature) { return !isUsed(*feature); });
    auto const isRunning = management::getFeature("InspectedEnginesRun");
    auto const stepNumber = management::getFeature("InspectedStep");
    for (int step = 1; !stop.stop_requested(); ++step, std::this_thread::sleep_for(stepTime)) {
        if (!isRunning->isActive()) continue;
        // Some features are read in every step, some now and then.
        for (std::size_t i = 0; i < features.size(); ++i) {
            if (static_cast<std::size_t>(step) % (1 + i % 17) == 0) features[i]->get();
        }
        if (step % 10 == 0) stepNumber->set(step);
        if (step % 60 == 0) {
            // A stretch with the trace on: it goes off again at the end.
            ScopedFeature const traced("InspectedTrace", static_cast<int>(number));
            for (int i = 0; i < 10 && !stop.stop_requested(); ++i)
                std::this_thread::sleep_for(stepTime);
        }
    }
}

/// An engine instance, which the inspector shows by its name, and its thread. The last member ends first.
struct Engine {
    Engine(Inspector& inspector, std::size_t number)
        : shown(inspector, "engine " + std::to_string(number), instance),
          worker([this, number](std::stop_token const& stop) { work(stop, number, instance); }) {}

    usm::EngineInstance instance;
    InspectedInstance shown;
    std::jthread worker;
};

InspectorOptions parse(std::vector<std::string> const& arguments) {
    InspectorOptions options{.port = 0, .allowWriting = true};
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string const& option = arguments[i];
        if (option == "--read-only") {
            options.allowWriting = false;
        } else if (option == "--port" && i + 1 < arguments.size()) {
            std::string const& number = arguments[++i];
            auto const [end, error] =
                std::from_chars(number.data(), number.data() + number.size(), options.port);
            if (error != std::errc() || end != number.data() + number.size())
                throw UsageError("--port expects a number from 0 to 65535, not \"" + number + "\"");
        } else {
            throw UsageError("unexpected \"" + option +
                             "\"; usage: inspected_host [--port <number>] [--read-only]");
        }
    }
    return options;
}

void run(InspectorOptions const& options) {
    startLogging({});
    registerHostFeatures();
    registerDescriptorFolder(programFolder() / "descriptors");
    RunningFramework const framework;

    // The one call that a host needs.
    Inspector inspector(options);
    std::cout << "The inspector's page: " << inspector.url() << "\nCtrl-C ends the program." << std::endl;

    std::deque<Engine> engines;
    for (std::size_t number = 1; number <= 2; ++number)
        engines.emplace_back(inspector, number);
    auto const theme = management::getFeature("UiDarkTheme");
    auto const rate = management::getFeature("InspectedRefreshRate");
    for (int second = 1; isInterrupted == 0; ++second) {
        if (second % 4 == 0 && theme) theme->set(theme->get() == 0 ? 1 : 0);
        rate->set(60 - 10 * (second % 3));
        for (int i = 0; i < 20 && isInterrupted == 0; ++i)
            std::this_thread::sleep_for(stepTime);
    }
    std::cout << "Ending." << std::endl;
}

}  // namespace
}  // namespace demo

int main(int argc, char** argv) {
    // They fail for numbers that are no signals.
    static_cast<void>(std::signal(SIGINT, demo::interrupt));
    static_cast<void>(std::signal(SIGTERM, demo::interrupt));
    try {
        demo::run(demo::parse(demo::commandLine(argc, argv)));
        return 0;
    } catch (demo::UsageError const& error) {
        std::cerr << "inspected_host: " << demo::oneLine(error.what()) << '\n';
        return 2;
    } catch (std::exception const& error) {
        std::cerr << "inspected_host: " << demo::oneLine(error.what()) << '\n';
        return 1;
    }
}
