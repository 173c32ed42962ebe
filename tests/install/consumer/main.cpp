#include <foundation/feature/Feature.hpp>
#include <foundation/feature/ScopedFeature.hpp>
#include <foundation/feature/management.hpp>

#include <foundation/json/parse.hpp>

#include <exception>
#include <iostream>

namespace {

int used() {
    namespace feature = foundation::feature;

    auto const descriptors = foundation::json::parse(
        R"([{"name": "Alpha", "FCtrlState": "Off", "defaultValue": 0, "type": "perPROCESS"}])");
    feature::management::registerFeatures(descriptors.get<std::vector<foundation::json::Value>>(),
                                          std::string("alpha.json"),
                                          "core",
                                          "kernel",
                                          {});

    feature::Feature<feature::Scope::PROCESS> const alpha("Alpha");
    feature::ScopedFeature const forced(alpha, 42);
    return alpha.getFilename() == "alpha.json" ? alpha.get() : 0;
}

}  // namespace

int main() {
    try {
        if (used() == 42) return 0;
        std::cerr << "the feature does not hold its value\n";
    } catch (std::exception const& error) {
        std::cerr << error.what() << '\n';
    }
    return 1;
}
