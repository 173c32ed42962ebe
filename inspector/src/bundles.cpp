#include "bundles.hpp"

#include <foundation/cppmicroservices.hpp>

#include <cppmicroservices/Any.h>
#include <cppmicroservices/AnyMap.h>
#include <cppmicroservices/Bundle.h>
#include <cppmicroservices/BundleContext.h>
#include <cppmicroservices/Framework.h>

#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace foundation::feature::inspector {
namespace {

using ::cppmicroservices::Any;
using ::cppmicroservices::AnyMap;

/// The value under exactly this key; null when there is none. The map's own lookup ignores case.
Any const* find(AnyMap const& map, std::string const& key) {
    auto const entry = map.find(key);
    return entry != map.end() && entry->first == key ? &entry->second : nullptr;
}

/// The text under this key; empty when there is none.
std::string readText(AnyMap const& map, std::string const& key) {
    Any const* const value = find(map, key);
    return value != nullptr ? value->ToString() : std::string();
}

std::string readModule(AnyMap const& qz) {
    std::string name = readText(qz, "qzbuiltin_module");
    if (!name.empty()) return name;
    Any const* const module = find(qz, "module");
    return module != nullptr ? readText(::cppmicroservices::ref_any_cast<AnyMap>(*module), "name") : name;
}

std::vector<std::string> readFeatureNames(AnyMap const& qz) {
    std::vector<std::string> names;
    Any const* const features = find(qz, "features");
    if (features == nullptr) return names;
    for (Any const& descriptor : ::cppmicroservices::ref_any_cast<std::vector<Any>>(*features))
        names.push_back(readText(::cppmicroservices::ref_any_cast<AnyMap>(descriptor), "name"));
    return names;
}

}  // namespace

ExtensionNames ExtensionNames::read() {
    ExtensionNames names;
    auto const framework = foundation::cppmicroservices::getFramework();
    if (!framework) return names;
    try {
        for (::cppmicroservices::Bundle const& bundle : framework->GetBundleContext().GetBundles()) {
            try {
                std::string const owner = bundle.GetSymbolicName();
                names.modules_.try_emplace(owner, owner);
                Any const* const qz = find(bundle.GetHeaders(), "qz");
                if (qz == nullptr) continue;
                auto const& manifest = ::cppmicroservices::ref_any_cast<AnyMap>(*qz);
                std::string module = readModule(manifest);
                if (!module.empty()) names.modules_.try_emplace(std::move(module), owner);
                for (std::string& feature : readFeatureNames(manifest))
                    names.features_.try_emplace(std::move(feature), owner);
            } catch (std::exception const&) {
                // The library has already reported what is wrong with this manifest.
            }
        }
    } catch (std::exception const&) {
        // The framework has just been stopped: it has no extensions any more.
    }
    return names;
}

std::string_view ExtensionNames::ownerOf(std::string_view feature, std::string_view module) const {
    auto const listed = features_.find(feature);
    if (listed != features_.end()) return listed->second;
    auto const named = modules_.find(module);
    return named != modules_.end() ? std::string_view(named->second) : std::string_view();
}

}  // namespace foundation::feature::inspector
