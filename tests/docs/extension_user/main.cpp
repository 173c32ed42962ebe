// A host that knows none of the features that it looks up; ends with 0 when the extension brings them.

#include <foundation/feature/IFeature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/cppmicroservices.hpp>

#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <iostream>
#include <memory>
#include <string>

namespace {

bool isAsDeclared(std::string const& name, int value, std::string const& state) {
    auto const feature = foundation::feature::management::getFeature(name);
    if (feature && feature->get() == value && feature->getFCtrlState() == state &&
        feature->getComponent() == "meshing" && feature->getModule() == "my_extension") {
        return true;
    }
    std::cerr << name << (feature ? " is not as declared\n" : " is not found\n");
    return false;
}

}  // namespace

int main() {
    auto const framework =
        std::make_shared<cppmicroservices::Framework>(cppmicroservices::FrameworkFactory().NewFramework());
    framework->Start();
    foundation::cppmicroservices::setFramework(framework);
    bool const isListed = isAsDeclared("MyListedFeature", 3, "Beta");
    bool const isAdded = isAsDeclared("MyAddedFeature", 0, "Off");
    foundation::cppmicroservices::setFramework(nullptr);
    framework->Stop();
    framework->WaitForStop(std::chrono::milliseconds::zero());
    return isListed && isAdded ? 0 : 1;
}
