#pragma once

#include <string>
#include <vector>

#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/BundleVersion.h"

namespace cppmicroservices::detail {

/// One bundle of a file.
struct BundleDescription {
    std::string symbolicName;
    BundleVersion version;
    AnyMap headers;
};

/// The start of every text about a bundle that cannot be installed.
std::string installFailure(std::string const& location);

/// Reads what a file says about its bundles; loads no code.
///
/// @param manifests  By symbolic name; unless empty, taken instead of those in the file.
/// @return           At least one, in the order of their symbolic names.
/// @throws std::runtime_error  The file or one of its manifests cannot be read or is wrong.
std::vector<BundleDescription> readBundleFile(std::string const& location, AnyMap const& manifests);

}  // namespace cppmicroservices::detail
