#pragma once

#include <foundation/cppmicroservices.hpp>

#include <support/LogCapture.hpp>

#include "BundleFiles.h"

#include <filesystem>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <gtest/gtest.h>

/// What the tests of installation share.
namespace foundation::cppmicroservices::installation_test {

/// The names of bundles, which must all have been started.
inline std::vector<std::string> names(std::vector<::cppmicroservices::Bundle> const& bundles) {
    std::vector<std::string> result;
    for (::cppmicroservices::Bundle const& bundle : bundles) {
        EXPECT_EQ(bundle.GetState(), ::cppmicroservices::Bundle::STATE_ACTIVE);
        result.push_back(bundle.GetSymbolicName());
    }
    return result;
}

/// A framework that the process has been given, and a folder under the installation root.
class InstallAndStart : public testing::Test {
protected:
    explicit InstallAndStart(std::unordered_map<std::string, ::cppmicroservices::Any> const& properties = {})
        : running(properties) {
        std::filesystem::create_directory(folder);
        setFramework(std::make_shared<::cppmicroservices::Framework>(running.framework));
        setInstallationRoot(root.path());
    }
    ~InstallAndStart() override { setFramework(nullptr); }

    /// What was logged on the channel, each record as one text.
    std::vector<std::string> logged() const {
        std::vector<std::string> texts;
        for (auto const& record : log.records()) {
            EXPECT_EQ(record.channel, "foundation::cppmicroservices");
            EXPECT_EQ(record.severity, 512U);
            texts.push_back(record.message);
        }
        return texts;
    }

    bundle_test::TemporaryFolder root;
    std::filesystem::path folder = root.path() / "bundles";
    foundation::test::LogCapture log;
    bundle_test::RunningFramework running;
};

}  // namespace foundation::cppmicroservices::installation_test
