#include "ManifestReader.hpp"

#include "Document.hpp"
#include "bundleArchive.hpp"

#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/FrameworkEvent.h>
#include <cppmicroservices/FrameworkFactory.h>

#include <chrono>
#include <exception>
#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <system_error>
#include <vector>

namespace fctrl {
namespace {

using cppmicroservices::AnyMap;
using cppmicroservices::Bundle;
using cppmicroservices::Framework;

Framework startedFramework() {
    Framework framework = cppmicroservices::FrameworkFactory().NewFramework();
    framework.Start();
    return framework;
}

void stop(Framework& framework) {
    framework.Stop();
    framework.WaitForStop(std::chrono::milliseconds::zero());  // zero: however long it takes
}

std::filesystem::path newPath() {
    std::random_device random;
    return std::filesystem::temp_directory_path() /
           ("fctrl_" + std::to_string(random()) + std::to_string(random()) + ".zip");
}

/// A new file with this content, for the life of the object.
class TemporaryFile {
public:
    explicit TemporaryFile(std::string const& content) : path_(newPath()) {
        std::ofstream output(path_, std::ios::binary);
        output << content;
        if (!output.flush()) throw UnreadableFile(toUtf8(path_) + ": cannot be written");
    }
    TemporaryFile(TemporaryFile const&) = delete;
    TemporaryFile& operator=(TemporaryFile const&) = delete;
    ~TemporaryFile() {
        std::error_code ignored;  // It lies where the system tidies up.
        std::filesystem::remove(path_, ignored);
    }

    std::string name() const { return toUtf8(path_); }

private:
    std::filesystem::path path_;
};

std::string replaced(std::string text, std::string const& from, std::string const& to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
    return text;
}

}  // namespace

ManifestReader::ManifestReader() : bundles_(startedFramework()), manifests_(startedFramework()) {}

ManifestReader::~ManifestReader() {
    stop(bundles_);
    stop(manifests_);
}

std::map<std::string, AnyMap> ManifestReader::readBundle(std::string const& file) {
    std::map<std::string, AnyMap> headers;
    for (Bundle const& bundle : bundles_.GetBundleContext().InstallBundles(file))
        headers.emplace(bundle.GetSymbolicName(), bundle.GetHeaders());
    return headers;
}

AnyMap ManifestReader::readManifest(std::string const& name,
                                    std::string const& symbolicName,
                                    std::string_view text) {
    TemporaryFile const file(makeBundle(symbolicName, text));
    try {
        std::vector<Bundle> bundles = manifests_.GetBundleContext().InstallBundles(file.name());
        AnyMap headers = bundles.front().GetHeaders();
        bundles.front().Uninstall();
        return headers;
    } catch (std::exception const& error) {
        throw std::runtime_error(replaced(error.what(), file.name(), name));
    }
}

}  // namespace fctrl
