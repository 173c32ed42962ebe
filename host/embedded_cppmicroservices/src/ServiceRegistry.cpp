#include "ServiceRegistry.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <tuple>
#include <utility>

#include "cppmicroservices/Constants.h"
#include "cppmicroservices/IllegalStateException.h"

namespace cppmicroservices::detail {

namespace {

[[noreturn]] void throwCaseVariants(std::string const& key) {
    throw std::runtime_error("Properties contain case variants of the key: " + key);
}

AnyMap withoutCase(ServiceProperties const& properties) {
    AnyMap map(any_map::UNORDERED_MAP_CASEINSENSITIVE_KEYS);
    for (auto const& [name, value] : properties) {
        if (!map.emplace(name, value).second) throwCaseVariants(name);
    }
    return map;
}

int rankingOf(AnyMap const& properties) {
    auto const entry = properties.find(Constants::SERVICE_RANKING);
    auto const* const ranking = entry == properties.end() ? nullptr : any_cast<int>(&entry->second);
    return ranking == nullptr ? 0 : *ranking;  // A ranking of another type counts as none.
}

/// Sets the properties that are the framework's own.
void addOwnProperties(AnyMap& properties, ServiceEntry const& entry) {
    auto const set = [&properties](std::string const& key, Any value) {
        auto const same = std::as_const(properties).find(key);
        if (same != std::as_const(properties).end() && same->first != key) throwCaseVariants(key);
        properties[key] = std::move(value);
    };
    set(Constants::OBJECTCLASS, entry.interfaces);
    set(Constants::SERVICE_ID, entry.id);
    set(Constants::SERVICE_SCOPE, Constants::SCOPE_SINGLETON);
}

void requireValid(BundleContextData const& context) {
    if (!context.valid) throw IllegalStateException("The bundle context is no longer valid");
}

}  // namespace

void sortBestFirst(std::vector<std::shared_ptr<ServiceEntry>>& entries) {
    std::vector<std::tuple<int, long, std::shared_ptr<ServiceEntry>>> keyed;
    keyed.reserve(entries.size());
    for (auto& entry : entries) {
        int const ranking = entry->ranking;
        long const id = entry->id;
        keyed.emplace_back(ranking, id, std::move(entry));
    }
    std::sort(keyed.begin(), keyed.end(), [](auto const& left, auto const& right) {
        if (std::get<0>(left) != std::get<0>(right)) return std::get<0>(left) > std::get<0>(right);
        return std::get<1>(left) < std::get<1>(right);
    });
    std::transform(
        keyed.begin(), keyed.end(), entries.begin(), [](auto& key) { return std::move(std::get<2>(key)); });
}

ServiceRegistry::ServiceRegistry(std::shared_ptr<Log> log) : log_(std::move(log)) {}

ServiceRegistry::EntryPtr ServiceRegistry::add(ContextPtr const& context,
                                               InterfaceMapConstPtr services,
                                               ServiceProperties const& properties) {
    if (!services || services->empty()) {
        throw std::invalid_argument("Can't register empty InterfaceMap as a service");
    }
    if (std::any_of(services->begin(), services->end(), [](auto const& service) {
            return service.second == nullptr;
        })) {
        throw std::invalid_argument("Can't register as null class");
    }
    auto entry = std::make_shared<ServiceEntry>();
    entry->registry = weak_from_this();
    entry->bundle = context->bundle;
    for (auto const& service : *services) {
        entry->interfaces.push_back(service.first);
    }
    std::sort(entry->interfaces.begin(), entry->interfaces.end());
    entry->services = std::move(services);
    entry->properties = withoutCase(properties);
    entry->ranking = rankingOf(entry->properties);
    {
        std::lock_guard const lock(mutex_);
        requireValid(*context);
        entry->id = ++lastId_;
        addOwnProperties(entry->properties, *entry);
        entries_.push_back(entry);
    }
    tell(entry, &TrackerCore::serviceCame);
    return entry;
}

bool ServiceRegistry::remove(EntryPtr const& entry) {
    auto expected = ServiceEntry::Status::REGISTERED;
    if (!entry->status.compare_exchange_strong(expected, ServiceEntry::Status::LEAVING)) return false;
    {
        std::lock_guard const lock(mutex_);
        std::erase(entries_, entry);
    }
    tell(entry, &TrackerCore::serviceWent);
    InterfaceMapConstPtr services;  // Dies, and maybe the service with it, after the lock is released.
    {
        std::lock_guard const lock(entry->mutex);
        services = std::move(entry->services);
        entry->services = nullptr;
    }
    entry->status = ServiceEntry::Status::GONE;
    return true;
}

void ServiceRegistry::setProperties(EntryPtr const& entry, ServiceProperties const& properties) {
    AnyMap map = withoutCase(properties);
    addOwnProperties(map, *entry);
    entry->ranking = rankingOf(map);
    {
        std::lock_guard const lock(entry->mutex);
        std::swap(entry->properties, map);
    }
    tell(entry, &TrackerCore::serviceChanged);
}

std::vector<ServiceRegistry::EntryPtr> ServiceRegistry::find(std::string const& interfaceId) const {
    std::vector<EntryPtr> found;
    {
        std::lock_guard const lock(mutex_);
        std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(found), [&](EntryPtr const& entry) {
            auto const& interfaces = entry->interfaces;
            return interfaceId.empty() ||
                   std::binary_search(interfaces.begin(), interfaces.end(), interfaceId);
        });
    }
    sortBestFirst(found);
    return found;
}

