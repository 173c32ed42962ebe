#include <foundation/feature/management.hpp>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <new>
#include <ostream>
#include <stdexcept>
#include <typeindex>
#include <unordered_map>
#include <utility>

#include <foundation/feature/Feature.hpp>

#include <foundation/core/diag/stacktrace.hpp>
#include <foundation/cppmicroservices.hpp>
#include <foundation/fctrl_ext/Registration.hpp>
#include <foundation/usm.hpp>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>
#include <cppmicroservices/ServiceReference.h>
#include <cppmicroservices/ServiceTracker.h>

#include "../detail/NoInline.hpp"
#include "../detail/ThreadSafety.hpp"
#include "../detail/logging.hpp"
#include "applyEnvironmentOverride.hpp"
#include "registerBundleFeatures.hpp"
#include "validateFeature.hpp"

namespace foundation::feature::management {
namespace {

using EngineStorage = usm::Detail<usm::scope::Zor>;
using RegistrationTracker = ::cppmicroservices::ServiceTracker<fctrl_ext::Registration>;

/// One engine instance's copies of the per-instance features: position i holds the copy of the template with
/// index i.
///
/// Reading takes no lock and may go on while the table grows; only `AllFeatures::addZorFeatures` appends.
class PerZorFeatures {
public:
    PerZorFeatures() = default;
    PerZorFeatures(PerZorFeatures const&) = delete;
    PerZorFeatures& operator=(PerZorFeatures const&) = delete;

    std::size_t size() const { return size_.load(std::memory_order_acquire); }

    /// The record at a position less than a size that this thread has seen.
    detail::State* at(std::size_t position) const {
        return directory_.load(std::memory_order_acquire)[position];
    }

    /// Appends a copy of `original`. No record moves: their addresses have been handed out.
    void append(detail::State const& original);

private:
    // A double-ended queue never moves what it holds, but its own bookkeeping does move while it grows; so
    // readers go through an array of addresses. Outgrown arrays are kept, since a reader may still be looking
    // at one.
    std::deque<detail::State> records_;
    std::deque<std::vector<detail::State*>> directories_;
    std::atomic<detail::State* const*> directory_ = nullptr;
    std::atomic<std::size_t> size_ = 0;
};

void PerZorFeatures::append(detail::State const& original) {
    std::size_t const position = records_.size();
    if (directories_.empty() || directories_.back().size() == position) {
        constexpr std::size_t smallest = 16;
        std::vector<detail::State*> larger(std::max(smallest, 2 * position));
        if (!directories_.empty())
            std::copy(directories_.back().begin(), directories_.back().end(), larger.begin());
        directories_.push_back(std::move(larger));
        directory_.store(directories_.back().data(), std::memory_order_release);
    }
    directories_.back()[position] = &records_.emplace_back(original);
    size_.store(position + 1, std::memory_order_release);
}

/// What is filed for a per-instance feature: the record that engine instances copy, and the feature's index.
struct ZorEntry {
    ZorEntry(detail::State&& state_, std::size_t index_) : state(std::move(state_)), index(index_) {}

    detail::State state;
    std::size_t index;
};

/// A name with its hash, which a lookup in several tables needs only once.
struct HashedName {
    explicit HashedName(std::string const& text_) : text(text_), hash(std::hash<std::string>()(text_)) {}

    operator std::string const&() const { return text; }

    std::string const& text;
    std::size_t hash;
};

struct HashOfName {
    using is_transparent = void;

    // Not noexcept: tables keep the hashes of their entries only when it looks as if computing them may fail. Comparing
    // those spares most looks at other entries' names.
    std::size_t operator()(std::string const& name) const { return std::hash<std::string>()(name); }
    std::size_t operator()(HashedName const& name) const { return name.hash; }
};

struct EqualNames {
    using is_transparent = void;

    bool operator()(std::string const& one, std::string const& other) const { return one == other; }
};

template <class Entry>
using NameTable = std::unordered_map<std::string, Entry, HashOfName, EqualNames>;

/// The catalogue of the process: who registered what. Entries are only ever added, so their addresses, and
/// those of their keys, stay valid.
class AllFeatures {
public:
    /// Files a feature, or finds the one that `module` has filed under this name before.
    /// @throws std::logic_error  "feature registered twice: ..." or "feature not found: ..."; nothing is
    ///                           filed. The same holds when memory runs out.
    detail::State* addProcessFeature(std::string name, detail::State&& state, std::string module)
        FOUNDATION_EXCLUDES(mutex_);
    ZorEntry* addZorFeature(std::string name, detail::State&& state, std::string module)
        FOUNDATION_EXCLUDES(mutex_);

