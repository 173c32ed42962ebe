// Prints the locations of the bundles in the folder "bundles" under the default installation root, one a line.

#include <foundation/cppmicroservices.hpp>

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <cstdio>
#include <memory>

int main() {
    auto const framework =
        std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework());
    framework->Start();
    foundation::cppmicroservices::setFramework(framework);
    for (auto const& bundle : foundation::cppmicroservices::installAndStart("bundles")) {
        std::printf("%s\n", bundle.GetLocation().c_str());
    }
    foundation::cppmicroservices::setFramework(nullptr);
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero());
}
