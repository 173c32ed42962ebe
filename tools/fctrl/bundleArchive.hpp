#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace fctrl {

/// Whether a file's name is one of those that a host takes for extension bundles.
bool isBundleName(std::string_view file);

/// The manifests in a bundle: a zip, or a file that ends in one.
///
/// @return  By symbolic name; nothing for a file that is no bundle. A manifest that cannot be read, or is larger than
///          the service framework takes, is left out.
std::optional<std::map<std::string, std::string>> readManifests(std::string file);

/// A bundle that holds one manifest and nothing else.
std::string makeBundle(std::string const& symbolicName, std::string_view manifest);

}  // namespace fctrl