    /// A handle of the feature, asking the extension bundles when there is none; empty when they have none
    /// either.
    std::unique_ptr<IFeature> getFeature(std::string const& name, bool caseSensitive) const
        FOUNDATION_EXCLUDES(mutex_);

    /// @throws std::out_of_range  there is no process-wide feature of this name.
    detail::State* getProcessState(std::string const& name) FOUNDATION_EXCLUDES(mutex_);

    /// @throws std::out_of_range  there is no per-instance feature of this name.
    ZorEntry const& getZorEntry(std::string const& name) const FOUNDATION_EXCLUDES(mutex_);

    /// Appends to an engine instance's table the copies that it lacks.
    void addZorFeatures(PerZorFeatures& table) const FOUNDATION_EXCLUDES(mutex_);

    void getAllFeatures(std::vector<std::unique_ptr<IFeature>>& features) const FOUNDATION_EXCLUDES(mutex_);

    /// Ends all watching of process-wide features, and of the per-instance features of the engine instance that is
    /// current. Templates have no watchers.
    void disconnectWatchers() noexcept FOUNDATION_EXCLUDES(mutex_);

private:
    /// One look in the tables, and one record when the lower-case table had to help.
    std::unique_ptr<IFeature> getFeatureImpl(std::string const& name, bool caseSensitive) const
        FOUNDATION_EXCLUDES(mutex_);

    template <class Table, class... Entry>
    typename Table::mapped_type* add(Table& table, std::string name, std::string module, Entry&&... entry)
        FOUNDATION_REQUIRES(mutex_);

    // Held for one table operation: never while logging, discovering or calling back.
    mutable detail::Mutex mutex_;
    NameTable<std::string> lowerCaseNames_ FOUNDATION_GUARDED_BY(mutex_);  // to the first such name
    NameTable<std::string> modules_ FOUNDATION_GUARDED_BY(mutex_);         // name -> who registered it
    NameTable<detail::State> processFeatures_ FOUNDATION_GUARDED_BY(mutex_);
    NameTable<ZorEntry> zorFeatures_ FOUNDATION_GUARDED_BY(mutex_);
    // The entries of zorFeatures_ by index, so that an engine instance is charged only for what it lacks.
    std::vector<ZorEntry const*> zorFeaturesByIndex_ FOUNDATION_GUARDED_BY(mutex_);
};

/// Calls a function when the process's static objects are destroyed. Not on Windows: those of a DLL are destroyed there
/// when the system has ended all other threads, wherever they were, and the locks that they held stay locked for ever.
template <class Function>
class AtExit {
public:
    explicit AtExit(Function const& function) : function_(function) {}
    AtExit(AtExit const&) = delete;
    AtExit& operator=(AtExit const&) = delete;
    ~AtExit() {
#if !defined(_WIN32)
        function_();
#endif
    }

private:
    Function const function_;
};

/// The catalogue, made on first use. Of what it holds only the watchers end with the process's statics: meanwhile other
/// threads may still read, and other static objects may still hold handles, whose records therefore stay.
AllFeatures& allFeatures() {
    static AllFeatures& features = []() -> AllFeatures& {
        static AllFeatures& made = *new AllFeatures;
        static AtExit const unwatching([] { made.disconnectWatchers(); });
        return made;
    }();
    return features;
}

/// Set while this thread installs the extension bundles or opens a service tracker. A bundle's code that misses a
/// feature meanwhile must neither wait for what it is itself a part of nor begin it anew.
thread_local bool isPreparingDiscovery = false;

/// What `prepare()` returns; the mark above is set meanwhile.
template <class Prepare>
auto prepareDiscovery(Prepare const& prepare) {
    struct Mark {
        Mark() { isPreparingDiscovery = true; }
        ~Mark() { isPreparingDiscovery = false; }
    };
    Mark const mark;
    return prepare();
}

/// Installs and starts the extension bundles, and registers the features that their manifests list.
/// @return  how many bundles there are.
std::uint64_t installExtensionBundles() {
    fl::filesystem::path const folder(fl::filesystem::detail::make_native_form(u"bin/win64/fctrl_ext", true));
    auto const bundles = foundation::cppmicroservices::installAndStart(folder);
    for (::cppmicroservices::Bundle const& bundle : bundles)
        registerBundleFeatures(bundle);
    return bundles.size();
}

/// An open tracker of the registration services.
std::unique_ptr<RegistrationTracker> openTracker(::cppmicroservices::BundleContext const& context) {
    auto tracker = std::make_unique<RegistrationTracker>(context);
    tracker->Open();
    return tracker;
}

/// Where a service comes from, for a record; empty when it has gone meanwhile.
std::string locationOf(::cppmicroservices::ServiceReferenceBase const& service) {
    ::cppmicroservices::Bundle const bundle = service.GetBundle();
    return bundle ? bundle.GetLocation() : std::string();
}

using RegistrationReference = ::cppmicroservices::ServiceReference<fctrl_ext::Registration>;

/// The services that have failed since this thread began to ask services; null while it asks none.
thread_local std::vector<RegistrationReference>* failedServices = nullptr;

/// This thread asking registration services, which may look something up and so have others asked, again from here.
/// Those that fail then are left to the outermost: asked by each inner one too, the tries would multiply.
class Asking {
public:
    Asking() {
        if (isOutermost_) failedServices = &own_;
    }
    Asking(Asking const&) = delete;
    Asking& operator=(Asking const&) = delete;
    ~Asking() {
        if (isOutermost_) failedServices = nullptr;
    }

