#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "BundleFile.h"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleActivator.h"
#include "cppmicroservices/ServiceInterface.h"

/// What the handles of the public headers refer to.
namespace cppmicroservices::detail {

class FrameworkCore;
class ServiceRegistry;

/// One run of a bundle, from its start to its stop.
struct BundleContextData {
    explicit BundleContextData(std::weak_ptr<BundleData> owner) : bundle(std::move(owner)) {}

    std::weak_ptr<BundleData> const bundle;
    std::atomic<bool> valid{true};  // Turned false by the service registry, under its lock.
};

using ActivatorPtr = std::unique_ptr<BundleActivator, void (*)(BundleActivator*)>;

/// One installed bundle, or the framework itself.
struct BundleData {
    BundleData(std::weak_ptr<FrameworkCore> owner,
               unsigned ownersRun,
               long number,
               std::string file,
               std::size_t bundlesInFile,
               BundleDescription description)
        : core(std::move(owner)), run(ownersRun), id(number), location(std::move(file)),
          siblings(bundlesInFile), symbolicName(std::move(description.symbolicName)),
          version(std::move(description.version)), headers(std::move(description.headers)) {}

    [[nodiscard]] std::shared_ptr<BundleContextData> currentContext() const {
        std::lock_guard const lock(contextMutex);
        return context;
    }
    void setContext(std::shared_ptr<BundleContextData> next) {
        std::lock_guard const lock(contextMutex);
        context = std::move(next);
    }

    std::weak_ptr<FrameworkCore> const core;
    unsigned const run;  // Which run of the framework the bundle was installed in.
    long const id;
    std::string const location;
    std::size_t const siblings;  // How many bundles the file has, this one included.
    std::string const symbolicName;
    BundleVersion const version;
    AnyMap const headers;

    // Written under the framework's lock.
    std::atomic<Bundle::State> state{Bundle::STATE_INSTALLED};
    // Guarded by the framework's lock: the thread that starts or stops the bundle, if one does.
    std::optional<std::thread::id> operation;

    // Touched only by the thread that starts, stops or uninstalls the bundle.
    ActivatorPtr activator{nullptr, nullptr};

private:
    mutable std::mutex contextMutex;
    std::shared_ptr<BundleContextData> context;
};

/// One registered service.
struct ServiceEntry {
    enum class Status {
        REGISTERED,
        LEAVING,  ///< Found by nobody any more, but valid for the trackers that are being told.
        GONE
    };

    std::weak_ptr<ServiceRegistry> registry;
    std::weak_ptr<BundleData> bundle;
    long id = 0;
    std::vector<std::string> interfaces;

    std::atomic<Status> status{Status::REGISTERED};
    std::atomic<int> ranking{0};

    // Guards the two below.
    std::mutex mutex;
    AnyMap properties;
    InterfaceMapConstPtr services;  // Null once the service is gone.
};

/// Sorts by ranking, highest first, then by id. The rankings may change meanwhile.
void sortBestFirst(std::vector<std::shared_ptr<ServiceEntry>>& entries);

}  // namespace cppmicroservices::detail
