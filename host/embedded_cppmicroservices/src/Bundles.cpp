#include <algorithm>
#include <exception>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "Access.h"
#include "BundleFile.h"
#include "ExitHook.h"
#include "FrameworkCore.h"
#include "SharedLibrary.h"
#include "cppmicroservices/Constants.h"
#include "cppmicroservices/IllegalStateException.h"
#include "cppmicroservices/SharedLibraryException.h"

namespace cppmicroservices::detail {

namespace {

std::string nameOf(BundleData const& bundle) {
    return "Bundle " + bundle.symbolicName + " (location=" + bundle.location + ")";
}

std::string stopFailed(BundleData const& bundle, std::string const& reason) {
    return nameOf(bundle) + ", BundleActivator::Stop() failed: " + reason;
}

/// Runs a bundle's code. @return  What it threw, as text; empty when it threw nothing.
template <class Code>
std::string failureOf(Code const& code) {
    try {
        code();
        return {};
    } catch (SharedLibraryException const&) {
        throw;  // Says by itself what is wrong with which file.
    } catch (std::exception const& error) {
        return *error.what() == '\0' ? "an exception without a text" : error.what();
    } catch (...) {
        return "unknown";
    }
}

}  // namespace

/// The right to start or stop one bundle, which one thread has at a time. The lock is released meanwhile.
class FrameworkCore::Operation {
public:
    /// @throws std::runtime_error  This thread has the right already.
    static void await(FrameworkCore& core, BundleData& bundle, std::unique_lock<std::mutex>& lock) {
        if (bundle.operation == std::this_thread::get_id()) {
            throw std::runtime_error(nameOf(bundle) + " is being started or stopped by this very thread");
        }
        core.changed_.wait(lock, [&bundle] { return !bundle.operation; });
    }

    Operation(FrameworkCore& core,
              BundleData& bundle,
              Bundle::State during,
              std::unique_lock<std::mutex>& lock)
        : core_(core), bundle_(bundle), during_(during), lock_(lock) {
        bundle_.operation = std::this_thread::get_id();
        bundle_.state = during;
        lock_.unlock();
    }
    Operation(Operation const&) = delete;
    Operation& operator=(Operation const&) = delete;
    ~Operation() {
        lock_.lock();
        // A framework that stopped meanwhile, because this operation itself ended it, has had the last word.
        if (bundle_.state == during_) bundle_.state = after_;
        bundle_.operation.reset();
        core_.changed_.notify_all();
    }

