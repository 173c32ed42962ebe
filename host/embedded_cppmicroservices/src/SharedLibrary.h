#pragma once

#include <string>

namespace cppmicroservices::detail {

/// Loads the code of a bundle, for good: services and other objects whose code it is may outlive the bundle.
///
/// @param location  UTF-8.
/// @throws std::system_error  "Error loading <location>. <the system's reason>: <the text of the error
/// code>".
void* loadLibrary(std::string const& location);

/// @return  Null when the library exports no such function.
void* findFunction(void* library, std::string const& name);

}  // namespace cppmicroservices::detail