    bool passesOver(RegistrationReference const& service) const {
        return !isOutermost_ &&
               std::find(failedServices->begin(), failedServices->end(), service) != failedServices->end();
    }

    void noteFailure(RegistrationReference const& service) { failedServices->push_back(service); }

private:
    bool const isOutermost_ = failedServices == nullptr;
    std::vector<RegistrationReference> own_;
};

/// Asks the extension bundles for further features until `isFound()`: installs them, which registers what their
/// manifests list, and then has one registration service after the other register its own.
///
/// Each kind of lookup has a test of its own type and so its own statics, on purpose: each installs the bundles once.
template <class Test>
void registerAdditionalFeatures(Test const& isFound) {
    if (isPreparingDiscovery) return;
    std::shared_ptr<::cppmicroservices::Framework> const framework =
        foundation::cppmicroservices::getFramework();
    if (!framework) return;
    ::cppmicroservices::BundleContext context = framework->GetBundleContext();
    if (!context) return;

    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "void foundation::feature::management::registerAdditionalFeatures(Test const&)",
        0};

    static std::uint64_t const installedCount = prepareDiscovery(installExtensionBundles);
    logger.write(detail::severity::details, location, [&](std::ostream& out) {
        out << "installAndStarted " << installedCount;
    });
    if (isFound()) return;

