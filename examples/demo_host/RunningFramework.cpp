#include "RunningFramework.hpp"

#include <foundation/cppmicroservices.hpp>

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <exception>
#include <iostream>

namespace demo {

RunningFramework::RunningFramework()
    : framework_(std::make_shared<cppmicroservices::Framework>(
          cppmicroservices::FrameworkFactory().NewFramework())) {
    framework_->Init();
    framework_->Start();
    foundation::cppmicroservices::setFramework(framework_);
}

RunningFramework::~RunningFramework() {
    // First, so that no lookup begins to install extensions in a framework that is about to stop.
    foundation::cppmicroservices::setFramework(nullptr);
    try {
        framework_->Stop();
        framework_->WaitForStop(std::chrono::milliseconds::zero());  // zero: however long it takes
    } catch (std::exception const& error) {
        std::cerr << "the service framework does not stop: " << error.what() << '\n';
    }
}

std::size_t RunningFramework::bundleCount() const {
    return framework_->GetBundleContext().GetBundles().size() - 1;
}

}  // namespace demo
