#pragma once

#include <string_view>

namespace foundation::feature::inspector {

/// A file of the page, compiled in.
struct Asset {
    std::string_view name;
    std::string_view contentType;
    std::string_view content;
};

/// The file of this name; null when there is none. The page itself is the one without a name.
Asset const* findAsset(std::string_view name);

}  // namespace foundation::feature::inspector
