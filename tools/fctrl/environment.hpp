#pragma once

#include <map>
#include <string>
#include <string_view>

namespace fctrl {

/// What the library looks for in the environment, before a feature's name.
inline constexpr std::string_view variablePrefix = "QZ_FEATURE_";

/// The variables whose names begin with the prefix and that are not empty, which is as if they were not there: values by
/// names, in UTF-8 where they are text.
std::map<std::string, std::string> featureVariables();

/// Takes those variables out of this process's environment.
void removeFeatureVariables();

/// Whether this variable is that of this feature. Windows does not tell capitals from small letters.
bool isVariableOf(std::string_view variable, std::string_view feature);

}  // namespace fctrl
