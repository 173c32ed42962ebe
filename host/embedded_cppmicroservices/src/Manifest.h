#pragma once

#include <string_view>

#include "cppmicroservices/AnyMap.h"

namespace cppmicroservices::detail {

/// Reads a manifest. Numbers are `int` where they fit, then `long long`, `unsigned long long` and `double`;
/// arrays are `std::vector<Any>`, objects AnyMap with keys that ignore case, of equal keys the first wins.
/// Null values are left out, as is one '%' in front of a text; a text ends at its first NUL character.
///
/// @throws std::runtime_error  The JSON library's text, or why the value is no manifest.
AnyMap parseManifest(std::string_view json);

}  // namespace cppmicroservices::detail
