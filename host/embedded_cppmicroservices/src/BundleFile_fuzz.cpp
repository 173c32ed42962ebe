// Reads any bytes as a bundle file: it is refused in words that name it, or gives bundles that can be used.

#include "BundleFile.h"

#include <support/fuzzing.hpp>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "BundleFiles.h"
#include "cppmicroservices/AnyMap.h"
#include "cppmicroservices/Constants.h"

namespace {

using cppmicroservices::detail::BundleDescription;
using foundation::test::require;

void check(std::vector<BundleDescription> const& bundles, std::size_t fileSize) {
    require(!bundles.empty());
    // Each has an entry in the file's directory, of 46 bytes and its name.
    require(bundles.size() <= fileSize / 46);
    require(std::is_sorted(bundles.begin(), bundles.end(), [](auto const& left, auto const& right) {
        return left.symbolicName < right.symbolicName;
    }));
    require(std::adjacent_find(bundles.begin(), bundles.end(), [](auto const& left, auto const& right) {
                return left.symbolicName == right.symbolicName;
            }) == bundles.end());
    for (BundleDescription const& bundle : bundles) {
        require(!bundle.symbolicName.empty() && bundle.symbolicName.find('/') == std::string::npos);
        auto const name = bundle.headers.find(cppmicroservices::Constants::BUNDLE_SYMBOLICNAME);
        require(name != bundle.headers.end() && !name->second.ToStringNoExcept().empty());
    }
}

}  // namespace

/// The bytes of a file.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
    static bundle_test::TemporaryFolder const folder;
    static std::filesystem::path const file = folder.path() / "bundle.zip";
    static std::string const location = bundle_test::text(file);
    bundle_test::writeFile(file, std::string(reinterpret_cast<char const*>(data), size));
    try {
        check(cppmicroservices::detail::readBundleFile(location, cppmicroservices::AnyMap()), size);
    } catch (std::runtime_error const& error) {
        require(std::string(error.what()).find(location) != std::string::npos);
    }
    return 0;
}
