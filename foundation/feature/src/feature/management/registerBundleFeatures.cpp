#include "registerBundleFeatures.hpp"

#include <exception>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include <foundation/feature/convert.hpp>
#include <foundation/feature/management.hpp>

#include <fl/filesystem.hpp>
#include <fl/i18n.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>

#include "../detail/logging.hpp"

namespace foundation::feature::management {
namespace {

using ::cppmicroservices::Any;
using ::cppmicroservices::AnyMap;

/// The value under exactly this key; null when there is none. The map's own lookup ignores case.
Any const* find(AnyMap const& map, std::string const& key) {
    auto const entry = map.find(key);
    return entry != map.end() && entry->first == key ? &entry->second : nullptr;
}

std::optional<std::string> readText(AnyMap const& map, std::string const& key) {
    Any const* const value = find(map, key);
    return value != nullptr ? std::optional(value->ToString()) : std::nullopt;
}

/// The "name" of the map under `key`.
std::optional<std::string> readName(AnyMap const& map, std::string const& key) {
    Any const* const value = find(map, key);
    return value != nullptr ? readText(::cppmicroservices::ref_any_cast<AnyMap>(*value), "name")
                            : std::nullopt;
}

fl::filesystem::path makePath(std::string const& text) {
    std::u16string wide = fl::i18n::utf8_to_ustring(text);
    if (!wide.empty()) wide = fl::filesystem::detail::make_native_form(std::move(wide), true);
    return fl::filesystem::path(std::move(wide));
}

void registerListedFeatures(::cppmicroservices::Bundle const& bundle) {
    Any const* const qz = find(bundle.GetHeaders(), "qz");
    if (qz == nullptr) return;
    auto const& manifest = ::cppmicroservices::ref_any_cast<AnyMap>(*qz);
    Any const* const features = find(manifest, "features");
    if (features == nullptr) return;

    std::optional<std::string> const json = readText(manifest, "fctrl_json");
    fl::filesystem::path const file = makePath(json ? *json : bundle.GetLocation());
    std::optional<std::string> const clientdir = readText(manifest, "clientdir");
    std::optional<std::string> const component = readName(manifest, "component");
    std::optional<std::string> module = readText(manifest, "qzbuiltin_module");
    if (!module) module = readName(manifest, "module");

    json::Value const list = convert(*features);
    registerFeatures(list.get<std::vector<json::Value>>(), file, component, module, clientdir);
}

}  // namespace

void registerBundleFeatures(::cppmicroservices::Bundle bundle) {
    static detail::Logger logger("foundation::feature::register");
    static constexpr detail::SourceLocation location{
        detail::managementSource,
        "void foundation::feature::management::registerBundleFeatures(cppmicroservices::Bundle)",
        0};

    if (!bundle) return;
    try {
        registerListedFeatures(bundle);
    } catch (std::exception const& error) {
        // One bundle's mistake must not cost the others their features.
        logger.write(detail::severity::rejections, location, [&](std::ostream& out) {
            out << "Unable to get fctrl list from " << bundle.GetLocation()
                << ": Exception: " << error.what();
        });
    }
}

}  // namespace foundation::feature::management