    // Closed when the process ends, but not destroyed: a bundle that the framework stops still later, and that looks
    // something up then, has to find it closed, not gone.
    static RegistrationTracker& tracker = *prepareDiscovery([&] { return openTracker(context); }).release();
    static AtExit const closing([] { tracker.Close(); });
    auto const services = tracker.GetServiceReferences();
    logger.write(detail::severity::details, location, [&](std::ostream& out) {
        out << "found " << services.size() << " foundation::fctrl_ext::Registration instances";
    });
    if (logger.isEnabled(detail::severity::slowLookups)) {
        foundation::core::diag::stacktrace_base const trace(25, 0, true);
        logger.write(detail::severity::slowLookups, location, [&](std::ostream& out) {
            out << "slow feature lookup required\n";
            trace.format(out);
        });
    }
    Asking asking;
    for (RegistrationReference const& reference : services) {
        if (!reference || asking.passesOver(reference)) continue;
        try {
            auto service = context.GetService(reference);
            bool isDone = false;
            if (service) {
                service->addFeaturesOnce();
                isDone = isFound();
            }
            service.reset();
            if (isDone) return;
        } catch (std::exception const& error) {
            // One service's failure must not keep the others from being asked.
            logger.write(detail::severity::slowLookups, location, [&](std::ostream& out) {
                out << "Unable to load foundation::fctrl_ext::Registration instance: " << error.what() << ": "
                    << locationOf(reference);
            });
            asking.noteFailure(reference);
        }
    }
}

/// Whatever the locale: names are ASCII.
std::string toLowerCase(std::string text) {
    for (char& character : text) {
        if (character >= 'A' && character <= 'Z') character = static_cast<char>(character - 'A' + 'a');
    }
    return text;
}

template <class Table, class... Entry>
typename Table::mapped_type*
// NOLINTNEXTLINE(performance-unnecessary-value-param): a new feature's name is moved into its table
AllFeatures::add(Table& table, std::string name, std::string module, Entry&&... entry) {
    auto const [lowerCase, isNewLowerCase] = lowerCaseNames_.try_emplace(toLowerCase(name), name);
    try {
        auto const [holder, isNew] = modules_.try_emplace(name, std::move(module));
        if (isNew) {
            try {
                return &table.try_emplace(std::move(name), std::forward<Entry>(entry)...).first->second;
            } catch (...) {
                modules_.erase(holder);
                throw;
            }
        }
        if (holder->second != module) {
            throw std::logic_error("feature registered twice: " + name + ": modules: " + holder->second +
                                   " and " + module);
        }
        auto const existing = table.find(name);
        if (existing == table.end()) throw std::logic_error("feature not found: " + name);
        return &existing->second;
    } catch (...) {
        if (isNewLowerCase) lowerCaseNames_.erase(lowerCase);
        throw;
    }
}

detail::State* AllFeatures::addProcessFeature(std::string name, detail::State&& state, std::string module) {
    detail::Lock const lock(mutex_);
    return add(processFeatures_, std::move(name), std::move(module), std::move(state));
}

ZorEntry* AllFeatures::addZorFeature(std::string name, detail::State&& state, std::string module) {
    detail::Lock const lock(mutex_);
    std::size_t const index = zorFeatures_.size();
    // Room first: once the feature is filed, nothing may fail.
    if (zorFeaturesByIndex_.capacity() == index) zorFeaturesByIndex_.reserve(2 * index + 1);
    ZorEntry* const entry = add(zorFeatures_, std::move(name), std::move(module), std::move(state), index);
    if (entry->index == index) zorFeaturesByIndex_.push_back(entry);
    return entry;
}

std::unique_ptr<IFeature> AllFeatures::getFeatureImpl(std::string const& name, bool caseSensitive) const {
    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "std::unique_ptr<foundation::feature::IFeature> "
        "foundation::feature::management::AllFeatures::getFeatureImpl(std::string const&, bool) const",
        0};

    std::string const* registeredName = nullptr;
    {
        HashedName const hashed(name);
        detail::Lock const lock(mutex_);
        auto const zor = zorFeatures_.find(hashed);
        if (zor != zorFeatures_.end()) return std::make_unique<Feature<Scope::ZOR>>(zor->first);
        auto const process = processFeatures_.find(hashed);
        if (process != processFeatures_.end())
            return std::make_unique<Feature<Scope::PROCESS>>(process->first);
        if (caseSensitive) return nullptr;

        // The query is not folded, on purpose: it has to be in lower case already.
        auto const lowerCase = lowerCaseNames_.find(hashed);
        if (lowerCase == lowerCaseNames_.end()) return nullptr;
        if (lowerCase->second == name) return nullptr;  // or this would go round in circles
        registeredName = &lowerCase->second;
    }
    logger.write(detail::severity::details, location, [&](std::ostream& out) {
        out << " using feature name \"" << *registeredName << "\" instead of \"" << name << '"';
    });
    return getFeature(*registeredName, true);
}

std::unique_ptr<IFeature> AllFeatures::getFeature(std::string const& name, bool caseSensitive) const {
    auto const attempt = [&]() -> std::unique_ptr<IFeature> {
        try {
            return getFeatureImpl(name, caseSensitive);
        } catch (...) {
            return nullptr;  // a look that fails finds nothing: this lookup reports no other way
        }
    };
    if (auto feature = attempt()) return feature;
    registerAdditionalFeatures([&] { return attempt() != nullptr; });
    return attempt();
}

detail::State* AllFeatures::getProcessState(std::string const& name) {
    detail::Lock const lock(mutex_);
    auto const feature = processFeatures_.find(name);
    if (feature != processFeatures_.end()) return &feature->second;
    if (zorFeatures_.contains(name)) {
        throw std::out_of_range("feature \"" + name + "\" is per zor, not per process");
    }
    throw std::out_of_range("unregistered feature: " + name);
}

