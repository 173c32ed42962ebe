#pragma once

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <unordered_map>
#include <vector>

#include "Entries.h"
#include "Log.h"
#include "ServiceRegistry.h"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkEvent.h"

namespace cppmicroservices::detail {

/// One service framework: its life cycle, its bundles and its services.
///
/// No lock is held while an activator runs. Of the activators of one bundle, one runs at a time.
class FrameworkCore : public std::enable_shared_from_this<FrameworkCore> {
public:
    using BundlePtr = std::shared_ptr<BundleData>;

    /// @return  The only handle to a new framework.
    static Framework create(std::unordered_map<std::string, Any> properties, std::ostream* logger);

    FrameworkCore(std::unordered_map<std::string, Any> properties, std::ostream* logger);
    FrameworkCore(FrameworkCore const&) = delete;
    FrameworkCore& operator=(FrameworkCore const&) = delete;
    ~FrameworkCore();

    [[nodiscard]] ServiceRegistry& services() { return *services_; }
    [[nodiscard]] Any property(std::string const& key) const;
    [[nodiscard]] Bundle handle(BundlePtr const& bundle) const;

    // The framework's life, FrameworkCore.cpp.
    void init();
    void start();
    /// Returns at once; a thread stops the framework.
    void stop();
    /// Stops the framework on this thread, or waits until it has stopped.
    void stopNow() noexcept;
    FrameworkEvent::Type waitForStop(std::chrono::milliseconds timeout);

    // Its bundles, Bundles.cpp.
    std::vector<BundlePtr> install(std::string const& location, AnyMap const& manifests);
    void startBundle(BundlePtr const& bundle);
    void stopBundle(BundlePtr const& bundle);
    void uninstallBundle(BundlePtr const& bundle);
    [[nodiscard]] std::vector<BundlePtr> bundles() const;
    [[nodiscard]] std::vector<BundlePtr> bundlesAt(std::string const& location) const;
    [[nodiscard]] BundlePtr bundle(long id) const;

private:
    class Operation;
    using BundleTable = std::multimap<std::string, BundlePtr>;  // By location.

    [[nodiscard]] bool isRunning() const;
    void initLocked(std::unique_lock<std::mutex>& lock);
    void shutDown();
    void stopAllBundles();
    void joinStopThread();

    void requireUsable(BundleData const& bundle) const;
    void requireNoTwin(BundleDescription const& description, std::string const& location) const;
    void activate(BundlePtr const& bundle, std::shared_ptr<BundleContextData> const& context);
    void loadActivator(BundlePtr const& bundle);
    /// @return  What went wrong in the activator; empty when nothing did.
    std::string stopRunning(BundleData& bundle);

    std::unordered_map<std::string, Any> const properties_;
    std::shared_ptr<Log> const log_;
    std::shared_ptr<ServiceRegistry> const services_;
    BundlePtr system_;                       // Set by create().
    std::weak_ptr<FrameworkHolder> holder_;  // Set by create().

    // Held during one installation, also while its file is read; taken before mutex_.
    std::mutex installMutex_;

    // Never held while a bundle's code or a service's runs; guards everything below and the states of the
    // bundles.
    mutable std::mutex mutex_;
    std::condition_variable changed_;  // A state or an operation has.
    unsigned run_ = 0;
    long nextId_ = 1;
    BundleTable bundles_;
    std::optional<std::thread::id> stopper_;  // The thread that is stopping the framework.

    // Held while a stopping thread is started or joined; taken before mutex_.
    std::mutex stopThreadMutex_;
    std::thread stopThread_;
};

/// What all handles to a framework and its bundles share: the last one stops the framework.
struct FrameworkHolder {
    explicit FrameworkHolder(std::shared_ptr<FrameworkCore> framework) : core(std::move(framework)) {}
    FrameworkHolder(FrameworkHolder const&) = delete;
    FrameworkHolder& operator=(FrameworkHolder const&) = delete;
    ~FrameworkHolder() { core->stopNow(); }

    std::shared_ptr<FrameworkCore> const core;
};

/// The framework of a valid context. @throws IllegalStateException  "The bundle context is no longer valid".
std::shared_ptr<FrameworkCore> coreOf(BundleContext const& context);
/// The framework of a context, valid or not, if there still is one.
std::shared_ptr<FrameworkCore> findCore(BundleContext const& context);

}  // namespace cppmicroservices::detail
