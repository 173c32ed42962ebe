#pragma once

#include <string>

#include "cppmicroservices/FrameworkExport.h"

/// Names of manifest keys and service properties.
namespace cppmicroservices::Constants {

extern US_Framework_EXPORT std::string const SYSTEM_BUNDLE_LOCATION;      ///< "System Bundle"
extern US_Framework_EXPORT std::string const SYSTEM_BUNDLE_SYMBOLICNAME;  ///< "system_bundle"

extern US_Framework_EXPORT std::string const BUNDLE_SYMBOLICNAME;  ///< "bundle.symbolic_name"
extern US_Framework_EXPORT std::string const BUNDLE_VERSION;       ///< "bundle.version"
extern US_Framework_EXPORT std::string const BUNDLE_ACTIVATOR;     ///< "bundle.activator"

extern US_Framework_EXPORT std::string const OBJECTCLASS;      ///< "objectclass", a std::vector<std::string>
extern US_Framework_EXPORT std::string const SERVICE_ID;       ///< "service.id", a long
extern US_Framework_EXPORT std::string const SERVICE_RANKING;  ///< "service.ranking", an int
extern US_Framework_EXPORT std::string const SERVICE_SCOPE;    ///< "service.scope"
extern US_Framework_EXPORT std::string const SCOPE_SINGLETON;  ///< "singleton"

}  // namespace cppmicroservices::Constants