ZorEntry const& AllFeatures::getZorEntry(std::string const& name) const {
    detail::Lock const lock(mutex_);
    auto const feature = zorFeatures_.find(name);
    if (feature != zorFeatures_.end()) return feature->second;
    if (processFeatures_.contains(name)) {
        throw std::out_of_range("feature \"" + name + "\" is per process, not per zor");
    }
    throw std::out_of_range("unregistered feature: " + name);
}

void AllFeatures::addZorFeatures(PerZorFeatures& table) const {
    detail::Lock const lock(mutex_);
    for (std::size_t index = table.size(); index < zorFeaturesByIndex_.size(); ++index) {
        table.append(zorFeaturesByIndex_[index]->state);
    }
}

void AllFeatures::getAllFeatures(std::vector<std::unique_ptr<IFeature>>& features) const {
    detail::Lock const lock(mutex_);
    features.reserve(zorFeatures_.size() + processFeatures_.size());
    for (auto const& [name, entry] : zorFeatures_)
        features.push_back(std::make_unique<Feature<Scope::ZOR>>(name));
    for (auto const& [name, state] : processFeatures_) {
        features.push_back(std::make_unique<Feature<Scope::PROCESS>>(name));
    }
}

/// What each read of a per-instance feature needs to know.
struct PerZorAccess {
    detail::Logger logger{detail::channel::lookup};
    std::size_t tableSlot = EngineStorage::getNextID(typeid(PerZorFeatures));
};

FOUNDATION_NOINLINE PerZorAccess& makePerZorAccess() {
    return *new PerZorAccess;
}

inline PerZorAccess& perZorAccess() {
    static PerZorAccess& access = makePerZorAccess();
    return access;
}

/// The table of the current engine instance; null when it has none yet.
PerZorFeatures* findTable(PerZorAccess const& access) {
    return static_cast<PerZorFeatures*>(EngineStorage::find(access.tableSlot, typeid(PerZorFeatures)));
}

void AllFeatures::disconnectWatchers() noexcept {
    // A watcher that goes may look something up, which must not find the mutex locked.
    std::vector<detail::State*> watched;
    auto const add = [&](detail::State& state) {
        if (!state.signal.empty()) watched.push_back(&state);
    };
    try {
        {
            detail::Lock const lock(mutex_);
            for (auto& [name, state] : processFeatures_)
                add(state);
        }
        if (PerZorFeatures const* const table = findTable(perZorAccess())) {
            for (std::size_t position = 0; position < table->size(); ++position)
                add(*table->at(position));
        }
    } catch (std::bad_alloc const&) {
        // Then only the first of them, or none, are let go: the process ends in any case.
    }
    for (detail::State* const state : watched)
        state->signal.disconnect_all_slots();
}

/// `zor::getDataPtr` with its log records, making what the current engine instance lacks.
FOUNDATION_NOINLINE detail::State* makeDataPtr(std::size_t index) {
    PerZorAccess& access = perZorAccess();
    detail::Logger& logger = access.logger;
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "foundation::feature::detail::State* foundation::feature::management::zor::getDataPtr(std::size_t)",
        0};
    detail::FunctionTrace const trace(logger, location);
    logger.write(
        detail::severity::parameters, location, [&](std::ostream& out) { out << " index=" << index; });

    PerZorFeatures* table = findTable(access);
    if (table == nullptr) {
        auto fresh = std::make_unique<PerZorFeatures>();
        allFeatures().addZorFeatures(*fresh);
        std::unique_ptr<void, void (*)(void*)> owned(
            fresh.release(), [](void* ours) { delete static_cast<PerZorFeatures*>(ours); });
        // Another thread of this engine instance may have been first; then its table counts and ours goes.
        table = static_cast<PerZorFeatures*>(
            EngineStorage::findOrInsert(access.tableSlot, typeid(PerZorFeatures), std::move(owned)));
    }
    if (index >= table->size()) allFeatures().addZorFeatures(*table);
    if (index >= table->size()) {
        throw std::out_of_range("zor feature #" + std::to_string(index) + " is out of bounds.");
    }
    return table->at(index);
}

/// Whether `look()` finds something; it reports that it does not by throwing.
template <class Look>
bool finds(Look const& look) {
    try {
        look();
        return true;
    } catch (...) {
        return false;
    }
}

}  // namespace

