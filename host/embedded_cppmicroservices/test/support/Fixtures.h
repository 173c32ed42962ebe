#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Constants.h>
#include <gtest/gtest.h>

#include "BundleFiles.h"
#include "Probe.h"

namespace bundle_test {

/// A framework, a folder for bundle files, and what the bundle "probe" did.
class Bundles : public testing::Test {
protected:
    Bundles() : journal(std::make_shared<probe::Journal>()) {}

    /// The file `name` with the code of the probe and a manifest that wants it to be run.
    std::string probeFile(std::string const& name = "probe.so", std::string const& version = "1.2.3") {
        return writeLibrary(
            folder.path() / name,
            PROBE_LIBRARY,
            bundle("probe", R"("bundle.activator": true, "bundle.version": ")" + version + '"'));
    }

    void start(std::unordered_map<std::string, cppmicroservices::Any> properties = {}) {
        properties["probe.journal"] = journal;
        running = std::make_unique<RunningFramework>(properties);
    }

    cppmicroservices::Bundle install(std::string const& location) {
        auto const bundles = running->context().InstallBundles(location);
        EXPECT_EQ(bundles.size(), 1U);
        return bundles.at(0);
    }

    std::string refusal(std::string const& location) {
        return textOf<std::runtime_error>([&] { running->context().InstallBundles(location); });
    }

    TemporaryFolder folder;
    std::shared_ptr<probe::Journal> journal;
    std::unique_ptr<RunningFramework> running;
};

/// A framework, and services that are registered through its own context.
class Services : public testing::Test {
protected:
    std::shared_ptr<probe::Plain> add(int number, std::optional<int> ranking = {}) {
        auto service = std::make_shared<probe::Plain>();
        service->number = number;
        cppmicroservices::ServiceProperties properties;
        if (ranking) properties[cppmicroservices::Constants::SERVICE_RANKING] = *ranking;
        registrations.push_back(context.RegisterService<probe::Plain>(service, properties));
        return service;
    }

    RunningFramework running;
    cppmicroservices::BundleContext context = running.context();
    std::vector<cppmicroservices::ServiceRegistration<probe::Plain>> registrations;
};

}  // namespace bundle_test