    void endsActive() { after_ = Bundle::STATE_ACTIVE; }

private:
    FrameworkCore& core_;
    BundleData& bundle_;
    Bundle::State const during_;
    Bundle::State after_ = Bundle::STATE_RESOLVED;
    std::unique_lock<std::mutex>& lock_;
};

std::vector<FrameworkCore::BundlePtr> FrameworkCore::install(std::string const& location,
                                                             AnyMap const& manifests) {
    std::lock_guard const installing(installMutex_);
    std::vector<BundlePtr> result = bundlesAt(location);
    if (!result.empty() && result.front()->siblings == result.size()) return result;
    auto descriptions = readBundleFile(location, manifests);
    std::size_t const siblings = descriptions.size();

    std::lock_guard const lock(mutex_);
    if (!isRunning()) throw IllegalStateException("The bundle context is no longer valid");
    std::erase_if(descriptions, [&result](BundleDescription const& description) {
        return std::any_of(result.begin(), result.end(), [&](BundlePtr const& bundle) {
            return bundle->symbolicName == description.symbolicName;
        });
    });
    BundleTable added;
    for (BundleDescription& description : descriptions) {
        long const id = nextId_++;  // An installation that fails uses up an id as well.
        requireNoTwin(description, location);
        added.emplace(location,
                      std::make_shared<BundleData>(
                          weak_from_this(), run_, id, location, siblings, std::move(description)));
    }
    for (auto const& entry : added) {
        result.push_back(entry.second);
    }
    bundles_.merge(added);
    std::sort(result.begin(), result.end(), [](BundlePtr const& left, BundlePtr const& right) {
        return left->symbolicName < right->symbolicName;
    });
    return result;
}

void FrameworkCore::requireNoTwin(BundleDescription const& description, std::string const& location) const {
    bool const isThere = std::any_of(bundles_.begin(), bundles_.end(), [&](auto const& entry) {
        return entry.second->symbolicName == description.symbolicName &&
               entry.second->version == description.version;
    });
    if (!isThere) return;
    throw std::runtime_error(installFailure(location) + "Bundle " + description.symbolicName +
                             " (location=" + location +
                             "), a bundle with same symbolic name and version is already installed (" +
                             description.symbolicName + ", " + description.version.ToString() + ")");
}

std::vector<FrameworkCore::BundlePtr> FrameworkCore::bundles() const {
    std::vector<BundlePtr> result;
    std::lock_guard const lock(mutex_);
    for (auto const& [location, bundle] : bundles_) {
        result.push_back(bundle);
    }
    return result;
}

std::vector<FrameworkCore::BundlePtr> FrameworkCore::bundlesAt(std::string const& location) const {
    std::vector<BundlePtr> result;
    std::lock_guard const lock(mutex_);
    auto const [first, last] = bundles_.equal_range(location);
    for (auto entry = first; entry != last; ++entry) {
        result.push_back(entry->second);
    }
    return result;
}

FrameworkCore::BundlePtr FrameworkCore::bundle(long id) const {
    std::lock_guard const lock(mutex_);
    auto const found = std::find_if(
        bundles_.begin(), bundles_.end(), [id](auto const& entry) { return entry.second->id == id; });
    return found == bundles_.end() ? nullptr : found->second;
}

void FrameworkCore::requireUsable(BundleData const& bundle) const {
    if (bundle.state == Bundle::STATE_UNINSTALLED) throw std::logic_error(nameOf(bundle) + " is uninstalled");
    if (bundle.run != run_ || !isRunning()) {
        throw std::runtime_error(nameOf(bundle) + " belongs to a stopped framework");
    }
}

void FrameworkCore::startBundle(BundlePtr const& bundle) {
    std::unique_lock lock(mutex_);
    Operation::await(*this, *bundle, lock);
    requireUsable(*bundle);
    if (bundle->state == Bundle::STATE_ACTIVE) return;
    auto const context = std::make_shared<BundleContextData>(bundle);

    Operation operation(*this, *bundle, Bundle::STATE_STARTING, lock);
    bundle->setContext(context);
    try {
        activate(bundle, context);
    } catch (...) {
        services_->close(context);
        bundle->setContext(nullptr);
        throw;
    }
    operation.endsActive();
}

void FrameworkCore::activate(BundlePtr const& bundle, std::shared_ptr<BundleContextData> const& context) {
    auto const wanted = bundle->headers.find(Constants::BUNDLE_ACTIVATOR);
    if (wanted == bundle->headers.end()) return;
    bool const* const isWanted = any_cast<bool>(&wanted->second);
    if (isWanted == nullptr) {
        log_->write(nameOf(*bundle) + ": " + Constants::BUNDLE_ACTIVATOR + " is no bool; no code is loaded");
        return;
    }
    if (!*isWanted) return;

    std::string const failure = failureOf([&] {
        loadActivator(bundle);
        bundle->activator->Start(Access::context(context));
    });
    if (failure.empty()) return;
    // The blank after "location=" is part of a text that hosts know.
    throw std::runtime_error("Bundle " + bundle->symbolicName + " (location= " + bundle->location +
                             ") start failed: " + failure);
}

void FrameworkCore::loadActivator(BundlePtr const& bundle) {
    using Create = BundleActivator* (*)();
    using Destroy = void (*)(BundleActivator*);
    bundle->activator.reset();  // Of an earlier start that failed.
    void* library = nullptr;
    try {
        library = loadLibrary(bundle->location);
    } catch (std::system_error const& error) {
        throw SharedLibraryException(error.code(), error.what(), handle(bundle));
    }
    stopFrameworksBeforeExit(library);
    auto const create =
        reinterpret_cast<Create>(findFunction(library, "_us_create_activator_" + bundle->symbolicName));
    if (create == nullptr) throw std::runtime_error(nameOf(*bundle) + " activator constructor not found");
    auto const destroy =
        reinterpret_cast<Destroy>(findFunction(library, "_us_destroy_activator_" + bundle->symbolicName));
    if (destroy == nullptr) throw std::runtime_error(nameOf(*bundle) + " activator destructor not found");
    bundle->activator = ActivatorPtr(create(), destroy);
}

void FrameworkCore::stopBundle(BundlePtr const& bundle) {
    std::string failure;
    {
        std::unique_lock lock(mutex_);
        Operation::await(*this, *bundle, lock);
        if (bundle->state == Bundle::STATE_UNINSTALLED) {
            throw std::logic_error(nameOf(*bundle) + " is uninstalled");
        }
        if (bundle->state != Bundle::STATE_ACTIVE) return;
        Operation const operation(*this, *bundle, Bundle::STATE_STOPPING, lock);
        failure = stopRunning(*bundle);
    }
    if (!failure.empty()) throw std::runtime_error(stopFailed(*bundle, failure));
}

std::string FrameworkCore::stopRunning(BundleData& bundle) {
    auto const context = bundle.currentContext();
    std::string failure;
    if (bundle.activator) failure = failureOf([&] { bundle.activator->Stop(Access::context(context)); });
    services_->close(context);
    bundle.setContext(nullptr);
    bundle.activator.reset();
    return failure;
}

void FrameworkCore::uninstallBundle(BundlePtr const& bundle) {
    std::string failure;
    ActivatorPtr leaving{nullptr, nullptr};  // Of a start that failed; dies after the lock is released.
    {
        std::unique_lock lock(mutex_);
        Operation::await(*this, *bundle, lock);
        if (bundle->state == Bundle::STATE_UNINSTALLED) {
            throw std::logic_error(nameOf(*bundle) + " is in BUNDLE_UNINSTALLED state");
        }
        requireUsable(*bundle);
        if (bundle->state == Bundle::STATE_ACTIVE) {
            Operation const operation(*this, *bundle, Bundle::STATE_STOPPING, lock);
            failure = stopRunning(*bundle);
        }
        leaving = std::move(bundle->activator);
        std::erase_if(bundles_, [&](auto const& entry) { return entry.second == bundle; });
        bundle->state = Bundle::STATE_UNINSTALLED;
    }
    if (!failure.empty()) log_->write(stopFailed(*bundle, failure));  // The bundle is gone all the same.
}

}  // namespace cppmicroservices::detail
