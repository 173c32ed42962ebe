#pragma once

#include "RegistryTest.hpp"

#include <foundation/cppmicroservices.hpp>
#include <foundation/log/diagnostic_logger.hpp>

#include <Script.hpp>

#include <BundleFiles.h>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/Framework.h>

#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

/// What the tests of extension discovery share.
namespace foundation::feature::management::test {

namespace fs = std::filesystem;
using bundle_test::bundle;
using bundle_test::RunningFramework;
using bundle_test::TemporaryFolder;
using bundle_test::text;
using bundle_test::writeFile;
using bundle_test::writeZip;
using ::cppmicroservices::Any;
using ::cppmicroservices::Framework;
using foundation::test::LogCapture;
using foundation::test::Record;
using foundation::test::Script;
using foundation::test::SharedScript;

inline constexpr char const* manifestChannel = "foundation::feature::register";
inline constexpr char const* installerChannel = "foundation::cppmicroservices";
inline constexpr unsigned slowLookups = 256;

inline std::map<std::string, fs::path> const codeBundles = {
    {"first", FIRST_BUNDLE}, {"second", SECOND_BUNDLE}, {"third", THIRD_BUNDLE}};

/// The four lookups that ask extensions, each for a feature that may be missing.
struct Caller {
    char const* name;
    std::function<void(std::string const& feature)> ask;
};

inline void ignoreMissing(std::function<void()> const& lookup) {
    try {
        lookup();
    } catch (std::out_of_range const&) {
        // Missing, as far as this lookup can tell.
    }
}

inline std::vector<Caller> const callers = {
    {"getFeature", [](std::string const& feature) { getFeature(feature); }},
    {"getDataPtr", [](std::string const& feature) { ignoreMissing([&] { process::getDataPtr(feature); }); }},
    {"getDataIndex", [](std::string const& feature) { ignoreMissing([&] { zor::getDataIndex(feature); }); }},
    {"getAllFeatures", [](std::string const&) { getAllFeatures(); }},
};

/// A descriptor, as it stands in a manifest.
inline std::string descriptor(std::string const& name, std::string const& more = {}) {
    return R"({"name": ")" + name + R"(", "FCtrlState": "Beta", "defaultValue": 3, "type": "perPROCESS")" +
           more + "}";
}

/// A member "qz" with one feature and `more` members.
inline std::string qz(std::string const& name, std::string const& more = {}) {
    return R"("qz": {"features": [)" + descriptor(name) + "]" + (more.empty() ? "" : ", ") + more + "}";
}

/// A running framework whose extension folder a test fills.
class Discovery : public testing::Test {
protected:
    Discovery() : running({{"script", Any(script)}}) {
        fs::create_directories(folder);
        foundation::cppmicroservices::setFramework(std::make_shared<Framework>(running.framework));
        foundation::cppmicroservices::setInstallationRoot(root.path());
        log::setChannelMask(lookupChannel, details | slowLookups);
        log::setChannelMask(manifestChannel, rejections);
    }
    ~Discovery() override { foundation::cppmicroservices::setFramework(nullptr); }

    /// Puts a scripted bundle into the extension folder; returns its location.
    std::string addCode(std::string const& name) const {
        fs::path const& file = codeBundles.at(name);
        fs::copy_file(file, folder / file.filename());
        return text(folder / file.filename());
    }

    /// Puts a bundle without code there; returns its location.
    std::string addManifest(std::string const& name, std::string const& more = {}) const {
        return writeZip(folder / (name + ".zip"), bundle(name, more));
    }

    /// The records of one channel, each as "<severity>: <first line>".
    std::vector<std::string> logged(std::string const& channel) const {
        std::vector<std::string> lines;
        for (Record const& record : capture.records()) {
            if (record.channel != channel) continue;
            lines.push_back(std::to_string(record.severity) + ": " +
                            record.message.substr(0, record.message.find('\n')));
        }
        return lines;
    }

    TemporaryFolder root;
    fs::path folder = root.path() / "bin" / "win64" / "fctrl_ext";
    SharedScript script = std::make_shared<Script>();
    LogCapture capture;
    RunningFramework running;
};

inline std::string const slowLine = "256: slow feature lookup required";

inline std::string installed(int count) {
    return "8: installAndStarted " + std::to_string(count);
}

inline std::string found(int count) {
    return "8: found " + std::to_string(count) + " foundation::fctrl_ext::Registration instances";
}

inline void askEverything() {
    for (Caller const& caller : callers)
        caller.ask("Missing");
}

}  // namespace foundation::feature::management::test
