#pragma once

#include <map>
#include <string>
#include <string_view>

namespace foundation::feature::inspector {

/// What the manifests of the installed extension bundles say about whose features are whose.
class ExtensionNames {
public:
    /// Reads the manifests of all bundles in the process's framework; nothing when it has none.
    /// @throws  nothing but std::bad_alloc: a bundle whose manifest is not as it should be is passed over.
    static ExtensionNames read();

    /// The symbolic name of the bundle that lists a feature of this name in its manifest, or else of the one whose
    /// manifest names this module or that is called like it. Empty when there is none.
    std::string_view ownerOf(std::string_view feature, std::string_view module) const;

private:
    std::map<std::string, std::string, std::less<>> features_;  // to the bundle's symbolic name
    std::map<std::string, std::string, std::less<>> modules_;   // the same
};

}  // namespace foundation::feature::inspector
