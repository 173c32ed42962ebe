#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <vector>

#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/ServiceException.h"
#include "cppmicroservices/ServiceReference.h"
#include "cppmicroservices/ServiceTrackerCustomizer.h"
#include "cppmicroservices/detail/TrackerCore.h"

namespace cppmicroservices {

/// Keeps track of the services of one interface from Open() to Close(). Each tracked object is held by the
/// tracker. Several objects come in the order of ranking, highest first, then of registration.
///
/// It may outlive the framework; then nothing is tracked. A class derived from it calls Close() in its
/// destructor.
///
/// @threads  Any. Close() waits for calls of the customizer that other threads are inside of.
template <class S, class T = S>
class ServiceTracker : protected ServiceTrackerCustomizer<S, T> {
    static_assert(!std::is_void_v<S>);
    using Customizer = ServiceTrackerCustomizer<S, T>;

public:
    using TrackedParamType = std::shared_ptr<T>;

    /// @param context     May be invalid; then Open() throws.
    /// @param customizer  Must outlive the tracker; null for the tracker itself, which tracks the service
    /// objects.
    explicit ServiceTracker(BundleContext const& context, Customizer* customizer = nullptr)
        : ServiceTracker(context, us_service_interface_iid<S>(), std::nullopt, customizer) {}
    ServiceTracker(BundleContext const& context,
                   ServiceReference<S> const& reference,
                   Customizer* customizer = nullptr)
        : ServiceTracker(context, us_service_interface_iid<S>(), reference, customizer) {}
    ServiceTracker(BundleContext const& context, std::string const& clazz, Customizer* customizer = nullptr)
        : ServiceTracker(context, clazz, std::nullopt, customizer) {}

    ~ServiceTracker() override { core_->close(); }

    /// Tracks what is registered now and from now on. Does nothing when the tracker is open.
    ///
    /// @throws IllegalStateException  "The bundle context is no longer valid".
    virtual void Open() { core_->open(); }
    /// Lets go of everything. Never throws; the tracker may be opened again.
    virtual void Close() { core_->close(); }

    /// The best service's object; null when none is tracked.
    [[nodiscard]] virtual std::shared_ptr<T> GetService() const {
        auto const tracked = core_->tracked();
        return tracked.empty() ? nullptr : std::static_pointer_cast<T>(tracked.front().second);
    }
    /// The object tracked for `reference`; null when it is not tracked.
    [[nodiscard]] virtual std::shared_ptr<T> GetService(ServiceReference<S> const& reference) const {
        return std::static_pointer_cast<T>(core_->service(reference));
    }
    [[nodiscard]] virtual std::vector<std::shared_ptr<T>> GetServices() const {
        std::vector<std::shared_ptr<T>> services;
        for (auto const& tracked : core_->tracked()) {
            services.push_back(std::static_pointer_cast<T>(tracked.second));
        }
        return services;
    }
    /// Waits until something is tracked or the tracker is closed, then gives GetService().
    [[nodiscard]] virtual std::shared_ptr<T> WaitForService() {
        return WaitForService(std::chrono::milliseconds::zero());
    }
    /// The same for at most `timeout`; zero waits without an end.
    ///
    /// @throws std::invalid_argument  "negative timeout".
    template <class Rep, class Period>
    [[nodiscard]] std::shared_ptr<T> WaitForService(std::chrono::duration<Rep, Period> const& timeout) {
        if (timeout < timeout.zero()) throw std::invalid_argument("negative timeout");
        core_->wait(std::chrono::duration_cast<std::chrono::nanoseconds>(timeout));
        return GetService();
    }

    [[nodiscard]] virtual std::vector<ServiceReference<S>> GetServiceReferences() const {
        std::vector<ServiceReference<S>> references;
        for (auto const& tracked : core_->tracked()) {
            references.emplace_back(tracked.first);
        }
        return references;
    }
    /// The best service. @throws ServiceException  "No service is being tracked".
    [[nodiscard]] virtual ServiceReference<S> GetServiceReference() const {
        auto const tracked = core_->tracked();
        if (tracked.empty()) throw ServiceException("No service is being tracked");
        return ServiceReference<S>(tracked.front().first);
    }

    /// Stops tracking one service.
    virtual void Remove(ServiceReference<S> const& reference) { core_->remove(reference); }
    [[nodiscard]] virtual int Size() const { return core_->size(); }
    [[nodiscard]] virtual bool IsEmpty() const { return core_->size() == 0; }
    /// How many services have come, changed and gone since Open(); -1 when the tracker is not open.
    [[nodiscard]] virtual int GetTrackingCount() const { return core_->trackingCount(); }

protected:
    std::shared_ptr<T> AddingService(ServiceReference<S> const& reference) override {
        if constexpr (std::is_same_v<S, T>) {
            return context_.GetService(reference);
        } else {
            throw std::runtime_error("a tracker whose objects are not the services needs a customizer");
        }
    }
    void ModifiedService(ServiceReference<S> const&, std::shared_ptr<T> const&) override {}
    void RemovedService(ServiceReference<S> const&, std::shared_ptr<T> const&) override {}

private:
    ServiceTracker(BundleContext const& context,
                   std::string const& clazz,
                   std::optional<ServiceReferenceBase> const& only,
                   Customizer* customizer)
        : context_(context), core_(std::make_shared<detail::TrackerCore>(
                                 context, clazz, only, calls(customizer == nullptr ? this : customizer))) {}

    static detail::TrackerCore::Customizer calls(Customizer* customizer) {
        auto const typed = [](std::shared_ptr<void> const& object) {
            return std::static_pointer_cast<T>(object);
        };
        return {
            [customizer](ServiceReferenceBase const& reference) -> std::shared_ptr<void> {
                return customizer->AddingService(ServiceReference<S>(reference));
            },
            [customizer, typed](ServiceReferenceBase const& reference, std::shared_ptr<void> const& object) {
                customizer->ModifiedService(ServiceReference<S>(reference), typed(object));
            },
            [customizer, typed](ServiceReferenceBase const& reference, std::shared_ptr<void> const& object) {
                customizer->RemovedService(ServiceReference<S>(reference), typed(object));
            },
        };
    }

    BundleContext context_;
    std::shared_ptr<detail::TrackerCore> core_;
};

}  // namespace cppmicroservices
