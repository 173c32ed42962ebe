#pragma once

#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Framework.h>

#include <map>
#include <string>
#include <string_view>

namespace fctrl {

/// Reads manifests as hosts do, by a service framework. It installs bundles and loads none of their code.
class ManifestReader {
public:
    ManifestReader();
    ManifestReader(ManifestReader const&) = delete;
    ManifestReader& operator=(ManifestReader const&) = delete;
    ~ManifestReader();

    /// The headers of the bundles in a file, by symbolic name.
    /// @param file  UTF-8.
    /// @throws std::exception  with the framework's own text: they cannot be installed. Nor can another bundle that has
    ///                         the name and the version of an earlier one.
    std::map<std::string, cppmicroservices::AnyMap> readBundle(std::string const& file);

    /// The headers that a manifest gives, by itself.
    /// @param name  what the framework's text calls it.
    /// @throws std::exception  with the framework's own text.
    cppmicroservices::AnyMap
    readManifest(std::string const& name, std::string const& symbolicName, std::string_view text);

private:
    cppmicroservices::Framework bundles_;
    cppmicroservices::Framework
        manifests_;  // Another one: a bundle and its manifest are often checked together.
};

}  // namespace fctrl
