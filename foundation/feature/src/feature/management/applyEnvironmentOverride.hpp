#pragma once

#include <string>

#include <foundation/feature/State.hpp>

namespace foundation::feature::management {

/// Gives `state` the value of the environment variable "QZ_FEATURE_" + `featureName`, when that holds a whole
/// decimal `int`. What it holds otherwise is logged and ignored; unset and empty are alike.
///
/// @throws   std::range_error  the variable is not well-formed text; `state` is unchanged.
/// @threads  Any; `state` must not be visible to other threads yet.
void applyEnvironmentOverride(std::string const& featureName, detail::State& state);

}  // namespace foundation::feature::management
