#include "cppmicroservices/Constants.h"

// NOLINTBEGIN(cert-err58-cpp): texts of this type are published; without memory for them there is no process to save
namespace cppmicroservices::Constants {

std::string const SYSTEM_BUNDLE_LOCATION = "System Bundle";
std::string const SYSTEM_BUNDLE_SYMBOLICNAME = "system_bundle";

std::string const BUNDLE_SYMBOLICNAME = "bundle.symbolic_name";
std::string const BUNDLE_VERSION = "bundle.version";
std::string const BUNDLE_ACTIVATOR = "bundle.activator";

std::string const OBJECTCLASS = "objectclass";
std::string const SERVICE_ID = "service.id";
std::string const SERVICE_RANKING = "service.ranking";
std::string const SERVICE_SCOPE = "service.scope";
std::string const SCOPE_SINGLETON = "singleton";

}  // namespace cppmicroservices::Constants
// NOLINTEND(cert-err58-cpp): the end of those texts
