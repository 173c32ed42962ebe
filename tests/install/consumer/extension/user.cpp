// Starts the bundles in the folder that is its argument; ends with 0 when one of them registers features.

#include <foundation/cppmicroservices.hpp>
#include <foundation/fctrl_ext/Registration.hpp>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <filesystem>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

std::string answerOf(cppmicroservices::BundleContext context) {
    for (auto const& reference : context.GetServiceReferences<foundation::fctrl_ext::Registration>()) {
        try {
            context.GetService(reference)->addFeaturesOnce();
        } catch (std::runtime_error const& answer) {
            return answer.what();
        }
    }
    return "no answer";
}

}  // namespace

int main(int, char** argv) {
    auto const framework =
        std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework());
    framework->Start();
    foundation::cppmicroservices::setFramework(framework);
    auto const bundles = foundation::cppmicroservices::installAndStart(std::filesystem::path(argv[1]));
    std::string const answer = answerOf(framework->GetBundleContext());
    foundation::cppmicroservices::setFramework(nullptr);
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero());
    if (bundles.size() == 1 && answer == "asked") return 0;
    std::cerr << bundles.size() << " bundles: " << answer << '\n';
    return 1;
}
