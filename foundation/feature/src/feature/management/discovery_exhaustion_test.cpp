#include "DiscoveryTest.hpp"
#include "exhaustion_testing.hpp"

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include <foundation/fctrl_ext/Registration.hpp>

#include <gtest/gtest.h>

namespace foundation::feature::management::test {
namespace {

class DiscoveryWithoutMemory : public Discovery, public testing::WithParamInterface<Caller> {
protected:
    DiscoveryWithoutMemory() {
        log::setChannelMask(lookupChannel, details);  // Stack traces would take long.
        addCode("first");
        addManifest("lists", qz("listed in a manifest"));
        script->addFeatures["first"] = [] { declare({.name = "registered by a service"}); };
    }

    /// The names of what is registered; asks no extension.
    std::string describe() {
        foundation::cppmicroservices::setFramework(nullptr);
        std::vector<std::string> names = allNames();
        foundation::cppmicroservices::setFramework(framework);
        std::sort(names.begin(), names.end());
        std::string text;
        for (std::string const& name : names)
            text += name + '\n';
        return text;
    }

    std::shared_ptr<Framework> const framework = std::make_shared<Framework>(running.framework);
};

INSTANTIATE_TEST_SUITE_P(By, DiscoveryWithoutMemory, testing::ValuesIn(callers), [](auto const& row) {
    return row.param.name;
});

TEST_P(DiscoveryWithoutMemory, LosesNothingForEver) {
    Operation const operation{
        .name = "discovery",
        .run = [] { GetParam().ask("a name that nobody registers"); },
        .describe = [this] { return describe(); },
        .isPart = [](std::string const& part,
                     std::string const& whole) { return whole.find(part) != whole.npos; },
        // What one kind of lookup has left out, logged, because there was no memory, the others find.
        .verify = askEverything,
        .mayKeepMore = true};
    EXPECT_GT(exhaust(operation), 0u);
}

}  // namespace
}  // namespace foundation::feature::management::test
