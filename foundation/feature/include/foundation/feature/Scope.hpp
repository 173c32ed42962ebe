#pragma once

#include <iosfwd>

#include <foundation/feature/Export.hpp>

namespace foundation::feature {

/// How many values a feature has. The numbers are the template argument of `Feature`.
enum Scope : int {
    PROCESS = 0,  ///< one value in the whole process
    ZOR = 1,      ///< one value in each engine instance
};

/// Writes "Scope::PROCESS", "Scope::ZOR", or "Scope::" and the number in decimal for any other value,
/// whatever the number format and locale of `out`.
///
/// @return   `out`.
/// @threads  Any; `out` itself must not be shared without a lock.
FOUNDATION_FEATURE_EXPORT std::ostream& operator<<(std::ostream& out, Scope scope);

}  // namespace foundation::feature
