#pragma once

#include <memory>
#include <string>
#include <utility>

#include "Entries.h"
#include "cppmicroservices/Bundle.h"
#include "cppmicroservices/BundleContext.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/ServiceReferenceBase.h"
#include "cppmicroservices/ServiceRegistrationBase.h"

namespace cppmicroservices::detail {

/// Between the handles of the public headers and what they refer to.
struct Access {
    static Bundle bundle(std::shared_ptr<BundleData> data, std::shared_ptr<FrameworkHolder> holder) {
        return Bundle(std::move(data), std::move(holder));
    }
    static Framework framework(std::shared_ptr<BundleData> data, std::shared_ptr<FrameworkHolder> holder) {
        return Framework(std::move(data), std::move(holder));
    }
    static std::shared_ptr<BundleData> const& data(Bundle const& bundle) { return bundle.data_; }

    static BundleContext context(std::shared_ptr<BundleContextData> data) {
        BundleContext context;
        context.data_ = std::move(data);
        return context;
    }
    static std::shared_ptr<BundleContextData> const& data(BundleContext const& context) {
        return context.data_;
    }

    static ServiceReferenceBase reference(std::shared_ptr<ServiceEntry> entry, std::string interfaceId) {
        ServiceReferenceBase reference;
        reference.entry_ = std::move(entry);
        reference.interfaceId_ = std::move(interfaceId);
        return reference;
    }
    static std::shared_ptr<ServiceEntry> const& entry(ServiceReferenceBase const& reference) {
        return reference.entry_;
    }

    static ServiceRegistrationBase registration(std::shared_ptr<ServiceEntry> entry) {
        ServiceRegistrationBase registration;
        registration.entry_ = std::move(entry);
        return registration;
    }
};

}  // namespace cppmicroservices::detail
