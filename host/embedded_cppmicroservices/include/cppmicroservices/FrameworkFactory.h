#pragma once

#include <ostream>
#include <string>
#include <unordered_map>

#include "cppmicroservices/Any.h"
#include "cppmicroservices/Framework.h"
#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

/// Makes frameworks. Several may run in one process.
class US_Framework_EXPORT FrameworkFactory {
public:
    Framework NewFramework();
    /// @param configuration  What BundleContext::GetProperty() gives.
    /// @param logger         Where problems are written that no caller can be told of, one line each; null
    /// for
    ///                       nowhere. Must outlive the framework.
    Framework NewFramework(std::unordered_map<std::string, Any> const& configuration,
                           std::ostream* logger = nullptr);
};

}  // namespace cppmicroservices