std::vector<ServiceRegistry::EntryPtr> ServiceRegistry::registeredBy(BundleData const& bundle) const {
    std::vector<EntryPtr> found;
    std::lock_guard const lock(mutex_);
    std::copy_if(entries_.begin(), entries_.end(), std::back_inserter(found), [&](EntryPtr const& entry) {
        return entry->bundle.lock().get() == &bundle;
    });
    return found;
}

std::vector<ServiceRegistry::EntryPtr> ServiceRegistry::attach(TrackerPtr const& tracker,
                                                               ContextPtr const& context) {
    std::lock_guard const lock(mutex_);
    requireValid(*context);
    bool const isAttached = std::any_of(
        attached_.begin(), attached_.end(), [&](Attached const& other) { return other.tracker == tracker; });
    if (!isAttached) attached_.push_back({tracker, context});
    return entries_;
}

void ServiceRegistry::detach(TrackerCore const& tracker) {
    std::lock_guard const lock(mutex_);
    std::erase_if(attached_, [&](Attached const& attached) { return attached.tracker.get() == &tracker; });
}

void ServiceRegistry::close(ContextPtr const& context) {
    auto const bundle = context->bundle.lock();
    for (;;) {
        std::vector<EntryPtr> const entries = bundle ? registeredBy(*bundle) : std::vector<EntryPtr>();
        for (EntryPtr const& entry : entries) {
            remove(entry);
        }
        std::lock_guard const lock(mutex_);
        // Another thread may have registered something meanwhile; it may, until the context is invalid.
        bool const more = std::any_of(entries_.begin(), entries_.end(), [&](EntryPtr const& entry) {
            return bundle && entry->bundle.lock() == bundle;
        });
        if (more) continue;
        context->valid = false;
        std::erase_if(attached_, [&](Attached const& attached) { return attached.context == context; });
        return;
    }
}

void ServiceRegistry::tell(EntryPtr const& entry, void (TrackerCore::*what)(EntryPtr const&)) {
    std::vector<TrackerPtr> trackers;
    {
        std::lock_guard const lock(mutex_);
        for (Attached const& attached : attached_) {
            if (attached.tracker->wants(*entry)) trackers.push_back(attached.tracker);
        }
    }
    for (TrackerPtr const& tracker : trackers) {
        try {
            ((*tracker).*what)(entry);
        } catch (std::exception const& error) {
            log_->write("a service tracker's customizer failed: " + std::string(error.what()));
        } catch (...) {
            log_->write("a service tracker's customizer failed with an unknown exception");
        }
    }
}

}  // namespace cppmicroservices::detail
