#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>

namespace foundation::test {

/// What the scripted bundles do, by their symbolic names; a test gives it to the framework as the property "script".
struct Script {
    std::map<std::string, std::function<void()>> start;        // while the activator starts
    std::map<std::string, std::function<void()>> addFeatures;  // while the registration service is asked
    std::map<std::string, std::function<void()>> stop;         // while the activator stops
    std::string watched;  // a feature that activators watch with code of their bundles; none when empty
    std::atomic<int> watcherCalls = 0;
    bool areKept = false;  // whether activators keep handles and more in static objects of their bundles

    static void run(std::map<std::string, std::function<void()>> const& steps, std::string const& name) {
        auto const step = steps.find(name);
        if (step != steps.end()) step->second();
    }
};

using SharedScript = std::shared_ptr<Script>;

}  // namespace foundation::test
