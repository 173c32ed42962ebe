#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace foundation::feature::inspector {

/// How the name of a variable begins that overrides a feature's initial value.
inline constexpr std::string_view overridePrefix = "QZ_FEATURE_";

struct Variable {
    std::string name;  ///< UTF-8, the prefix included
    std::string text;  ///< UTF-8; never empty, since an empty variable is no override
};

/// The number that an override stands for, as the library reads it when a feature is registered: white space, a sign,
/// decimal digits, and nothing after them. Empty when it does not accept the text.
std::optional<int> overrideValue(std::string const& text);

/// What two names of variables have in common when the system takes them for the same: on Windows their case is no
/// matter.
std::string variableKey(std::string name);

/// The variables of this process whose names begin with the prefix, ordered by name. One that is not well-formed text
/// is left out.
/// @threads  As reading the environment: elsewhere than on Windows only while no thread changes it.
std::vector<Variable> overrideVariables();

}  // namespace foundation::feature::inspector
