#include "BundleFile.h"

#include <algorithm>
#include <filesystem>
#include <stdexcept>
#include <utility>

#include "Archive.h"
#include "Manifest.h"
#include "cppmicroservices/Constants.h"

namespace cppmicroservices::detail {

namespace {

// A small zip could fill the memory or take hours otherwise: its entries may share what they are made from.
constexpr std::size_t mostBundles = 1024;                                 // in one file
constexpr std::size_t mostManifestBytes = std::size_t{16} * 1024 * 1024;  // of all manifests in one file

BundleDescription describe(std::string const& name, std::string const& location, AnyMap headers) {
    auto const symbolicName = headers.find(Constants::BUNDLE_SYMBOLICNAME);
    if (symbolicName == headers.end()) {
        throw std::runtime_error(installFailure(location) + Constants::BUNDLE_SYMBOLICNAME +
                                 " is not defined in the bundle manifest for bundle " + name +
                                 " (location=" + location + ").");
    }
    if (symbolicName->second.ToStringNoExcept().empty()) {
        throw std::runtime_error(installFailure(location) + Constants::BUNDLE_SYMBOLICNAME +
                                 " is empty in the bundle manifest for bundle " + name +
                                 "(location=" + location + ").");
    }

    BundleVersion version;
    if (auto const entry = headers.find(Constants::BUNDLE_VERSION); entry != headers.end()) {
        try {
            auto const* const text = any_cast<std::string>(&entry->second);
            if (text == nullptr) throw std::invalid_argument("The version identifier must be a string");
            version = BundleVersion(*text);
        } catch (std::invalid_argument const& error) {
            throw std::runtime_error(installFailure(location) + "The Json value for " +
                                     Constants::BUNDLE_VERSION + " for bundle " + name +
                                     " (location=" + location + ") is not valid: " + error.what());
        }
    }
    return {name, version, std::move(headers)};
}

/// @param room  How many bytes it may have; reduced by those that it has.
/// @return      An empty map when the folder has no manifest.
AnyMap
readManifest(Archive& archive, std::string const& name, std::string const& location, std::size_t& room) {
    std::optional<std::string> json;
    try {
        json = archive.read(name + "/manifest.json", mostManifestBytes);
    } catch (std::runtime_error const& error) {
        throw std::runtime_error(installFailure(location) + error.what());
    }
    if (!json) return AnyMap();
    if (json->size() > room) {
        throw std::runtime_error(installFailure(location) + "its manifests have more than " +
                                 std::to_string(mostManifestBytes) + " bytes together");
    }
    room -= json->size();
    try {
        return parseManifest(*json);
    } catch (std::runtime_error const& error) {
        throw std::runtime_error(installFailure(location) + "Parsing of manifest.json for bundle " + name +
                                 " at " + location + " failed: " + error.what());
    }
}

AnyMap givenManifest(Any const& headers, std::string const& location) {
    try {
        return any_cast<AnyMap>(headers);
    } catch (BadAnyCastException const& error) {
        throw std::runtime_error(installFailure(location) + error.what());
    }
}

}  // namespace

std::string installFailure(std::string const& location) {
    return "Failed to install bundle library at " + location + ": ";
}

std::vector<BundleDescription> readBundleFile(std::string const& location, AnyMap const& manifests) {
    std::filesystem::path const file(std::u8string(location.begin(), location.end()));
    std::error_code ignored;  // A file that cannot be looked at is none.
    if (!std::filesystem::exists(file, ignored)) throw std::runtime_error(location + " does not exist");

    std::vector<BundleDescription> bundles;
    if (!manifests.empty()) {
        for (auto const& [name, headers] : manifests) {
            bundles.push_back(describe(name, location, givenManifest(headers, location)));
        }
        std::sort(bundles.begin(), bundles.end(), [](BundleDescription const& a, BundleDescription const& b) {
            return a.symbolicName < b.symbolicName;
        });
        return bundles;
    }

    auto const archive = Archive::open(file);
    if (!archive) throw std::runtime_error("Could not init zip archive for bundle at " + location);
    auto const names = archive->topFolders();
    if (names.empty()) throw std::runtime_error("Invalid zip archive layout for bundle at " + location);
    if (names.size() > mostBundles) {
        throw std::runtime_error(installFailure(location) + "it has more than " +
                                 std::to_string(mostBundles) + " bundles");
    }
    std::size_t room = mostManifestBytes;
    for (std::string const& name : names) {
        bundles.push_back(describe(name, location, readManifest(*archive, name, location, room)));
    }
    return bundles;
}

}  // namespace cppmicroservices::detail
