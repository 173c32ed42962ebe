// The demo host: how a program uses feature controls, from the first registration to the last look at the
// catalogue. Read run() first, at the end: it is the table of contents.

#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/log/diagnostic_logger.hpp>
#include <foundation/usm.hpp>

#include "RunningFramework.hpp"
#include "catalogueTable.hpp"
#include "descriptorFile.hpp"
#include "logging.hpp"
#include "options.hpp"
#include "platform.hpp"
#include "text.hpp"

#include <boost/signals2/connection.hpp>

#include <cstddef>
#include <exception>
#include <functional>
#include <future>
#include <iostream>
#include <memory>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

namespace demo {
namespace {

namespace management = foundation::feature::management;
namespace usm = foundation::usm;
using foundation::feature::Feature;
using foundation::feature::IFeature;
using foundation::feature::Scope;
using foundation::feature::ScopedFeature;

/// Registration by call, for features that code declares itself. The module is the owner: another one that
/// registers the same name is refused.
void registerHostFeatures() {
    auto const add = [](Scope scope, char const* name, int defaultValue, char const* state, int line) {
        management::registerFeature(
            scope, name, defaultValue, state, "examples", "demo_host/main.cpp", line, "host", "demo_host");
    };
    add(Scope::PROCESS, "HostCrashReports", 1, "On", __LINE__);
    add(Scope::PROCESS, "HostStartupStatistics", 0, "Off", __LINE__);
    add(Scope::ZOR, "HostIncrementalRecompute", 0, "Beta", __LINE__);
    add(Scope::ZOR, "HostIdlePriority", 5, "Preview", __LINE__);
    add(Scope::ZOR, "HostStepTrace", 0, "DebugOrTest", __LINE__);
}

std::string smallLetters(std::string text) {
    for (char& letter : text) {
        if (letter >= 'A' && letter <= 'Z') letter = static_cast<char>(letter - 'A' + 'a');
    }
    return text;
}

/// The feature of this name, whichever way it was registered.
std::unique_ptr<IFeature> find(std::string const& name) {
    // A name that nobody has registered gives an empty pointer, never an exception.
    if (std::unique_ptr<IFeature> feature = management::getFeature(name)) return feature;

    std::string message = "no feature is called \"" + name + "\"";
    // Names are compared letter by letter. This lookup forgives the case of what was registered, if it is
    // asked in small letters.
    if (std::unique_ptr<IFeature> const similar = management::getFeatureIgnoreCase(smallLetters(name))) {
        message += "; did you mean \"" + std::string(similar->getName()) + "\"?";
    }
    throw std::runtime_error(message);
}

/// Changes a feature that still has its default. Another value comes from the user's environment
/// (QZ_FEATURE_<name>), and that is not ours to change.
void setUnlessDecided(IFeature& feature, int value) {
    if (feature.get() == feature.getDefaultValue()) feature.set(value);
}

/// Severities of our own records: --log demo_host=8 shows the steps; notices are shown unless a mask says otherwise.
constexpr unsigned steps = 8;
constexpr unsigned notices = 512;

/// Writes a record of our own.
void report(std::string const& text, unsigned severity = steps) {
    static foundation::log::basic_diagnostic_logger<char> logger("demo_host");
    static constexpr foundation::log::SourceLocation location{"demo_host/main.cpp", "report", __LINE__};
    logger.write(severity, location, [&](std::ostream& out) { out << text; });
}

/// Uses features that the host itself does not know. The first lookup that misses makes the library install the
/// extensions in bin/win64/fctrl_ext and register what their manifests list; what is still missing then, their
/// registration services are asked for, one after the other. Whoever asks for it need not know which it was; here
/// we tell which lookup it was, and --log demo_host=8,foundation::feature::lookup=8 shows all the library did.
void useExtensions(RunningFramework const& framework) {
    for (char const* name :
         {"HostCrashReports", "TranslatorCurveFitting", "SketchingAutomaticConstraints", "NobodysFeature"}) {
        report("looking for " + std::string(name));
        std::size_t const before = framework.bundleCount();
        std::unique_ptr<IFeature> const feature = management::getFeature(name);
        if (std::size_t const added = framework.bundleCount() - before; added != 0) {
            report("the lookup of " + std::string(name) + " made the library install " +
                       std::to_string(added) + " extensions",
                   notices);
        }
        report(feature ? "found: declared in " + feature->getFilename() : "not found: no extension has it");
    }
}

/// One engine instance at work. What it does depends on its number alone, so that every run gives the same
/// catalogue.
void runEngine(std::size_t number, usm::EngineInstance& instance) {
    // From here to the end of the function, per-instance features on this thread are those of this instance.
    usm::CurrentEngineInstance const current(instance);

    // A component may look through the whole catalogue, here for what is still being tried out.
    std::size_t trials = 0;
    for (std::unique_ptr<IFeature> const& feature : management::getAllFeatures()) {
        // Only the value is a counted read; state, module, file and the like are not.
        if (feature->getFCtrlState() == "Beta" && feature->isActive()) ++trials;
    }

    // Where name and scope are known, a typed handle needs no lookup: it finds its record on first use.
    Feature<Scope::ZOR> recompute("HostIncrementalRecompute");
    if (number % 2 == 0) setUnlessDecided(recompute, 1);

    // A value need not be a switch.
    std::unique_ptr<IFeature> const threads = find("SolverThreadsPerEngine");
    setUnlessDecided(*threads, 2 * static_cast<int>(number));

    // A loop that is too hot for counted reads keeps a copy, which a watcher keeps up to date: it is called
    // at once, and after each change in this instance, on the thread that makes the change. The connection
    // must end before the copy does.
    bool isTracing = false;
    Feature<Scope::ZOR> trace("HostStepTrace");
    boost::signals2::scoped_connection const watch =
        trace.addCallback([&](IFeature const& changed) { isTracing = changed.isActive(); });

    std::unique_ptr<IFeature> const refinement = find("MeshAdaptiveRefinement");
    std::size_t tracedSteps = 0;
    auto const step = [&] {
        if (*refinement) setUnlessDecided(recompute, 1);  // a read like any other: it is counted
        if (isTracing) ++tracedSteps;
    };
    std::size_t const plainSteps = 10 * number;
    for (std::size_t i = 0; i < plainSteps; ++i)
        step();
    {
        // A stretch with the feature forced on. At its end the earlier value comes back; the watcher hears of
        // both.
        ScopedFeature const traced(trace, 1);
        for (std::size_t i = 0; i < number; ++i)
            step();
    }
    report("engine " + std::to_string(number) + ": " + std::to_string(plainSteps + number) + " steps, " +
           std::to_string(tracedSteps) + " of them traced, with " + std::to_string(trials) +
           " Beta features on");
}

/// Runs each engine instance on a thread of its own, and returns when all are done.
void runEngines(EngineInstances& engines) {
    setUnlessDecided(*find("HostStartupStatistics"), 1);

    std::unique_ptr<IFeature> const autosave = find("DocumentAutosave");
    boost::signals2::scoped_connection const watch = autosave->addCallback([](IFeature const& changed) {
        report("autosave is " + std::string(changed.isActive() ? "on" : "off"));
    });
    // No autosave while the engines work. A per-process feature has one value: every thread sees this.
    ScopedFeature const paused("DocumentAutosave", 0);

    std::vector<std::future<void>> running;
    for (std::size_t i = 0; i < engines.size(); ++i)
        running.push_back(std::async(std::launch::async, runEngine, i + 1, std::ref(engines[i])));
    for (std::future<void>& engine : running)
        engine.get();  // brings what an engine throws to this thread
}

/// A setting of the command line: once for a per-process feature, in every instance for a per-instance one.
void applySetting(std::string const& name, int value, EngineInstances& engines) {
    std::unique_ptr<IFeature> const feature = find(name);
    feature->set(value);  // this thread has bound no instance: it acts on the process's main one
    if (feature->getScope() == Scope::PROCESS) return;
    for (usm::EngineInstance& engine : engines) {
        usm::CurrentEngineInstance const current(engine);
        feature->set(value);
    }
}

void run(Options const& options) {
    // Logging first: registration already has something to say, for example of an environment value that is
    // no number.
    startLogging(options.channelMasks);

    // Features are registered before they are used. That is the moment when QZ_FEATURE_<name> is read.
    registerHostFeatures();
    registerDescriptorFolder(programFolder() / "descriptors");
    for (std::string const& file : options.descriptorFiles)
        registerDescriptorFile(file);

    // Extensions bring further features. Until there is a framework, lookups make do with what is registered.
    RunningFramework const framework;
    useExtensions(framework);

    // The instances outlive their threads: the catalogue asks each for its values.
    EngineInstances engines(options.engines);
    runEngines(engines);

    // Last, so that nothing that the engines do replaces what the user has asked for.
    for (auto const& [name, value] : options.settings)
        applySetting(name, value, engines);

    std::vector<CatalogueRow> const rows = select(collectCatalogue(engines), options);
    if (options.json) {
        printJson(std::cout, rows);
    } else {
        printTable(std::cout, rows, engines.size());
    }
}

}  // namespace
}  // namespace demo

int main(int argc, char** argv) {
    try {
        demo::Options const options = demo::parseOptions(demo::commandLine(argc, argv));
        if (options.help) {
            std::cout << demo::helpText();
        } else {
            demo::run(options);
        }
        if (!std::cout.flush()) throw std::runtime_error("standard output cannot be written");
        return 0;
    } catch (demo::UsageError const& error) {
        std::cerr << "demo_host: " << demo::oneLine(error.what()) << "; see demo_host --help\n";
        return 2;
    } catch (std::exception const& error) {
        std::cerr << "demo_host: " << demo::oneLine(error.what()) << '\n';
        return 1;
    }
}
