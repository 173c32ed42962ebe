#pragma once

#include "cppmicroservices/BundleContext.h"

namespace cppmicroservices {

/// The code that a bundle runs when it is started and stopped. The framework makes a new one for each start;
/// calls for one bundle never overlap. An exception from Start() leaves the bundle stopped; one from Stop()
/// does too.
struct BundleActivator {
    BundleActivator() = default;
    BundleActivator(BundleActivator const&) = delete;
    BundleActivator& operator=(BundleActivator const&) = delete;
    virtual ~BundleActivator() = default;

    virtual void Start(BundleContext context) = 0;
    virtual void Stop(BundleContext context) = 0;
};

}  // namespace cppmicroservices

#if defined(_WIN32)
#define US_ACTIVATOR_EXPORT __declspec(dllexport)
#else
#define US_ACTIVATOR_EXPORT __attribute__((visibility("default")))
#endif
#define US_ACTIVATOR_JOIN_(prefix, name) prefix##name
#define US_ACTIVATOR_JOIN(prefix, name) US_ACTIVATOR_JOIN_(prefix, name)

/// Makes `Type` the activator of the bundle that US_BUNDLE_NAME names. To be used once, outside of any
/// namespace.
#define CPPMICROSERVICES_EXPORT_BUNDLE_ACTIVATOR(Type)                                                       \
    extern "C" US_ACTIVATOR_EXPORT ::cppmicroservices::BundleActivator* US_ACTIVATOR_JOIN(                   \
        _us_create_activator_, US_BUNDLE_NAME)() {                                                           \
        return new Type();                                                                                   \
    }                                                                                                        \
    extern "C" US_ACTIVATOR_EXPORT void US_ACTIVATOR_JOIN(_us_destroy_activator_, US_BUNDLE_NAME)(           \
        ::cppmicroservices::BundleActivator * activator) {                                                   \
        delete activator;                                                                                    \
    }
