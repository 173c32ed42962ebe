#include <foundation/cppmicroservices.hpp>
#include <foundation/fctrl_ext/Registration.hpp>
#include <foundation/feature/Feature.hpp>
#include <foundation/feature/management.hpp>

#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using cppmicroservices::Bundle;
using cppmicroservices::BundleContext;
using cppmicroservices::Framework;
using cppmicroservices::FrameworkFactory;
using foundation::cppmicroservices::installAndStart;
using foundation::fctrl_ext::Registration;

class ExtensionBundles : public testing::Test {
protected:
    ExtensionBundles() : framework(std::make_shared<Framework>(FrameworkFactory().NewFramework())) {
        framework->Start();
        foundation::cppmicroservices::setFramework(framework);
    }
    ~ExtensionBundles() override {
        foundation::cppmicroservices::setFramework(nullptr);
        framework->Stop();
        framework->WaitForStop(std::chrono::milliseconds::zero());
    }

    std::shared_ptr<Framework> framework;
};

TEST_F(ExtensionBundles, AreOneFileEach) {
    std::set<std::string> stems;
    int files = 0;
    for (auto const& entry : std::filesystem::directory_iterator(EXTENSION_FOLDER)) {
        ++files;
        stems.insert(entry.path().stem().string());
    }
    EXPECT_EQ(files, 2);
    EXPECT_EQ(stems.count("extension_manifest_only"), 1U);
}

TEST_F(ExtensionBundles, AreInstalledAndStartedWithTheirManifests) {
    auto const bundles = installAndStart(std::filesystem::path(EXTENSION_FOLDER));
    std::set<std::string> names;
    for (Bundle const& bundle : bundles) {
        names.insert(bundle.GetSymbolicName());
        EXPECT_EQ(bundle.GetHeaders().count("qz"), 1U);
    }
    EXPECT_EQ(names, (std::set<std::string>{"code", "manifest.only"}));
}

TEST_F(ExtensionBundles, RegisterTheirFeaturesByCall) {
    ASSERT_EQ(installAndStart(std::filesystem::path(EXTENSION_FOLDER)).size(), 2U);
    BundleContext context = framework->GetBundleContext();
    auto const references = context.GetServiceReferences<Registration>();
    ASSERT_EQ(references.size(), 1U);
    context.GetService(references[0])->addFeaturesOnce();
    foundation::feature::Feature<foundation::feature::Scope::PROCESS> const feature("OfCode");
    EXPECT_EQ(feature.get(), 7);
}

}  // namespace
