#pragma once

#include <stdexcept>

#include "cppmicroservices/FrameworkExport.h"

namespace cppmicroservices {

/// A service cannot be given.
class US_Framework_EXPORT ServiceException : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
    ServiceException(ServiceException const&) = default;
    ServiceException& operator=(ServiceException const&) = default;
    ~ServiceException() override;
};

}  // namespace cppmicroservices
