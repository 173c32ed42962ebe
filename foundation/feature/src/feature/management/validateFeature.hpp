#pragma once

#include <string>

#include <foundation/feature/State.hpp>

namespace foundation::feature::management {

/// Checks the rules that a feature must satisfy before it is filed: of its name, of its state, of its default
/// value, in that order.
///
/// @throws   std::invalid_argument  the message of the first broken rule.
/// @threads  Any.
void validateFeature(std::string const& name, detail::State const& state);

}  // namespace foundation::feature::management