void registerFeature(Scope scope,
                     std::string featureName,
                     int defaultValue,
                     std::string wip,
                     std::string clientdir,
                     std::string filename,
                     int line,
                     std::string componentName,
                     std::string moduleName) {
    static detail::Logger logger(detail::channel::registration);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "void foundation::feature::management::registerFeature(foundation::feature::Scope, std::string, int, "
        "std::string, std::string, std::string, int, std::string, std::string)",
        564};  // Part of the record, not this file's line.
    detail::FunctionTrace const trace(logger, location);
    logger.write(detail::severity::parameters, location, [&](std::ostream& out) {
        out << " featureName=" << featureName << " defaultValue=" << defaultValue << " scope=" << scope
            << " wip=" << wip << " clientdir=" << clientdir << " filename=" << filename << " line=" << line
            << " componentName=" << componentName << " moduleName=" << moduleName;
    });

    detail::State state(defaultValue,
                        {},
                        std::move(componentName),
                        moduleName,
                        std::move(wip),
                        std::move(clientdir),
                        std::move(filename),
                        line);
    try {
        validateFeature(featureName, state);
    } catch (std::exception const& error) {
        logger.write(detail::severity::rejections, location, [&](std::ostream& out) {
            out << featureName << ": " << error.what();
        });
        throw std::invalid_argument("fctrl: " + featureName + ": " + error.what());
    }
    applyEnvironmentOverride(featureName, state);

    switch (scope) {
    case Scope::PROCESS:
        allFeatures().addProcessFeature(std::move(featureName), std::move(state), std::move(moduleName));
        break;
    case Scope::ZOR:
        allFeatures().addZorFeature(std::move(featureName), std::move(state), std::move(moduleName));
        break;
    }
    // Any other scope is left out in silence, on purpose.
}

std::unique_ptr<IFeature> getFeature(std::string const& name) {
    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "std::unique_ptr<foundation::feature::IFeature> "
        "foundation::feature::management::getFeature(std::string "
        "const&)",
        0};
    detail::FunctionTrace const trace(logger, location);
    return allFeatures().getFeature(name, true);
}

std::unique_ptr<IFeature> getFeatureIgnoreCase(std::string const& name) {
    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "std::unique_ptr<foundation::feature::IFeature> "
        "foundation::feature::management::getFeatureIgnoreCase(std::string const&)",
        0};
    detail::FunctionTrace const trace(logger, location);
    return allFeatures().getFeature(name, false);
}

std::vector<std::unique_ptr<IFeature>> getAllFeatures() {
    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "std::vector<std::unique_ptr<foundation::feature::IFeature>> "
        "foundation::feature::management::getAllFeatures()",
        0};
    detail::FunctionTrace const trace(logger, location);
    registerAdditionalFeatures([] { return false; });
    std::vector<std::unique_ptr<IFeature>> features;
    allFeatures().getAllFeatures(features);
    return features;
}

detail::State* process::getDataPtr(std::string const& name) {
    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "foundation::feature::detail::State* "
        "foundation::feature::management::process::getDataPtr(std::string "
        "const&)",
        0};
    detail::FunctionTrace const trace(logger, location);
    logger.write(detail::severity::parameters, location, [&](std::ostream& out) { out << " name=" << name; });

    AllFeatures& features = allFeatures();
    detail::State* state = nullptr;
    auto const look = [&] { state = features.getProcessState(name); };
    if (finds(look)) return state;
    registerAdditionalFeatures([&] { return finds(look); });
    return features.getProcessState(name);
}

std::size_t zor::getDataIndex(std::string const& name) {
    static detail::Logger logger(detail::channel::lookup);
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "std::size_t foundation::feature::management::zor::getDataIndex(std::string const&)",
        0};
    detail::FunctionTrace const trace(logger, location);
    logger.write(detail::severity::parameters, location, [&](std::ostream& out) { out << " name=" << name; });

    AllFeatures const& features = allFeatures();
    std::size_t index = 0;
    auto const look = [&] { index = features.getZorEntry(name).index; };
    if (finds(look)) return index;
    registerAdditionalFeatures([&] { return finds(look); });
    return features.getZorEntry(name).index;
}

detail::State* zor::getDataPtr(std::size_t index) {
    // Each read of a per-instance feature comes this way, and nearly always ends here.
    PerZorAccess const& access = perZorAccess();
    if ((access.logger.mask() & (detail::severity::traces | detail::severity::parameters)) == 0) {
        PerZorFeatures const* const table = findTable(access);
        if (table != nullptr && index < table->size()) return table->at(index);
    }
    return makeDataPtr(index);
}

}  // namespace foundation::feature::management
